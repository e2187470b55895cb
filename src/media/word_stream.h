// A volume of 36-bit words, handed out word by word or in runs of quarter-words of 9 bits. Two
// forms:
//
//   COPYG   a header of 28 words (126 bytes), then blocks of 1,794 words (8,073 bytes), each with a
//           head of two words. The second half-word of the first one is the checksum of the block:
//           the one's complement sum (18 bits, end-around carry, negative zero folded to zero) of
//           its other half-words. The 12 six-bit characters at byte 9 of the header are the
//           qualifier, those at byte 18 the file name.
//   plain   words from the first byte on
//
// Two words are 9 bytes, most significant bit first. A volume that ends inside a block is read as
// far as it goes, with a warning; whole groups of 9 bytes count. A wrong checksum is a warning too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "datarep/byte_order.h"
#include "media/splitbit.h"

namespace tolvane {

inline constexpr std::size_t kCopygHeaderBytes = 126;
inline constexpr std::size_t kCopygBlockBytes = 8073;
inline constexpr std::size_t kCopygHeadBytes = 9;
inline constexpr std::size_t kQuartersInWord = 4;

// A 36-bit word, right-aligned.
using Word = std::uint64_t;

inline constexpr unsigned kWordBits = 36;
inline constexpr Word kHalfWord = 0x3FFFF;

// Sixth 0 to 5 of a word.
[[nodiscard]] constexpr unsigned Sixth(Word word, unsigned index) {
  return static_cast<unsigned>(word >> (30 - 6 * index) & 077);
}
// The Fieldata characters of a word.
[[nodiscard]] std::string FieldataText(Word word);
// The word of four quarter-words.
[[nodiscard]] constexpr Word JoinQuarters(const std::uint16_t* from) {
  Word word = 0;
  for (std::size_t i = 0; i < kQuartersInWord; ++i) word = word << 9 | (from[i] & 0x1FFU);
  return word;
}

// The 18-bit checksum of a COPYG block (kCopygBlockBytes bytes), whatever checksum it bears.
[[nodiscard]] std::uint32_t CopygChecksum(std::span<const Byte> block);

class WordStream {
 public:
  // Gives the next bytes of the volume, at most as many as asked for; none at its end. The view
  // lasts until the next call.
  using Source = std::function<std::span<const Byte>(std::size_t bytes)>;

  // `name` is the volume's in messages.
  WordStream(std::string name, Source source)
      : source_(std::move(source)), name_(std::move(name)) {}

  // Reads the COPYG header. False after a message when there is none.
  [[nodiscard]] bool OpenCopyg();
  [[nodiscard]] const std::string& name() const { return name_; }
  // From the COPYG header, without trailing blanks; empty without one.
  [[nodiscard]] const std::string& qualifier() const { return qualifier_; }
  [[nodiscard]] const std::string& file_name() const { return file_name_; }

  // The next word; false at the end.
  [[nodiscard]] bool Next(Word& word) {
    if (at_ == quarters_.size() && !Refill()) return false;
    word = JoinQuarters(&quarters_[at_]);
    at_ += kQuartersInWord;
    ++position_;
    return true;
  }
  // Appends the quarter-words of the next `words` words, four each; false when there are not so
  // many, after appending those that there are. Memory is taken as words arrive.
  [[nodiscard]] bool Append(std::size_t words, std::vector<std::uint16_t>& to);
  // Passes over words; false when there are not so many.
  [[nodiscard]] bool Pass(std::uint64_t words);

  // Words handed out or passed over so far.
  [[nodiscard]] std::uint64_t position() const { return position_; }
  // Blocks read so far.
  [[nodiscard]] std::int64_t blocks() const { return blocks_; }
  // The volume ended inside a block.
  [[nodiscard]] bool cut_short() const { return cut_short_; }

 private:
  [[nodiscard]] bool Refill();
  [[nodiscard]] std::size_t Collect(std::size_t bytes);
  // Calls `take` with the runs of quarter-words that make up the next `words` words.
  template <typename Take>
  [[nodiscard]] bool ForRuns(std::uint64_t words, Take take);
  void CheckBlock();

  Source source_;
  std::string name_, qualifier_, file_name_;
  bool is_copyg_ = false;
  bool cut_short_ = false;
  std::vector<Byte> block_;
  std::vector<std::uint16_t> quarters_;
  std::size_t at_ = 0;  // the next quarter-word
  std::uint64_t position_ = 0;
  std::int64_t blocks_ = 0;
};

}  // namespace tolvane
