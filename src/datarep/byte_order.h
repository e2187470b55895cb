// Loads and stores of multi-byte integers in a stated byte order. Every integer of a mainframe
// record and of an indexed file goes through these; no buffer is ever cast to an integer pointer.
// The caller guarantees that sizeof(T) bytes (or `width` bytes) are there.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace tolvane {

using Byte = std::uint8_t;

namespace detail {

template <std::unsigned_integral T>
constexpr T SwapBytes(T value) {
  if constexpr (sizeof(T) == 1) {
    return value;
  } else if constexpr (sizeof(T) == 2) {
    return __builtin_bswap16(value);
  } else if constexpr (sizeof(T) == 4) {
    return __builtin_bswap32(value);
  } else {
    return __builtin_bswap64(value);
  }
}

}  // namespace detail

// The host's own order.
template <typename T>
requires std::is_trivially_copyable_v<T>
inline T LoadNative(const Byte* from) {
  T value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

namespace detail {

// A value between the host's order and a stated one.
template <std::endian kOrder, std::integral T>
constexpr T InOrder(T value) {
  if constexpr (kOrder == std::endian::native) return value;
  return static_cast<T>(SwapBytes(static_cast<std::make_unsigned_t<T>>(value)));
}

}  // namespace detail

// Big-endian: the most significant byte first.
template <std::integral T>
inline T LoadBig(const Byte* from) {
  return detail::InOrder<std::endian::big>(LoadNative<T>(from));
}

template <std::integral T>
inline void StoreBig(Byte* to, T value) {
  value = detail::InOrder<std::endian::big>(value);
  std::memcpy(to, &value, sizeof value);
}

// Little-endian: the least significant byte first.
template <std::integral T>
inline T LoadLittle(const Byte* from) {
  return detail::InOrder<std::endian::little>(LoadNative<T>(from));
}

template <std::integral T>
inline void StoreLittle(Byte* to, T value) {
  value = detail::InOrder<std::endian::little>(value);
  std::memcpy(to, &value, sizeof value);
}

// An unsigned big-endian integer of 1 to 8 bytes.
inline std::uint64_t LoadBigWidth(const Byte* from, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) value = value << 8 | from[i];
  return value;
}

// The same in two's complement.
inline std::int64_t LoadBigWidthSigned(const Byte* from, std::size_t width) {
  const std::size_t unused = 8 * (sizeof(std::int64_t) - width);
  return static_cast<std::int64_t>(LoadBigWidth(from, width) << unused) >> unused;
}

// Stores the low-order `width` bytes of `value`, most significant first; a negative value is
// sign-extended over widths beyond 8.
inline void StoreBigWidth(Byte* to, std::size_t width, std::int64_t value) {
  for (std::size_t i = width; i-- > 0; value >>= 8) to[i] = static_cast<Byte>(value & 0xFF);
}

}  // namespace tolvane
