#include "media/splitbit.h"

#include <algorithm>

namespace tolvane {
namespace {

constexpr char kFieldata[] =
    "@[]#^ ABCDEFGHIJKLMNOPQRSTUVWXYZ"
    ")-+<=>&$*(%:?!,\\0123456789';/.\"_";
static_assert(sizeof kFieldata == 65);

constexpr std::array<char, 64> FieldataTable() {
  std::array<char, 64> table{};
  for (std::size_t i = 0; i < table.size(); ++i) table[i] = kFieldata[i];
  return table;
}

// 6-bit code `index`; reads only the bytes that hold it.
unsigned SixthAt(const Byte* from, std::size_t index) {
  const Byte* const byte = from + index / 4 * 3;
  switch (index % 4) {
    case 0:
      return byte[0] >> 2;
    case 1:
      return static_cast<unsigned>((byte[0] & 3) << 4 | byte[1] >> 4);
    case 2:
      return static_cast<unsigned>((byte[1] & 15) << 2 | byte[2] >> 6);
    default:
      return byte[2] & 63;
  }
}

// 9-bit quarter `index` of a 9-byte group.
unsigned QuarterAt(const Byte* group, std::size_t index) {
  return static_cast<unsigned>((group[index] & (255 >> index)) << (index + 1) |
                               group[index + 1] >> (7 - index));
}

}  // namespace

constinit const std::array<char, 64> field2ascii = FieldataTable();

void splitFieldData(const Byte* from, int count, char* to) {
  for (int i = 0; i < count; ++i) to[i] = field2ascii[SixthAt(from, static_cast<std::size_t>(i))];
}

Sixths splitSixths(const Byte* from) {
  Sixths sixths{};
  for (std::size_t i = 0; i < sixths.size(); ++i)
    sixths[i] = static_cast<std::uint16_t>(SixthAt(from, i));
  return sixths;
}

SplitQuarters splitBits(const Byte* from, int bits) {
  SplitQuarters split;
  if (bits < 1 || bits > static_cast<int>(kGroupBits)) return split;
  std::array<Byte, kGroupBytes> group{};
  std::copy_n(from, bits / 8, group.begin());
  split.count = (bits + 8) / 9;
  for (std::size_t i = 0; i < static_cast<std::size_t>(split.count); ++i)
    split.quarter[i] = static_cast<std::uint16_t>(QuarterAt(group.data(), i));
  return split;
}

std::uint32_t splitHalf(const Byte* from, int position) {
  if (position < 1 || position > 4) return 0;
  const std::uint64_t bits = LoadBigWidth(from + 2 * static_cast<std::size_t>(position - 1), 3);
  return static_cast<std::uint32_t>(bits >> (8 - position * 2) & 0x3FFFF);
}

std::int64_t split32bits(const Byte* from, int position) {
  if (position == 1) {
    const std::uint64_t word = LoadBigWidth(from, 5) >> 4;  // 36 bits
    return static_cast<std::int64_t>(word << 28) >> 28;
  }
  return position == 2 ? LoadBig<std::int32_t>(from + 5) : 0;
}

int stringBits(int count, std::span<const std::uint16_t> quarters, std::size_t first, Byte* to,
               bool is_signed) {
  if (count < 1 || count > 7 || first + static_cast<std::size_t>(count) > quarters.size()) return 0;
  std::uint64_t value = 0;
  for (const std::uint16_t quarter : quarters.subspan(first, static_cast<std::size_t>(count)))
    value = value << 9 | (quarter & 0x1FFU);
  const int bits = count * 9;
  const int length = count == 1 ? 2 : count <= 3 ? 4 : 8;
  const bool negative = is_signed && (value >> (bits - 1) & 1) != 0;
  if (negative) value |= ~std::uint64_t{0} << bits;
  StoreBigWidth(to, static_cast<std::size_t>(length), static_cast<std::int64_t>(value));
  if (negative) oneTwoComp({to, static_cast<std::size_t>(length)});
  return length;
}

void oneTwoComp(std::span<Byte> value) {
  for (std::size_t i = value.size(); i-- > 0;)
    if (++value[i] != 0) break;
}

double splitFull(const Byte* from) {
  const auto unit = LoadLittle<std::uint32_t>(from);
  double value = unit & 0x0FFFFFFFU;
  // Deliberate: bits 28 to 31 count as 2^32 to 2^35.
  for (int bit = 28; bit < 32; ++bit)
    if ((unit >> bit & 1) != 0) value += static_cast<double>(std::uint64_t{1} << (bit + 4));
  return value;
}

void UnpackGroups(const Byte* from, std::size_t groups, Byte* to) {
  for (; groups > 0; --groups, from += kGroupBytes, to += kGroupQuarters) {
    const auto head = LoadBig<std::uint64_t>(from);  // the first 64 of the 72 bits
    const std::uint64_t tail = from[8];
    for (int i = 0; i < 7; ++i) to[i] = static_cast<Byte>(head >> (55 - 9 * i));
    to[7] = static_cast<Byte>(tail);
  }
}

void UnpackQuarters(const Byte* from, std::size_t groups, std::uint16_t* to) {
  for (; groups > 0; --groups, from += kGroupBytes, to += kGroupQuarters) {
    const auto head = LoadBig<std::uint64_t>(from);  // the first 64 of the 72 bits
    for (int i = 0; i < 7; ++i) to[i] = static_cast<std::uint16_t>(head >> (55 - 9 * i) & 0x1FF);
    to[7] = static_cast<std::uint16_t>((head & 1) << 8 | from[8]);
  }
}

void PackQuarters(const std::uint16_t* from, std::size_t groups, Byte* to) {
  for (; groups > 0; --groups, from += kGroupQuarters, to += kGroupBytes) {
    std::uint64_t head = 0;
    for (int i = 0; i < 7; ++i) head = head << 9 | (from[i] & 0x1FFU);
    StoreBig<std::uint64_t>(to, head << 1 | (from[7] >> 8 & 1U));
    to[8] = static_cast<Byte>(from[7]);
  }
}

}  // namespace tolvane
