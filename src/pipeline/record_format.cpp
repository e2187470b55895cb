#include "pipeline/record_format.h"

#include <algorithm>

#include "media/tape_io.h"

namespace tolvane {
namespace {

// Record types, ORed into the first byte of a header or prefix.
constexpr Byte kHeaderType = 0x30;
constexpr Byte kDataType = 0x40;

// Sizes from which on lengths take four bytes.
constexpr std::int32_t kWideCopybook = 4096;
constexpr std::int32_t kWideDescriptor = 4096;
constexpr std::int32_t kLastNarrowDescriptor = 4091;

// Offsets in the header (width).
constexpr std::size_t kHeaderLength = 0;   // 2 or 4
constexpr std::size_t kConstant62 = 36;    // 2
constexpr std::size_t kConstantOne = 39;   // 1
constexpr std::size_t kConstantOne2 = 48;  // 1
constexpr std::size_t kMaximum = 56;       // 2
constexpr std::size_t kMinimum = 60;       // 2

}  // namespace

std::array<Byte, kVariableHeaderSize> VariableFileHeader(std::int32_t copybook_size,
                                                         std::int32_t record_length) {
  std::array<Byte, kVariableHeaderSize> header{};
  const std::size_t width = copybook_size >= kWideCopybook ? 4 : 2;
  StoreBigWidth(&header[kHeaderLength], width,
                static_cast<std::int64_t>(kVariableHeaderSize - width));
  header[kHeaderLength] |= kHeaderType;
  StoreBig<std::uint16_t>(&header[kConstant62], 62);
  header[kConstantOne] = 1;
  header[kConstantOne2] = 1;
  const auto length = static_cast<std::uint16_t>(std::min(record_length, 0xFFFF));
  StoreBig(&header[kMaximum], length);
  StoreBig(&header[kMinimum], length);
  return header;
}

VariablePrefix PrefixOfVariableRecord(std::int32_t descriptor_length) {
  VariablePrefix prefix;
  prefix.width = descriptor_length < kWideDescriptor ? 2 : 4;
  // Deliberate: descriptor lengths from 4092 to 4095 get the first two bytes of a 4-byte length.
  const std::size_t stored = descriptor_length <= kLastNarrowDescriptor ? 2 : 4;
  StoreBigWidth(prefix.bytes.data(), stored,
                descriptor_length - static_cast<std::int32_t>(kDescriptorWidth));
  prefix.bytes[0] |= kDataType;
  return prefix;
}

}  // namespace tolvane
