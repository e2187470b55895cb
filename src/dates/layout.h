// Date layouts: which part of a date stands where in a field. One table serves aging, expansion
// and analysis. Positions count from the start of the field.
#pragma once

#include <cstdint>
#include <string_view>

namespace tolvane {

// Characters of one part of a date.
struct DatePart {
  std::uint8_t at = 0, width = 0;  // width 0: the layout has no such part
};

struct DateLayout {
  char letter;  // by which statements, counters and reports know it
  std::string_view name;
  DatePart year, month, day, day_of_year;

  [[nodiscard]] constexpr std::size_t length() const { return name.size(); }
};

// Null for a letter that is none.
[[nodiscard]] const DateLayout* FindLayout(char letter);

// The letter of a layout's name, in any case; 0 when it is none. YYJJJ is YYDDD.
[[nodiscard]] char GetFormatTypeFromString(std::string_view name);

// The layouts that DATE IS widens, those with a year of one or two digits, and YYYY.
[[nodiscard]] bool IsDateIsLayout(char letter);

// Bytes of a packed or binary date after its year was widened to four digits; 0 for a layout that
// cannot be.
[[nodiscard]] int GetExtPackedDateSize(char letter);
[[nodiscard]] int GetExtBinDateSize(char letter);

}  // namespace tolvane
