#include "media/copyg_blocks.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <optional>
#include <sstream>

#include "media/sdf.h"
#include "platform/console.h"

namespace tolvane {
namespace {

constexpr std::size_t kNumbersOnLine = 8;
constexpr std::size_t kNumberWidth = 6;
constexpr std::size_t kHeaderGroups = 29;  // of four numbers
constexpr std::size_t kNumbers = kHeaderGroups * 4;
constexpr std::size_t kHeaderFileGroups = kCopygHeaderBytes / kGroupBytes;
constexpr std::size_t kBlockQuarters = kCopygBlockBytes / kGroupBytes * kGroupQuarters;

std::optional<std::uint32_t> OctalNumber(std::string text) {
  text.erase(0, text.find_first_not_of(' '));
  text.erase(text.find_last_not_of(' ') + 1);
  if (text.empty() || text.size() > kNumberWidth ||
      text.find_first_not_of("01234567") != std::string::npos)
    return std::nullopt;
  return static_cast<std::uint32_t>(std::stoul(text, nullptr, 8));
}

// The fields of a line: columns when it is as wide as eight of them or nothing sets them apart,
// else words between blanks.
std::vector<std::string> Fields(const std::string& line) {
  std::vector<std::string> fields;
  const bool is_dense = line.size() % kNumberWidth == 0 && line.find(' ') == std::string::npos;
  if (is_dense || line.size() == kNumbersOnLine * kNumberWidth) {
    for (std::size_t at = 0; at < line.size(); at += kNumberWidth)
      fields.push_back(line.substr(at, kNumberWidth));
    return fields;
  }
  std::istringstream words(line);
  for (std::string field; words >> field;) fields.push_back(field);
  return fields;
}

// Reads the numbers of a header file. False after a message.
bool ReadNumbers(std::istream& file, const std::string& path, std::vector<std::uint32_t>& numbers) {
  int line_number = 0;
  for (std::string line; numbers.size() < kNumbers && std::getline(file, line);) {
    ++line_number;
    while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back())) != 0)
      line.pop_back();
    for (const std::string& field : Fields(line)) {
      const auto number = OctalNumber(field);
      if (!number) {
        PrintError(
            "Line %d of header file '%s': '%.24s' is no octal number of at most six digits.\n",
            line_number, path.c_str(), field.c_str());
        return false;
      }
      numbers.push_back(*number);
    }
  }
  if (numbers.size() >= kNumbers) return true;
  PrintError("Header file '%s' has %zu octal numbers; %zu are needed.\n", path.c_str(),
             numbers.size(), kNumbers);
  return false;
}

// A half-word number as two quarter-words.
std::vector<std::uint16_t> InQuarters(const std::vector<std::uint32_t>& halves) {
  std::vector<std::uint16_t> quarters;
  for (const std::uint32_t half : halves) {
    quarters.push_back(static_cast<std::uint16_t>(half >> 9));
    quarters.push_back(static_cast<std::uint16_t>(half & 0x1FF));
  }
  return quarters;
}

}  // namespace

bool CopygBlocks::ReadHeaderFile(const std::string& path) {
  path_ = path;
  PrintOutput("OPENING %s\n", path.c_str());
  std::ifstream file(path);
  if (!file) {
    PrintError("HDR-File open failed.....\n");
    return false;
  }
  std::vector<std::uint32_t> numbers;
  if (!ReadNumbers(file, path, numbers)) return false;
  numbers.resize(kNumbers);
  const std::vector<std::uint16_t> quarters = InQuarters(numbers);
  header_.resize(kCopygHeaderBytes);
  PackQuarters(quarters.data(), kHeaderFileGroups, header_.data());

  const auto block = quarters.begin() + kHeaderFileGroups * kGroupQuarters;
  quarters_.assign(block, quarters.end());
  head_.assign(block, block + kGroupQuarters);
  const std::uint16_t* const label = &quarters_[kGroupQuarters];
  label_words_ = JoinQuarters(label + kSdfRecordSizeWord * kQuartersInWord) & kHalfWord;
  label_count_ = JoinQuarters(label + kSdfRecordCountWord * kQuartersInWord);
  return true;
}

bool CopygBlocks::PutBlock(const Sink& sink) {
  quarters_.resize(kBlockQuarters, 0);
  block_.resize(kCopygBlockBytes);
  PackQuarters(quarters_.data(), kBlockQuarters / kGroupQuarters, block_.data());
  const std::uint32_t checksum = CopygChecksum(block_);
  quarters_[2] = static_cast<std::uint16_t>(checksum >> 9);
  quarters_[3] = static_cast<std::uint16_t>(checksum & 0x1FF);
  PackQuarters(quarters_.data(), 1, block_.data());  // the head, now with its checksum
  quarters_ = head_;
  return sink(block_);
}

bool CopygBlocks::AddQuarters(std::span<const std::uint16_t> quarters, const Sink& sink) {
  while (!quarters.empty()) {
    const std::size_t count = std::min(quarters.size(), kBlockQuarters - quarters_.size());
    quarters_.insert(quarters_.end(), quarters.begin(),
                     quarters.begin() + static_cast<std::ptrdiff_t>(count));
    quarters = quarters.subspan(count);
    if (quarters_.size() == kBlockQuarters && !PutBlock(sink)) return false;
  }
  return true;
}

bool CopygBlocks::AddWord(Word word, const Sink& sink) {
  std::uint16_t quarters[kQuartersInWord];
  for (std::size_t i = 0; i < kQuartersInWord; ++i)
    quarters[i] = static_cast<std::uint16_t>(word >> (27 - 9 * i) & 0x1FF);
  return AddQuarters(quarters, sink);
}

// An image holds so many words; a longer record is several images, joined.
bool CopygBlocks::AddRecord(std::span<const std::uint16_t> quarters, const Sink& sink) {
  if (quarters.size() % kQuartersInWord != 0) {
    padded_.assign(quarters.begin(), quarters.end());
    padded_.resize((quarters.size() / kQuartersInWord + 1) * kQuartersInWord, ' ');
    quarters = padded_;
  }
  ++records_;
  longest_ = std::max(longest_, quarters.size() / kQuartersInWord);
  for (bool continued = false;; continued = true) {
    const std::size_t words = std::min(quarters.size() / kQuartersInWord, kMostImageWords);
    const auto image = quarters.first(words * kQuartersInWord);
    if (continued && !AddWord(EmptyControl(sdf_image::kContinuation), sink)) return false;
    if (!AddWord(DataControl(words), sink) || !AddQuarters(image, sink)) return false;
    quarters = quarters.subspan(image.size());
    if (quarters.empty()) return AddWord(EmptyControl(sdf_image::kEndOfRecord), sink);
  }
}

void CopygBlocks::CheckLabel() const {
  const bool same_count = label_count_ == static_cast<Word>(records_);
  if (same_count && (records_ == 0 || label_words_ == longest_)) return;
  PrintWarning(
      "The label in '%s' tells %lu records of %lu words; %ld of %zu words were written. A restore "
      "goes by the label.\n",
      path_.c_str(), label_count_, label_words_, records_, longest_);
}

bool CopygBlocks::Finish(const Sink& sink) {
  if (!AddWord(EmptyControl(sdf_image::kEndOfFile), sink)) return false;
  CheckLabel();
  return quarters_.size() == kGroupQuarters || PutBlock(sink);
}

}  // namespace tolvane
