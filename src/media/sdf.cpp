#include "media/sdf.h"

#include <utility>

#include "platform/console.h"

namespace tolvane {
namespace {

// Types of control images.
constexpr unsigned kContinuation = 053;
constexpr unsigned kEndOfFile = 077;

// Words of the label that hold what the program reads.
constexpr std::size_t kRecordSizeWord = 4;
constexpr std::size_t kRecordCountWord = 12;

struct KindName {
  const char* begins;
  SdfKind kind;
};
constexpr KindName kKinds[] = {
    {"**EF**", SdfKind::kElement}, {"*OP", SdfKind::kPrint}, {"*VX", SdfKind::kData}};

std::uint64_t Value(const Word& word) {
  std::uint64_t value = 0;
  for (const std::uint16_t quarter : word) value = value << 9 | quarter;
  return value;
}

// Sixth 0 to 5 of a word.
unsigned Sixth(const Word& word, int index) {
  return static_cast<unsigned>(Value(word) >> (30 - 6 * index) & 077);
}

std::string FieldataText(const Word& word) {
  std::string text;
  for (int i = 0; i < 6; ++i) text += field2ascii[Sixth(word, i)];
  return text;
}

}  // namespace

bool SdfReader::ReadLabel(SdfLabel& label) {
  Word word;
  for (std::size_t i = 0; i < kSdfLabelWords; ++i) {
    if (!words_.Next(word)) return false;
    if (i == 0) {
      const std::string text = FieldataText(word);
      for (const KindName& row : kKinds)
        if (text.starts_with(row.begins)) label.kind = row.kind;
      label.data_type = Sixth(word, 5);
      if (label.kind != SdfKind::kData) return true;
    } else if (i == kRecordSizeWord) {
      label.record_size = static_cast<std::int32_t>(Value(word) & 0x3FFFF) * 4;
    } else if (i == kRecordCountWord) {
      label.record_count = static_cast<std::int32_t>(Value(word) >> 4);
    }
  }
  return true;
}

bool SdfReader::NextImage(SdfImage& image) {
  if (has_ahead_) {
    image = std::move(ahead_);
    has_ahead_ = false;
    return true;
  }
  Word control;
  if (at_end_ || !words_.Next(control)) return false;
  const std::uint64_t value = Value(control);
  image.is_control = (value >> 35 & 1) != 0;
  image.type = image.is_control ? Sixth(control, 0) : 0;
  const auto length =
      static_cast<std::size_t>(image.is_control ? Sixth(control, 1) : value >> 24 & 03777);
  image.quarters.clear();
  Word word;
  for (std::size_t i = 0; i < length; ++i) {
    if (!words_.Next(word)) {
      PrintError("The SDF file ends inside an image of %zu words (block %ld).\n", length,
                 words_.blocks());
      damaged_ = at_end_ = true;
      return false;
    }
    image.quarters.insert(image.quarters.end(), word.begin(), word.end());
  }
  at_end_ = image.is_control && image.type == kEndOfFile;
  return true;
}

bool SdfReader::NextRecord(std::vector<std::uint16_t>& record) {
  SdfImage image;
  do {
    if (!NextImage(image)) return false;
  } while (image.is_control);
  record = std::move(image.quarters);
  for (;;) {
    if (!NextImage(image)) return true;
    if (!image.is_control || image.type != kContinuation) {
      ahead_ = std::move(image);
      has_ahead_ = true;
      return true;
    }
    if (!NextImage(image)) return true;
    if (!image.is_control)
      record.insert(record.end(), image.quarters.begin(), image.quarters.end());
  }
}

}  // namespace tolvane
