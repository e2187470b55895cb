// 36-bit words packed into 8-bit bytes: two words occupy 9 bytes (72 bits), most significant bit
// first. This room cuts such a bit string into 6-bit, 9-bit, 18-bit and 36-bit units. It knows
// nothing of options or messages.
//
// Every operation reads at most the bytes that its bits need: (bits + 7) / 8, or one whole 9-byte
// group where positions are numbered within a group.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "datarep/byte_order.h"

namespace tolvane {

inline constexpr std::size_t kGroupBytes = 9;  // two words
inline constexpr std::size_t kGroupBits = 72;
inline constexpr std::size_t kGroupQuarters = 8;  // 9-bit units
inline constexpr std::size_t kGroupSixths = 12;   // 6-bit units

using Quarters = std::array<std::uint16_t, kGroupQuarters>;
using Sixths = std::array<std::uint16_t, kGroupSixths>;

// The character of each Fieldata code.
extern const std::array<char, 64> field2ascii;

// Translates the first `count` 6-bit codes; `to` holds `count` characters. Reads
// (count * 6 + 7) / 8 bytes.
void splitFieldData(const Byte* from, int count, char* to);

// The 12 raw 6-bit codes of a 9-byte group.
[[nodiscard]] Sixths splitSixths(const Byte* from);

// The 9-bit quarter-words of the first `bits` bits (1 to 72), as many as `count` then says:
// ceil(bits / 9). Only bits / 8 whole bytes are read; bits of bytes not read are zero. Other
// numbers of bits give no quarter-word.
struct SplitQuarters {
  Quarters quarter{};
  int count = 0;
};
[[nodiscard]] SplitQuarters splitBits(const Byte* from, int bits);

// Half-word 1 to 4 of a 9-byte group; 0 for another position.
[[nodiscard]] std::uint32_t splitHalf(const Byte* from, int position);

// Position 1: word 1 as a signed 36-bit value. Position 2: the low 32 bits of word 2 as a signed
// value. 0 for another position.
[[nodiscard]] std::int64_t split32bits(const Byte* from, int position);

// Joins `count` (1 to 7) quarter-words from `first` on into a big-endian integer at `to`, of 2, 4
// or 8 bytes, and returns that length; 0, and nothing is stored, for another count or when the
// quarter-words end before. With `is_signed` a one's complement negative becomes the two's
// complement of the same value and negative zero becomes 0.
int stringBits(int count, std::span<const std::uint16_t> quarters, std::size_t first, Byte* to,
               bool is_signed);

// Adds 1 in place to a big-endian value.
void oneTwoComp(std::span<Byte> value);

// The floating-point value of 8 bytes: the low 28 bits of the first 32-bit unit in little-endian
// order, plus 2^32 to 2^35 for its bits 28 to 31.
[[nodiscard]] double splitFull(const Byte* from);

// Unpacks whole groups: the low 8 bits of each of the 8 quarter-words of each of `groups` groups
// become one byte. `from` holds groups * 9 bytes, `to` groups * 8.
void UnpackGroups(const Byte* from, std::size_t groups, Byte* to);

// Unpacks whole groups into their quarter-words, and packs them again. The bytes are groups * 9,
// the quarter-words groups * 8.
void UnpackQuarters(const Byte* from, std::size_t groups, std::uint16_t* to);
void PackQuarters(const std::uint16_t* from, std::size_t groups, Byte* to);

}  // namespace tolvane
