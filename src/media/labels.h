// Tape labels: 80-byte blocks that stand before and after the data of a volume.
//
//   VOL1 HDR1 HDR2 * data * EOF1 EOF2 * *       (* a tape mark, on a device)
//
// They are built in ASCII and written in EBCDIC; read, they may be in either. One table of
// offsets serves writer and reader.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <span>
#include <string>

#include "datarep/byte_order.h"

namespace tolvane {

inline constexpr std::size_t kLabelSize = 80;
using Label = std::array<Byte, kLabelSize>;

// Offsets (widths) in labels; every label has its name at 0 (4).
namespace label {
struct Field {
  std::size_t offset, width;
};
inline constexpr Field kName{0, 4};

// VOL1
inline constexpr Field kVolumeSerial{4, 6};
inline constexpr Field kVolumeSerialRead{4, 8};  // Deliberate: the reader takes two bytes more

// HDR1, EOF1
inline constexpr Field kFileLabel{4, 17};
inline constexpr Field kFileLabelRead{4, 16};  // Deliberate: the reader leaves the last one
inline constexpr Field kFileSerial{21, 6};
inline constexpr Field kIdentity{4, 23};       // the same in the labels before and behind a file
inline constexpr Field kSequence{27, 4};       // HDR1: volume number
inline constexpr Field kConstants{27, 14};     // EOF1: "00010001000101"
inline constexpr Field kConstantsHdr{31, 10};  // HDR1: "0001000101"
inline constexpr Field kNumbers{27, 8};        // HDR1: of the volume and of the file on it
inline constexpr Field kCreated{42, 5};        // year, two digits, and day of the year, three
inline constexpr Field kExpires{48, 5};
inline constexpr Field kBlockCount{53, 7};  // HDR1: "0000000"
inline constexpr Field kBlockCountRead{54, 6};
inline constexpr Field kSystem{60, 4};  // "OS3 "

// HDR2, EOF2
inline constexpr Field kFormat{4, 1};  // "V", "F"
inline constexpr Field kBlockLength{5, 5};
inline constexpr Field kRecordLength{10, 5};
}  // namespace label

struct BlockFormat {
  char format = ' ';  // 'V' variable, 'F' fixed
  std::int32_t block_length = 0;
  std::int32_t record_length = 0;
};

// The labels of one file, in EBCDIC.
[[nodiscard]] Label MakeVol1(const std::string& serial);
[[nodiscard]] Label MakeHdr1(const std::string& file_label, const std::string& serial,
                             std::int32_t volume_number, const std::tm& today);
// `name` is "EOF1" or "EOV1".
[[nodiscard]] Label MakeEof1(const char* name, const std::string& file_label,
                             const std::string& serial, std::int32_t blocks_written,
                             const std::tm& today);
// `name` is "HDR2", "EOF2" or "EOV2".
[[nodiscard]] Label MakeHdr2(const char* name, const BlockFormat& format);

// The same label for a volume of 36-bit words: ASCII characters of 9 bits, as many as a label's
// bytes hold. What it loses at its end are spaces.
[[nodiscard]] Label InWords(const Label& label);

// The label's text in ASCII, when the block has a label's size and name in ASCII or EBCDIC; with
// `in_words` also in characters of 9 bits.
[[nodiscard]] std::optional<std::string> ReadLabel(std::span<const Byte> block,
                                                   bool in_words = false);
// Whether an HDR1 has numbers where all writers put them.
[[nodiscard]] bool HasNumbers(const std::string& hdr1);
// Whether the first bytes of a label, fewer than its name perhaps, may begin a VOL1 or HDR1.
// Text counts only when it is in EBCDIC: `may_be_ascii` false.
[[nodiscard]] bool MayBeginVolume(std::span<const Byte> bytes, bool may_be_ascii);
// How many of the last bytes of a file are its trailer: EOF1 and EOF2 or EOV1 and EOV2, or as much
// of them as there is when the first one is that of the file that `hdr1` labels. At most
// kTrailerSize.
inline constexpr std::size_t kTrailerSize = 2 * kLabelSize;
[[nodiscard]] std::size_t TrailerLength(std::span<const Byte> end, const std::string& hdr1,
                                        bool in_words);
// A field of a label's text, without trailing blanks.
[[nodiscard]] std::string LabelField(const std::string& text, label::Field field);
// The decimal number in a field; nothing when it holds anything else.
[[nodiscard]] std::optional<std::int32_t> LabelNumber(const std::string& text, label::Field field);
[[nodiscard]] bool LabelIs(const std::string& text, const char* name);

}  // namespace tolvane
