// SDF files of 36-bit words: a label, then images, each behind a record control word.
//
//   bit 0 clear   a data image; bits 1 to 11 are its length in words
//   bit 0 set     a control image; the first six bits are its type, the next six its length
//
// A record is a data image and the data images that continuation images join to it. The label is
// a control image of its own; its first word, six characters in Fieldata, tells what the file is.
//
// A file that ends inside an image is reported here, once; `damaged` tells the caller.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/word_stream.h"

namespace tolvane {

// Types of control images.
namespace sdf_image {
inline constexpr unsigned kLabel = 050;
inline constexpr unsigned kBypass = 051;
inline constexpr unsigned kEndOfRecord = 052;
inline constexpr unsigned kContinuation = 053;
inline constexpr unsigned kEndOfRecordCount = 054;
inline constexpr unsigned kSpacing = 060;  // of print files
inline constexpr unsigned kEndOfFile = 077;
}  // namespace sdf_image

// The most words of a data image.
inline constexpr std::size_t kMostImageWords = 03777;

// The control words of a data image and of an empty control image.
[[nodiscard]] constexpr Word DataControl(std::size_t words) { return Word{words} << 24; }
[[nodiscard]] constexpr Word EmptyControl(unsigned type) { return Word{type} << 30; }

enum class SdfKind { kData, kPrint, kElement, kOther };

// The last sixth of a label's first word.
namespace sdf_type {
inline constexpr unsigned kFieldata = 0;
inline constexpr unsigned kAscii = 1;
inline constexpr unsigned kIso = 35;
}  // namespace sdf_type
// Whether it stands for ASCII or ISO characters of 9 bits.
[[nodiscard]] constexpr bool IsNineBit(unsigned type) {
  return type == sdf_type::kAscii || type == sdf_type::kIso;
}

// Words of the label of a data file, and those of them that hold what the program reads.
inline constexpr std::size_t kSdfLabelWords = 28;
inline constexpr std::size_t kSdfRecordSizeWord = 4;    // second half: words of a record
inline constexpr std::size_t kSdfRecordCountWord = 12;  // signed

// What the first words of a file say.
struct SdfLabel {
  SdfKind kind = SdfKind::kOther;
  unsigned data_type = 0;
  std::int32_t record_size = 0;   // bytes
  std::int64_t record_count = 0;  // 0: not told
};

// The control word of an image. What it announces must be taken or passed before the next one.
struct SdfImage {
  bool is_control = false;
  unsigned type = 0;  // of a control image
  std::size_t words = 0;
  Word control = 0;
};

class SdfReader {
 public:
  explicit SdfReader(WordStream& words) : words_(words) {}

  // Reads the label; of an element file its first word only. False when the stream ends in it.
  [[nodiscard]] bool ReadLabel(SdfLabel& label);
  // The next image; false at the end of the file.
  [[nodiscard]] bool NextImage(SdfImage& image);
  // Appends the quarter-words of the image at hand. False after a message when it is cut.
  [[nodiscard]] bool Take(const SdfImage& image, std::vector<std::uint16_t>& to);
  [[nodiscard]] bool Pass(const SdfImage& image);
  // Appends the data image at hand and those joined to it; false after a message when one is cut or
  // they have more than `most_words` words.
  [[nodiscard]] bool TakeRecord(const SdfImage& image, std::vector<std::uint16_t>& record,
                                std::size_t most_words);
  // The quarter-words of the next record; false at the end, and after a message when the record
  // has more than `most_words` words.
  [[nodiscard]] bool NextRecord(std::vector<std::uint16_t>& record, std::size_t most_words);

  [[nodiscard]] bool damaged() const { return damaged_ || words_.cut_short(); }

 private:
  [[nodiscard]] bool TakeBounded(const SdfImage& image, std::vector<std::uint16_t>& record,
                                 std::size_t most_words);
  [[nodiscard]] bool Cut(const SdfImage& image);

  WordStream& words_;
  SdfImage ahead_;  // read and not yet used
  bool has_ahead_ = false;
  bool at_end_ = false;
  bool damaged_ = false;
};

}  // namespace tolvane
