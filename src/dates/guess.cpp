#include "dates/guess.h"

namespace tolvane {
namespace {

bool IsMonth(std::int64_t part) { return part >= 1 && part <= 12; }
bool IsDay(std::int64_t part) { return part >= 1 && part <= 31; }
// Four digits that are no month and day.
bool IsYear(std::int64_t part) { return part > 1231; }

std::string OrUnknown(const std::string& letters) {
  return letters.empty() ? std::string(1, kGuessUnknown) : letters;
}

std::string Guess2(std::int64_t value) {
  if (value == 0) return {kGuessZeros};
  if (value % 100 == 99) return {kGuessNines};
  return OrUnknown(value >= 1 && value <= 98 ? "Y" : "");
}

std::string Guess4(std::int64_t value) {
  if (value >= 1970 && value <= 2036) return "F";
  if (value >= 100 && value <= 9899 && IsMonth(value % 100)) return "Z";
  if (value == 0) return {kGuessZeros};
  return {value >= 9900 && value <= 9999 ? kGuessNines : kGuessUnknown};
}

std::string Guess5(std::int64_t value) {
  if (value % 100000 == 99999) return {kGuessNines};
  if (value == 0) return {kGuessZeros};
  std::string letters;
  if (value % 1000 <= 366) letters += 'J';
  const std::int64_t month_day = value % 10000;
  if (IsDay(value % 100) && month_day >= 100 && month_day <= 1299) letters += 'S';
  return OrUnknown(letters);
}

std::string Guess6(std::int64_t value) {
  if (value == 0) return {kGuessZeros};
  if (value == 999999) return {kGuessNines};
  const std::int64_t first = value / 10000, middle = value / 100 % 100, last = value % 100;
  std::string letters;
  if (value > 319999 && IsMonth(middle) && IsDay(last)) letters += 'G';
  if (value >= 10000 && value < 130000 && IsMonth(first) && IsDay(middle)) letters += 'R';
  if (value >= 10000 && value <= 319999 && IsDay(first) && IsMonth(middle)) letters += 'E';
  return OrUnknown(letters);
}

std::string Guess8(std::int64_t value) {
  if (value == 0) return {kGuessZeros};
  if (value % 100000000 == 99999999) return {kGuessNines};
  const std::int64_t first = value / 1000000, second = value / 10000 % 100;
  const std::int64_t third = value / 100 % 100, fourth = value % 100;
  std::string letters;
  if (IsYear(value / 10000) && IsMonth(third) && IsDay(fourth)) letters += 'A';
  if (IsMonth(first) && IsDay(second) && IsYear(value % 10000)) letters += 'B';
  if (IsDay(first) && IsMonth(second) && IsYear(value % 10000)) letters += 'C';
  return OrUnknown(letters);
}

}  // namespace

std::string GuessLayouts(std::int64_t value, int digits, bool packed) {
  switch (digits) {
    case 2:
      return Guess2(value);
    case 4:
      return Guess4(value);
    case 5:
      return Guess5(value);
    case 6:
      return packed ? Guess8(value) : Guess6(value);
    case 8:
      return Guess8(value);
    case 3:
    case 9:
      return packed ? "" : std::string(1, kGuessUnknown);
    case 7:
      if (packed) return Guess8(value);
      [[fallthrough]];
    default:
      return {kGuessUnknown};
  }
}

}  // namespace tolvane
