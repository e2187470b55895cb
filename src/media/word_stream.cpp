#include "media/word_stream.h"

#include <algorithm>

#include "platform/console.h"

namespace tolvane {
namespace {

constexpr std::size_t kNameAt = 18, kQualifierAt = 9, kNameCharacters = 12;
constexpr std::size_t kPlainBytes = 9000;
constexpr std::uint32_t kHalfWord = 0x3FFFF;

// `count` 9-bit characters, cut to 8 bits.
std::string NineBitText(const Byte* from, std::size_t count) {
  const SplitQuarters split = splitBits(from, static_cast<int>(kGroupBits));
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += static_cast<char>(split.quarter[i]);
  return text;
}

std::string FieldataName(const Byte* from) {
  char text[kNameCharacters];
  splitFieldData(from, static_cast<int>(kNameCharacters), text);
  std::string name(text, sizeof text);
  name.erase(name.find_last_not_of(' ') + 1);
  return name;
}

}  // namespace

std::uint32_t CopygChecksum(std::span<const Byte> block) {
  std::uint64_t sum = 0;
  for (std::size_t group = 0; group + kGroupBytes <= block.size(); group += kGroupBytes)
    for (int half = 1; half <= 4; ++half)
      if (group > 0 || half != 2) sum += splitHalf(&block[group], half);
  while (sum > kHalfWord) sum = (sum & kHalfWord) + (sum >> 18);
  return sum == kHalfWord ? 0 : static_cast<std::uint32_t>(sum);
}

bool WordStream::OpenCopyg(const std::string& name) {
  name_ = name;
  const std::size_t got = Collect(kCopygHeaderBytes);
  const std::string begins = got < kGroupBytes ? "" : NineBitText(block_.data(), 6);
  if (got < kCopygHeaderBytes || begins != "COPYG ") {
    PrintError("COPYG format expected; NOT FOUND\n");
    PrintError("Found `%.6s' instead\n", begins.c_str());
    return false;
  }
  qualifier_ = FieldataName(&block_[kQualifierAt]);
  file_name_ = FieldataName(&block_[kNameAt]);
  is_copyg_ = true;
  return true;
}

// Gathers up to `bytes` bytes in `block_` and returns how many there were.
std::size_t WordStream::Collect(std::size_t bytes) {
  block_.clear();
  while (block_.size() < bytes) {
    const auto got = source_(bytes - block_.size());
    if (got.empty()) break;
    block_.insert(block_.end(), got.begin(), got.end());
  }
  return block_.size();
}

void WordStream::CheckBlock() {
  const std::uint32_t borne = splitHalf(block_.data(), 2);
  const std::uint32_t found = CopygChecksum(block_);
  if (block_.size() == kCopygBlockBytes && borne != found)
    PrintWarning("Block %ld of '%s' has the checksum %06o, its data give %06o.\n", blocks_,
                 name_.c_str(), borne, found);
}

bool WordStream::Refill() {
  const std::size_t got = Collect(is_copyg_ ? kCopygBlockBytes : kPlainBytes);
  if (const std::size_t rest = got % kGroupBytes; rest != 0 && got > 0)
    PrintWarning("'%s' ends inside a group of two words: %zu of %zu bytes.\n", name_.c_str(), rest,
                 kGroupBytes);
  const std::size_t head = is_copyg_ ? kCopygHeadBytes : 0;
  const std::size_t groups = got / kGroupBytes;
  at_ = 0;
  quarters_.clear();
  if (groups * kGroupBytes <= head) return false;
  ++blocks_;
  if (is_copyg_) CheckBlock();
  quarters_.reserve(groups * kGroupQuarters);
  for (std::size_t group = head / kGroupBytes; group < groups; ++group) {
    const SplitQuarters split =
        splitBits(&block_[group * kGroupBytes], static_cast<int>(kGroupBits));
    quarters_.insert(quarters_.end(), split.quarter.begin(), split.quarter.end());
  }
  return true;
}

}  // namespace tolvane
