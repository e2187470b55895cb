// A volume of 36-bit words, handed out word by word as quarter-words of 9 bits. Two forms:
//
//   COPYG   a header of 28 words (126 bytes), then blocks of 1,794 words (8,073 bytes), each with a
//           head of two words. The second half-word of the first one is the checksum of the block:
//           the one's complement sum (18 bits, end-around carry, negative zero folded to zero) of
//           its other half-words. The 12 six-bit characters at byte 9 of the header are the
//           qualifier, those at byte 18 the file name.
//   plain   words from the first byte on
//
// Two words are 9 bytes, most significant bit first. A volume that ends inside a block is read as
// far as it goes; whole groups of 9 bytes count.
#pragma once

#include <array>
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

using Word = std::array<std::uint16_t, kQuartersInWord>;

// The 18-bit checksum of a COPYG block (kCopygBlockBytes bytes), whatever checksum it bears.
[[nodiscard]] std::uint32_t CopygChecksum(std::span<const Byte> block);

class WordStream {
 public:
  // Gives the next bytes of the volume, at most as many as asked for; none at its end. The view
  // lasts until the next call.
  using Source = std::function<std::span<const Byte>(std::size_t bytes)>;

  explicit WordStream(Source source) : source_(std::move(source)) {}

  // Reads the COPYG header. False after a message when there is none.
  [[nodiscard]] bool OpenCopyg(const std::string& name);
  [[nodiscard]] const std::string& qualifier() const { return qualifier_; }
  [[nodiscard]] const std::string& file_name() const { return file_name_; }

  // The next word; false at the end.
  [[nodiscard]] bool Next(Word& word) {
    if (at_ == quarters_.size() && !Refill()) return false;
    for (std::size_t i = 0; i < kQuartersInWord; ++i) word[i] = quarters_[at_ + i];
    at_ += kQuartersInWord;
    return true;
  }
  // Blocks read so far.
  [[nodiscard]] std::int64_t blocks() const { return blocks_; }

 private:
  [[nodiscard]] bool Refill();
  [[nodiscard]] std::size_t Collect(std::size_t bytes);
  void CheckBlock();

  Source source_;
  std::string name_, qualifier_, file_name_;
  bool is_copyg_ = false;
  std::vector<Byte> block_;
  std::vector<std::uint16_t> quarters_;
  std::size_t at_ = 0;  // the next quarter-word
  std::int64_t blocks_ = 0;
};

}  // namespace tolvane
