#include "convert/mask.h"

#include <algorithm>

#include "platform/console.h"
#include "platform/trace.h"

namespace tolvane {

MaskList mask_list;

namespace {

struct TypeText {
  char type;
  const char* text;
};
constexpr TypeText kTypeTexts[] = {
    {mask_type::kBit, "BIT FIELD"},
    {mask_type::kBinary, "BINARY"},
    {mask_type::kGroup, "ALPHANUMERIC or GROUP"},
    {mask_type::kFloat, "FLOATING POINT"},
    {mask_type::kCondition, "IF CONDITION"},
    {mask_type::kMbpUnpacked, "MBP UNPACKED NUMERIC"},
    {mask_type::kUnsigned, "UNSIGNED UNPACKED NUMERIC"},
    {mask_type::kPacked, "NUMERIC PACKED"},
    {mask_type::kMfUnpacked, "MF UNPACKED NUMERIC"},
};

using Iterator = MaskList::iterator;

Iterator SegmentBegin(std::size_t first) {
  const Iterator begin = mask_list.begin() + static_cast<std::ptrdiff_t>(first);
  return begin != mask_list.end() && begin->is_condition() ? begin + 1 : begin;
}

// Sorts the segment and returns its end.
Iterator SortSegment(Iterator begin) {
  const Iterator end = std::find_if(begin, mask_list.end(),
                                    [](const MaskItem& item) { return item.is_condition(); });
  std::stable_sort(begin, end,
                   [](const MaskItem& a, const MaskItem& b) { return a.location < b.location; });
  return end;
}

void PrintOverlap(const MaskItem& a, const MaskItem& b) {
  PrintError(
      "Overlapping field definitions:\n\t%s (type %c, offset %d, length %d, occurs %d)\n\t%s "
      "(type %c, offset %d, length %d, occurs %d)\n",
      a.name.c_str(), a.type, a.location, static_cast<int>(a.length), a.occurs, b.name.c_str(),
      b.type, b.location, static_cast<int>(b.length), b.occurs);
}

int CheckItems(Iterator begin) {
  int result = 1;
  for (Iterator item = begin; item != mask_list.end(); ++item) {
    const Iterator next = item + 1;
    if (item->is_condition()) {
      if (next != mask_list.end()) continue;
      PrintError("Meaningless option -%c%d:%d:%d\n", item->type, item->location,
                 static_cast<int>(item->length), item->occurs);
      return 0;
    }
    if (next == mask_list.end() || next->is_condition()) continue;
    const bool both_bits = item->type == mask_type::kBit && next->type == mask_type::kBit;
    if (item->end() > next->location && !both_bits) {
      PrintOverlap(*item, *next);
      result = 0;
    }
  }
  return result;
}

}  // namespace

const char* MaskTypeText(char type) {
  for (const TypeText& row : kTypeTexts)
    if (row.type == type) return row.text;
  return "UNINITIALIZED";
}

MaskItem& AddNewItemToMaskList(MaskItem item) {
  if (item.name.find_first_not_of(' ') == std::string::npos) item.name = "FILLER";
  return mask_list.emplace_back(std::move(item));
}

std::span<const MaskItem> GroupOf(const MaskItem& condition) {
  const MaskItem* const end = mask_list.data() + mask_list.size();
  return {&condition + 1, std::find_if(&condition + 1, end,
                                       [](const MaskItem& item) { return item.is_condition(); })};
}

int SortMaskList(std::size_t first) {
  TRACE_FRAME();
  const Iterator begin = SegmentBegin(first);
  SortSegment(begin);
  return CheckItems(begin);
}

int SortMaskSegments(std::size_t first) {
  TRACE_FRAME();
  const Iterator begin = SegmentBegin(first);
  for (Iterator end = SortSegment(begin); end != mask_list.end();) end = SortSegment(end + 1);
  return CheckItems(begin);
}

void MaskListDump(const char* title) {
  if (!trace::lines_on) return;
  trace::Line("%s\n", title);
  trace::Line(" %5s %4s %2s %s \n", "Loc", "Len", "Oc", "Typ");
  for (const MaskItem& item : mask_list)
    trace::Line(" %5d %4d %2d %c  %s %s\n", item.location, static_cast<int>(item.length),
                item.occurs, item.type, MaskTypeText(item.type), item.name.c_str());
}

void MaskListEmpty() { mask_list.clear(); }

}  // namespace tolvane
