// Builds the mask list from the fields of a copybook: first the items that apply to every record,
// then, for each ID IS statement, a condition item and the items of its group. An item of a group
// takes the place of an equal one that applies to every record.
//
//   MaskListBuilder builder(table);
//   builder.AddRecords(), builder.AddRawFields(), builder.EndSegment()
//   builder.BeginGroup(condition), builder.AddUsed(field) ..., builder.EndSegment()   // each ID IS
//   builder.Finish()
//
// All operations return 1, or 0 after messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <tuple>

#include "convert/mask.h"
#include "copybook/symbol_table.h"

namespace tolvane {

// The item of a record that alone has the name; null: none.
[[nodiscard]] const copybook::Field* FindItem(const copybook::SymbolTable& table,
                                              const std::string& name);

class MaskListBuilder {
 public:
  // Appends to the list of the run. The table must outlive the builder.
  explicit MaskListBuilder(const copybook::SymbolTable& table) : table_(table) {}

  // The fields of all records but for redefinitions, which only a condition can select.
  [[nodiscard]] int AddRecords();
  // The fields that RAW names and that are not on the list yet, redefinitions among them.
  [[nodiscard]] int AddRawFields();

  // Sorts and checks what was added since the last condition.
  [[nodiscard]] int EndSegment();
  // Appends a condition item; what is added now belongs to it.
  void BeginGroup(MaskItem condition);
  // A field that USE names, or the fields of a group but for redefinitions.
  [[nodiscard]] int AddUsed(const copybook::Field& field);
  // Ends the last segment and drops the items whose place others have taken.
  [[nodiscard]] int Finish();

 private:
  // What makes items equal: type, location and length.
  using Identity = std::tuple<char, std::int32_t, std::int64_t>;

  [[nodiscard]] int ProcessMaskListCandidate(const copybook::Field& field);
  [[nodiscard]] int AddSymbolToMaskTable(const copybook::Field& field, char type);
  [[nodiscard]] static int AddBitBytes(const copybook::Field& field);
  void NoteUnconditional();
  void Unlink(const MaskItem& item);

  const copybook::SymbolTable& table_;
  std::size_t segment_ = 0;                        // its first item, or its condition
  std::map<Identity, std::size_t> unconditional_;  // where the items of every record stand
};

}  // namespace tolvane
