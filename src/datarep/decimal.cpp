#include "datarep/decimal.h"

#include <algorithm>

namespace tolvane {

void StorePacked(std::span<Byte> field, std::string_view digits, Byte sign_nibble) {
  std::fill(field.begin(), field.end(), Byte{0});
  if (field.empty()) return;
  field.back() = sign_nibble;
  const std::size_t room = field.size() * 2 - 1;
  const std::size_t count = std::min(room, digits.size());
  for (std::size_t i = 0; i < count; ++i) {
    const auto digit = static_cast<Byte>(digits[digits.size() - 1 - i] & kDigitMask);
    const std::size_t nibble = i + 1;  // counted from the right, the sign being nibble 0
    Byte& byte = field[field.size() - 1 - nibble / 2];
    byte = static_cast<Byte>(byte | (nibble % 2 == 0 ? digit : digit << 4));
  }
}

Unpacked LoadPacked(std::span<const Byte> field) {
  Unpacked result;
  if (field.empty()) return result;
  result.digits.reserve(field.size() * 2 - 1);
  for (const Byte byte : field) {
    result.digits += static_cast<char>('0' + (byte >> 4));
    result.digits += static_cast<char>('0' + (byte & kDigitMask));
  }
  result.digits.pop_back();
  result.sign_nibble = field.back() & kDigitMask;
  return result;
}

void mstintuc(std::span<Byte> field, std::int64_t value) {
  const bool negative = value < 0;
  auto rest = negative ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
  for (std::size_t i = field.size(); i-- > 0; rest /= 10)
    field[i] = static_cast<Byte>('0' + rest % 10);
  if (negative && !field.empty()) field.back() |= 0x40;
}

}  // namespace tolvane
