// What the caller decides about a compilation, and the limits that nobody decides. One `Settings`
// value goes to the compiler; nothing here is global and nothing is changed while it compiles.
//
// The default describes 8-bit mainframe data. `Settings::For36BitData()` describes the data of
// 36-bit machines, whose byte is a quarter-word of 9 bits: offset and length of a field then count
// quarter-words, and the auxiliary offset and length describe the record after its conversion to
// 8-bit bytes. layout.h says how the two are computed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tolvane::copybook {

inline constexpr int kMaxBinaryDigits = 18;

// Bytes of a binary item by its number of digits (index 1 to 18).
using BinarySizeTable = std::array<std::uint8_t, kMaxBinaryDigits + 1>;

inline constexpr BinarySizeTable kBinarySizes8{0, 2, 2, 2, 2, 4, 4, 4, 4, 4,
                                               8, 8, 8, 8, 8, 8, 8, 8, 8};
inline constexpr BinarySizeTable kBinarySizes36{0, 1, 1, 2, 2, 2, 3, 3, 4, 4,
                                                4, 5, 5, 5, 6, 6, 7, 7, 7};

struct Settings {
  unsigned bits_per_byte = 8;       // 8, or 9 for quarter-words
  bool keep_aux_locations = false;  // binary items widen to 2, 4 or 8 bytes in the aux record
  bool support_pic1 = true;         // PICTURE 1 is a bit field, not an error
  bool bit_to_byte = true;     // bit fields stay bits in the aux record; else a character per bit
  bool truncate_bits = false;  // of characters for bits, those for unused bits are left out
  bool support_comp_x = true;
  bool prefix = true;              // a data name may hold a placeholder, as in :TAG:-NAME
  bool ignore_level_01 = true;     // a description may begin with another level than 01
  bool warn_literal_types = true;  // VALUE of another class than the picture is a warning
  char currency_sign = '$';
  BinarySizeTable binary_sizes = kBinarySizes8;

  static Settings For36BitData() {
    Settings settings;
    settings.bits_per_byte = 9;
    settings.keep_aux_locations = true;
    settings.binary_sizes = kBinarySizes36;
    return settings;
  }
};

// Limits. Each of them is an error with a place, never a cut.
inline constexpr std::size_t kMaxName = 30;
inline constexpr std::int64_t kMaxSize = 0x7FFFFFFF;  // of a field, a table, a record
inline constexpr std::size_t kMaxPictureText = 255;   // characters of a PICTURE as written
inline constexpr int kMaxDigits = 31;                 // of a display or packed item
inline constexpr int kMaxOccursDepth = 7;
inline constexpr std::size_t kMaxCopyDepth = 16;          // COPY within COPY
inline constexpr std::size_t kMaxCopiedText = 64U << 20;  // bytes brought in by COPY in all
inline constexpr std::size_t kMaxErrors = 100;            // then the compilation stops
inline constexpr std::size_t kMaxConditions = 1000;       // comparisons in one expression
inline constexpr int kMaxParentheses = 100;               // open at once in an expression

}  // namespace tolvane::copybook
