// Mainframe floating point: a sign bit, a 7-bit exponent of 16 in excess-64 form, and a fraction
// of 24 bits (4 bytes in all) or 56 bits (8 bytes), most significant byte first. The value is
// 0.fraction * 16^(exponent - 64).
//
// Fields of the machine hold an IEEE number in the host's byte order. Conversions round to
// nearest; what is too large becomes the largest value of its sign, what is too small becomes
// a positive zero; so does a NaN. Numbers of the machine may be denormal. No NaN or infinity is
// ever written.
#pragma once

#include <span>

#include "datarep/byte_order.h"

namespace tolvane {

// Converts a field of 4 or 8 bytes in place, mainframe to machine and machine to mainframe.
// False, and the field is as it was, for any other length.
[[nodiscard]] bool mflt3tou(std::span<Byte> field);
[[nodiscard]] bool mfltuto3(std::span<Byte> field);

}  // namespace tolvane
