// What the grammar file says of dates, as it says it; names are looked up when the copybook is
// known.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "convert/relation.h"
#include "dates/age_date.h"

namespace tolvane {

// One entry of a DATE IS window: when the year, or every character, of a field compares so, it
// gets this century.
struct DateWindow {
  enum class Test : unsigned char { kYear, kAllCharacters };
  Test test = Test::kYear;
  const Relation* op = kIsEqual;
  std::string bound;    // kYear: two digits; kAllCharacters: the character
  std::string century;  // two characters; one: a fill character
};

struct DateIsStatement {
  std::string field;
  std::string format;
  std::vector<DateWindow> windows;
  std::string otherwise;  // the century when no window holds; empty: none was given
};

struct DateStatements {
  std::vector<DateIsStatement> date_is;
  std::vector<std::string> fields;   // of FIELD statements
  std::vector<AgeEntry> pAgeStruct;  // of AGE statements
  std::int64_t test_date = 0;        // seconds; TEST DATE less FILE DATE is an age
  std::int64_t file_date = 0;
};
extern DateStatements date_statements;

}  // namespace tolvane
