#include "convert/comp1100.h"

#include <algorithm>
#include <array>
#include <utility>

#include "media/splitbit.h"
#include "platform/trace.h"

namespace tolvane {
namespace {

constexpr unsigned kQuarterBits = 9;

struct Row {
  int most_digits;
  Comp1100 field;
  const char* trace;
};
constexpr Row kRows[] = {
    {2, {1, 2}, "1,2 digit display"},    {4, {2, 2}, "3,4 digit display"},
    {5, {2, 4}, "5 digit display"},      {7, {3, 4}, "6,7 digit display"},
    {9, {4, 4}, "8,9 digit display"},    {10, {4, 8}, "10 digit display"},
    {13, {5, 8}, "11-13 digit display"}, {15, {6, 8}, "14,15 digit display"},
    {18, {7, 8}, "16-18 digit display"},
};

}  // namespace

Comp1100 Comp1100Of(int digits) {
  if (digits < 1) return {};
  for (const Row& row : kRows) {
    if (digits > row.most_digits) continue;
    TRACE_LINE("%s\n", row.trace);
    return row.field;
  }
  return {};
}

bool process1100Comp(Comp1100 field, bool is_signed, const std::uint16_t* from, Byte* to) {
  std::array<Byte, 8> joined{};
  if (field.quarters > kMostCompQuarters) return false;
  const auto length = static_cast<std::size_t>(stringBits(
      static_cast<int>(field.quarters), {from, field.quarters}, 0, joined.data(), is_signed));
  if (field.bytes > length) return false;
  const Byte* const stored = joined.data() + (length - field.bytes);
  std::copy_n(stored, field.bytes, to);
  const Byte fill = is_signed && (*stored & 0x80) != 0 ? 0xFF : 0;
  return std::all_of(std::as_const(joined).data(), stored,
                     [fill](Byte byte) { return byte == fill; });
}

bool make1100Comp(Comp1100 field, bool is_signed, const Byte* from, std::uint16_t* to) {
  if (field.quarters > kMostCompQuarters || field.bytes > sizeof(std::uint64_t)) return false;
  const auto unused = static_cast<unsigned>(64 - 8 * field.bytes);
  const std::uint64_t raw = LoadBigWidth(from, field.bytes) << unused;
  const unsigned bits = static_cast<unsigned>(field.quarters) * kQuarterBits;
  std::uint64_t value = raw >> unused;
  if (is_signed) {
    const std::int64_t number = static_cast<std::int64_t>(raw) >> unused;
    const std::int64_t most = (std::int64_t{1} << (bits - 1)) - 1;
    if (number > most || number < -most) return false;
    value = static_cast<std::uint64_t>(number < 0 ? number - 1 : number);
  } else if (value >> bits != 0) {
    return false;
  }
  for (std::size_t i = field.quarters; i-- > 0; value >>= kQuarterBits)
    to[i] = static_cast<std::uint16_t>(value & 0x1FF);
  return true;
}

}  // namespace tolvane
