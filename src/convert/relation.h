// The relations that conditions are made of, and the two spellings of each. A condition holds a
// pointer to its row: names are looked up where a condition is read, not where records are
// compared.
#pragma once

#include <string_view>

namespace tolvane {

namespace copybook {
struct Token;
}

struct Relation {
  const char* name;  // in -I and in ID IS
  const char* sign;  // in ID IS RECORD NUMBER and in DATE IS
  bool less, equal, greater;

  // Whether a three-way comparison (negative, zero, positive) satisfies it.
  [[nodiscard]] constexpr bool Holds(int comparison) const {
    return comparison < 0 ? less : comparison > 0 ? greater : equal;
  }
};

inline constexpr Relation kRelations[] = {
    {"EQ", "=", false, true, false}, {"NE", "<>", true, false, true},
    {"GT", ">", false, false, true}, {"GE", ">=", false, true, true},
    {"LT", "<", true, false, false}, {"LE", "<=", true, true, false},
};
inline constexpr const Relation* kIsEqual = &kRelations[0];

// The relation of a name, in capitals; null: none.
[[nodiscard]] const Relation* RelationOf(std::string_view name);
// The relation whose sign the token is; null: none.
[[nodiscard]] const Relation* RelationOf(const copybook::Token& token);

}  // namespace tolvane
