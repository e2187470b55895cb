#include "datarep/float.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace tolvane {
namespace {

constexpr int kExcess = 64;
constexpr int kMaxExponent = 127;

// The number of a mainframe field, exact but for the rounding of a 56-bit fraction.
double LoadHex(std::span<const Byte> field) {
  const int fraction_bits = static_cast<int>(field.size() - 1) * 8;
  const auto fraction = LoadBigWidth(field.data() + 1, field.size() - 1);
  const int exponent = (field[0] & 0x7F) - kExcess;
  const double magnitude = std::ldexp(static_cast<double>(fraction), 4 * exponent - fraction_bits);
  return (field[0] & 0x80) != 0 ? -magnitude : magnitude;
}

void StoreHex(std::span<Byte> field, double value) {
  std::fill(field.begin(), field.end(), Byte{0});
  if (value == 0 || std::isnan(value)) return;
  const std::size_t width = field.size() - 1;
  const int fraction_bits = static_cast<int>(width) * 8;
  const std::uint64_t all_ones = (std::uint64_t{1} << fraction_bits) - 1;
  std::uint64_t fraction = all_ones;
  int exponent = kMaxExponent + 1;
  if (std::isfinite(value)) {
    int binary = 0;
    const double mantissa = std::frexp(std::fabs(value), &binary);
    int hex = binary > 0 ? (binary + 3) / 4 : binary / 4;  // the fraction lies in [1/16, 1)
    const double scaled = std::nearbyint(std::ldexp(mantissa, binary - 4 * hex + fraction_bits));
    fraction = static_cast<std::uint64_t>(scaled);
    if (fraction > all_ones) {  // rounded up to 1
      fraction >>= 4;
      ++hex;
    }
    exponent = hex + kExcess;
  }
  if (exponent < 0) return;
  if (exponent > kMaxExponent) {
    exponent = kMaxExponent;
    fraction = all_ones;
  }
  field[0] = static_cast<Byte>(exponent | (std::signbit(value) ? 0x80 : 0));
  StoreBigWidth(field.data() + 1, width, static_cast<std::int64_t>(fraction));
}

template <typename Float>
void StoreIeee(std::span<Byte> field, double value) {
  constexpr double kLargest = std::numeric_limits<Float>::max();
  auto narrowed = static_cast<Float>(std::clamp(value, -kLargest, kLargest));
  if (narrowed == 0) narrowed = 0;  // not a negative zero
  std::memcpy(field.data(), &narrowed, sizeof narrowed);
}

}  // namespace

bool mflt3tou(std::span<Byte> field) {
  if (field.size() != sizeof(float) && field.size() != sizeof(double)) return false;
  const double value = LoadHex(field);
  if (field.size() == sizeof(float)) {
    StoreIeee<float>(field, value);
  } else {
    StoreIeee<double>(field, value);
  }
  return true;
}

bool mfltuto3(std::span<Byte> field) {
  if (field.size() != sizeof(float) && field.size() != sizeof(double)) return false;
  StoreHex(field, field.size() == sizeof(float)
                      ? static_cast<double>(LoadNative<float>(field.data()))
                      : LoadNative<double>(field.data()));
  return true;
}

}  // namespace tolvane
