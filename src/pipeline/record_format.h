// The records of relative and sequential output files, byte by byte.
//
//   relative             the record, then a marker: 0x0A present, 0x00 deleted
//   sequential, fixed    the record
//   sequential, variable a 128-byte header; each record with a length prefix, padded with spaces
//                        to a multiple of 4 bytes
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "datarep/byte_order.h"

namespace tolvane {

inline constexpr Byte kRelativeMarker = 0x0A;
inline constexpr Byte kDeletedMarker = 0x00;
inline constexpr std::size_t kVariableAlignment = 4;
inline constexpr std::size_t kVariableHeaderSize = 128;

// The header: `copybook_size` decides the width of its first field, `record_length` is stored as
// maximum and minimum record length (65,535 for longer ones).
[[nodiscard]] std::array<Byte, kVariableHeaderSize> VariableFileHeader(std::int32_t copybook_size,
                                                                       std::int32_t record_length);

// The prefix of a record whose descriptor says `descriptor_length` (its data and 4 bytes more).
struct VariablePrefix {
  std::array<Byte, 4> bytes{};
  std::size_t width = 0;  // 2 or 4
};
[[nodiscard]] VariablePrefix PrefixOfVariableRecord(std::int32_t descriptor_length);

}  // namespace tolvane
