#include "convert/conditions.h"

#include <algorithm>
#include <cstring>

#include "datarep/charset.h"

namespace tolvane {
namespace {

struct Operator {
  std::string_view name;
  bool less, equal, greater;
};
constexpr Operator kOperators[] = {
    {"EQ", false, true, false}, {"NE", true, false, true},  {"GT", false, false, true},
    {"GE", false, true, true},  {"LT", true, false, false}, {"LE", true, true, false},
};

}  // namespace

bool Satisfies(std::string_view op, int comparison) {
  for (const Operator& row : kOperators)
    if (row.name == op) return comparison < 0 ? row.less : comparison > 0 ? row.greater : row.equal;
  return false;
}

bool IsOperator(std::string_view op) {
  return std::any_of(std::begin(kOperators), std::end(kOperators),
                     [op](const Operator& row) { return row.name == op; });
}

bool EvaluateMatchConditions(std::span<const Byte> record, const MaskItem& item) {
  const auto start = std::min(static_cast<std::size_t>(item.condition_start), record.size());
  const std::size_t there = std::min(item.value.size(), record.size() - start);
  int comparison = std::memcmp(record.data() + start, item.value.data(), there);
  if (comparison == 0 && there < item.value.size()) comparison = -1;
  return Satisfies(item.op, comparison);
}

void ConvertIdIsConditionToEbcdic(MaskItem& item) {
  for (char& c : item.value) c = static_cast<char>(asc2ebc[static_cast<Byte>(c)]);
}

}  // namespace tolvane
