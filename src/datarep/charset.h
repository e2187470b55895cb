// The two character sets of the program: EBCDIC code page 037 and ISO 8859-1, which it calls
// ASCII. One pair of codes is exchanged against the published tables so that HIGH-VALUES stay
// HIGH-VALUES: 0xFF is 0xFF in both, and EBCDIC 0xDF is 0x9F. The two tables are each other's
// exact inverse over all 256 codes.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "datarep/byte_order.h"

namespace tolvane {

using ByteTable = std::array<Byte, 256>;

extern const ByteTable ebc2asc;
extern const ByteTable asc2ebc;

// EBCDIC codes that the program tests for.
inline constexpr Byte kEbcdicSpace = 0x40;
inline constexpr Byte kEbcdicZero = 0xF0;

// Translates `bytes` through `table` into `out`, which holds as many bytes and may be `bytes`.
void Translate(const ByteTable& table, const Byte* bytes, std::size_t count, Byte* out);

// In place.
inline void toEbcdic(std::span<Byte> bytes) {
  Translate(asc2ebc, bytes.data(), bytes.size(), bytes.data());
}

// For each byte, whether the current locale can print it. Made once a run, after setlocale.
[[nodiscard]] std::array<bool, 256> PrintableBytes();

}  // namespace tolvane
