// Decimal data as mainframes hold it. All digits stand most significant first.
//
//   unpacked (zoned)  one digit a byte; the zone of the last byte carries the sign
//   packed            two digits a byte; the last byte holds one digit and the sign nibble
//   digit string      ASCII digits, zero-padded
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "datarep/byte_order.h"

namespace tolvane {

// Zones of the last byte of an unpacked field.
inline constexpr Byte kZoneMask = 0xF0;
inline constexpr Byte kDigitMask = 0x0F;
inline constexpr Byte kEbcdicNegative = 0xD0;
inline constexpr Byte kEbcdicPositive = 0xC0;
inline constexpr Byte kMfNegative = 0x70;   // Micro Focus, ASCII
inline constexpr Byte kMbpNegative = 0x40;  // MBP, ASCII
inline constexpr Byte kAsciiPositive = 0x30;
[[nodiscard]] constexpr Byte WithZone(Byte byte, Byte zone) {
  return static_cast<Byte>((byte & kDigitMask) | zone);
}

// Sign nibbles of a packed field: A, C, E and F are positive, B and D negative.
inline constexpr Byte kPackedPositive = 0xC;
inline constexpr Byte kPackedNegative = 0xD;
inline constexpr Byte kPackedUnsigned = 0xF;
[[nodiscard]] constexpr bool IsNegativeNibble(unsigned nibble) {
  return nibble == 0xB || nibble == 0xD;
}

// Stores ASCII digits right-aligned with leading zeros; digits that do not fit are lost from the
// left, so the caller checks.
void StorePacked(std::span<Byte> field, std::string_view digits, Byte sign_nibble);

// The digits of a packed field as ASCII characters, 2 * length - 1 of them, and its sign nibble.
// A nibble that is no digit gives the character after '9' that has it as its low half.
struct Unpacked {
  std::string digits;
  Byte sign_nibble = 0;
};
[[nodiscard]] Unpacked LoadPacked(std::span<const Byte> field);

// Stores a digit string. Keeps the low-order digits of a longer value; a negative one has bit 0x40
// set in its last digit.
void mstintuc(std::span<Byte> field, std::int64_t value);

}  // namespace tolvane
