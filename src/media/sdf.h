// SDF files of 36-bit words: a label, then images, each behind a record control word.
//
//   bit 0 clear   a data image; bits 1 to 11 are its length in words
//   bit 0 set     a control image; the first six bits are its type, the next six its length
//                 (octal: 50 label, 51 bypass, 52 end of record, 53 continuation, 54 end of record
//                 with a count, 77 end of file)
//
// A record is a data image and the data images that continuation images join to it. The label is
// the first 28 words; its first six characters, in Fieldata, tell what the file is.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/word_stream.h"

namespace tolvane {

enum class SdfKind { kData, kPrint, kElement, kOther };

// What the first words of a file say.
struct SdfLabel {
  SdfKind kind = SdfKind::kOther;
  unsigned data_type = 0;         // 1 and 35: ASCII/ISO characters of 9 bits
  std::int32_t record_size = 0;   // bytes
  std::int32_t record_count = 0;  // 0: not told
};

inline constexpr std::size_t kSdfLabelWords = 28;

// A data or control image.
struct SdfImage {
  bool is_control = false;
  unsigned type = 0;  // of a control image
  std::vector<std::uint16_t> quarters;
};

class SdfReader {
 public:
  explicit SdfReader(WordStream& words) : words_(words) {}

  // Reads the label. False when the stream ends in it.
  [[nodiscard]] bool ReadLabel(SdfLabel& label);
  // The next image; false at the end of the file. An image that the stream does not hold whole
  // ends the file after a message.
  [[nodiscard]] bool NextImage(SdfImage& image);
  // The quarter-words of the next record; false at the end.
  [[nodiscard]] bool NextRecord(std::vector<std::uint16_t>& record);

  [[nodiscard]] bool damaged() const { return damaged_; }

 private:
  WordStream& words_;
  SdfImage ahead_;  // read and not yet used
  bool has_ahead_ = false;
  bool at_end_ = false;
  bool damaged_ = false;
};

}  // namespace tolvane
