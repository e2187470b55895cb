#include "media/word_stream.h"

#include <algorithm>

#include "platform/console.h"

namespace tolvane {
namespace {

constexpr std::size_t kNameAt = 18, kQualifierAt = 9, kNameCharacters = 12;
constexpr std::size_t kPlainBytes = 9000;
constexpr std::size_t kSixthsInWord = 6;

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

std::string FieldataText(Word word) {
  std::string text;
  for (unsigned i = 0; i < kSixthsInWord; ++i) text += field2ascii[Sixth(word, i)];
  return text;
}

std::uint32_t CopygChecksum(std::span<const Byte> block) {
  std::uint64_t sum = 0;
  for (std::size_t group = 0; group + kGroupBytes <= block.size(); group += kGroupBytes) {
    const auto head = LoadBig<std::uint64_t>(&block[group]);  // the first 64 of the 72 bits
    const std::uint64_t last = (head & 0x3FF) << 8 | block[group + 8];
    sum += (head >> 46) + (head >> 10 & kHalfWord) + last;
    if (group > 0) sum += head >> 28 & kHalfWord;
  }
  while (sum > kHalfWord) sum = (sum & kHalfWord) + (sum >> 18);
  return sum == kHalfWord ? 0 : static_cast<std::uint32_t>(sum);
}

bool WordStream::OpenCopyg() {
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

template <typename Take>
bool WordStream::ForRuns(std::uint64_t words, Take take) {
  position_ += words;
  for (std::uint64_t left = words * kQuartersInWord; left > 0;) {
    if (at_ == quarters_.size() && !Refill()) return false;
    const std::size_t count = std::min(left, quarters_.size() - at_);
    take(quarters_.begin() + static_cast<std::ptrdiff_t>(at_), count);
    at_ += count;
    left -= count;
  }
  return true;
}

bool WordStream::Append(std::size_t words, std::vector<std::uint16_t>& to) {
  return ForRuns(words, [&to](auto from, std::size_t count) {
    to.insert(to.end(), from, from + static_cast<std::ptrdiff_t>(count));
  });
}

bool WordStream::Pass(std::uint64_t words) {
  return ForRuns(words, [](auto /*from*/, std::size_t /*count*/) {});
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
  if (block_.size() < kCopygBlockBytes) {
    PrintWarning("'%s' ends inside block %ld: %zu of %zu bytes.\n", name_.c_str(), blocks_,
                 block_.size(), kCopygBlockBytes);
    cut_short_ = true;
    return;
  }
  const std::uint32_t borne = splitHalf(block_.data(), 2);
  const std::uint32_t found = CopygChecksum(block_);
  if (borne != found)
    PrintWarning("Block %ld of '%s' has the checksum %06o, its data give %06o.\n", blocks_,
                 name_.c_str(), borne, found);
}

bool WordStream::Refill() {
  at_ = 0;
  quarters_.clear();
  const std::size_t got = Collect(is_copyg_ ? kCopygBlockBytes : kPlainBytes);
  if (got == 0) return false;
  ++blocks_;
  if (is_copyg_) {
    CheckBlock();
  } else if (const std::size_t rest = got % kGroupBytes; rest != 0) {
    PrintWarning("'%s' ends inside a group of two words: %zu of %zu bytes.\n", name_.c_str(), rest,
                 kGroupBytes);
    cut_short_ = true;
  }
  const std::size_t head = is_copyg_ ? kCopygHeadBytes : 0;
  if (got < head + kGroupBytes) return false;
  const std::size_t groups = (got - head) / kGroupBytes;
  quarters_.resize(groups * kGroupQuarters);
  UnpackQuarters(&block_[head], groups, quarters_.data());
  return true;
}

}  // namespace tolvane
