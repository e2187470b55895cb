#include "dates/layout.h"

#include <algorithm>
#include <iterator>

#include "copybook/words.h"

namespace tolvane {
namespace {

// letter, name, year, month, day, day of the year
constexpr DateLayout kLayouts[] = {
    {'A', "YYYYMMDD", {0, 4}, {4, 2}, {6, 2}, {}},
    {'B', "MMDDYYYY", {4, 4}, {0, 2}, {2, 2}, {}},
    {'C', "DDMMYYYY", {4, 4}, {2, 2}, {0, 2}, {}},
    {'D', "DD", {}, {}, {0, 2}, {}},
    {'E', "DDMMYY", {4, 2}, {2, 2}, {0, 2}, {}},
    {'F', "YYYY", {0, 4}, {}, {}, {}},
    {'G', "YYMMDD", {0, 2}, {2, 2}, {4, 2}, {}},
    {'J', "YYDDD", {0, 2}, {}, {}, {2, 3}},
    {'M', "MM", {}, {0, 2}, {}, {}},
    {'R', "MMDDYY", {4, 2}, {0, 2}, {2, 2}, {}},
    {'S', "YMMDD", {0, 1}, {1, 2}, {3, 2}, {}},
    {'Y', "YY", {0, 2}, {}, {}, {}},
    {'Z', "YYMM", {0, 2}, {2, 2}, {}, {}},
};

struct WidenedSize {
  std::string_view letters;
  int packed, binary;
};
constexpr WidenedSize kWidenedSizes[] = {{"EGRS", 5, 8}, {"FJZ", 4, 8}, {"Y", 3, 2}};

const WidenedSize* FindSize(char letter) {
  const auto* const row = std::find_if(
      std::begin(kWidenedSizes), std::end(kWidenedSizes),
      [letter](const auto& size) { return size.letters.find(letter) != std::string_view::npos; });
  return row == std::end(kWidenedSizes) ? nullptr : row;
}

}  // namespace

const DateLayout* FindLayout(char letter) {
  for (const DateLayout& layout : kLayouts)
    if (layout.letter == letter) return &layout;
  return nullptr;
}

char GetFormatTypeFromString(std::string_view name) {
  if (copybook::EqualsIgnoreCase(name, "YYJJJ")) return 'J';
  for (const DateLayout& layout : kLayouts)
    if (copybook::EqualsIgnoreCase(name, layout.name)) return layout.letter;
  return 0;
}

bool IsDateIsLayout(char letter) { return FindSize(letter) != nullptr; }

int GetExtPackedDateSize(char letter) {
  const WidenedSize* const size = FindSize(letter);
  return size == nullptr ? 0 : size->packed;
}

int GetExtBinDateSize(char letter) {
  const WidenedSize* const size = FindSize(letter);
  return size == nullptr ? 0 : size->binary;
}

}  // namespace tolvane
