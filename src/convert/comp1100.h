// Binary fields of 36-bit data: COMP items of 1 to 18 digits take 1 to 7 quarter-words of 9 bits
// there, in one's complement, and 2, 4 or 8 bytes here, in two's complement and big-endian.
#pragma once

#include <cstddef>
#include <cstdint>

#include "datarep/byte_order.h"

namespace tolvane {

inline constexpr std::size_t kMostCompQuarters = 7;

// What a field takes on either side; nothing for a number of digits that no field has.
struct Comp1100 {
  std::size_t quarters = 0;
  std::size_t bytes = 0;
};
[[nodiscard]] Comp1100 Comp1100Of(int digits);

// Converts one field of field.quarters quarter-words at `from` into field.bytes bytes at `to`.
// False when the value does not fit; its low-order bytes are stored then. Sizes that no field has
// do not fit either, and nothing is read or stored.
[[nodiscard]] bool process1100Comp(Comp1100 field, bool is_signed, const std::uint16_t* from,
                                   Byte* to);
// The other way. False, and nothing is stored, when the value does not fit.
[[nodiscard]] bool make1100Comp(Comp1100 field, bool is_signed, const Byte* from,
                                std::uint16_t* to);

}  // namespace tolvane
