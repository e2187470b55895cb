// SDF files of 36-bit words: a label, then images, each behind a record control word.
//
//   bit 0 clear   a data image; bits 1 to 11 are its length in words
//   bit 0 set     a control image; the first six bits are its type, the next six its length
//
// A record is a data image and the data images that continuation images join to it. Bypass images
// are passed over wherever they stand. The label is a control image of its own; its first word, six
// characters in Fieldata, tells what the file is.
//
// Zeros up to the end of the volume are fill, no images without words. A file that ends inside an
// image is reported here, once; `damaged` tells the caller.
#pragma once

#include <cstdint>
#include <limits>
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
  static constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();
  // What stands in the stream up to position `limit`.
  explicit SdfReader(WordStream& words, std::uint64_t limit = kNoLimit)
      : words_(words), limit_(limit) {}

  // Reads the label; of an element file its first word only. False when the stream ends in it.
  [[nodiscard]] bool ReadLabel(SdfLabel& label);
  // The next image that is no bypass image; false at the end of the file or after damage.
  [[nodiscard]] bool NextImage(SdfImage& image);
  // Appends the quarter-words of the image at hand. False after a message when it is cut.
  [[nodiscard]] bool Take(const SdfImage& image, std::vector<std::uint16_t>& to);
  // Passes over it. Fails as Take does.
  [[nodiscard]] bool Pass(const SdfImage& image);
  // Appends the data image at hand and those joined to it; false after a message when one is cut or
  // they have more than `most_words` words.
  [[nodiscard]] bool TakeRecord(const SdfImage& image, std::vector<std::uint16_t>& record,
                                std::size_t most_words);
  // The quarter-words of the next record; false at the end, and after a message when the record
  // has more than `most_words` words.
  [[nodiscard]] bool NextRecord(std::vector<std::uint16_t>& record, std::size_t most_words);

  [[nodiscard]] bool damaged() const { return damaged_ || words_.cut_short(); }
  // The end-of-file image has been read.
  [[nodiscard]] bool ended() const { return at_end_ && !damaged_; }

 private:
  [[nodiscard]] bool NextWord(Word& word) {
    return words_.position() < limit_ && words_.Next(word);
  }
  [[nodiscard]] bool NextControl(Word& control);
  [[nodiscard]] bool TakeContinuation(std::vector<std::uint16_t>& record, std::size_t most_words);
  [[nodiscard]] bool IsWithin(const SdfImage& image);
  void PutBack(const SdfImage& image) {
    ahead_ = image;
    has_ahead_ = true;
  }
  [[nodiscard]] bool TakeBounded(const SdfImage& image, std::vector<std::uint16_t>& record,
                                 std::size_t most_words);
  [[nodiscard]] bool Cut(const SdfImage& image);
  // Ends the reading, behind a message. False.
  bool Damage() {
    damaged_ = at_end_ = true;
    return false;
  }

  WordStream& words_;
  std::uint64_t limit_;
  std::uint64_t empty_images_ = 0;  // images without words that come next
  Word behind_empty_ = 0;           // the control word behind them; 0: none was read
  SdfImage ahead_;                  // read and not yet used
  bool has_ahead_ = false;
  bool at_end_ = false;
  bool damaged_ = false;
};

}  // namespace tolvane
