#include "media/sdf.h"

#include <utility>

#include "platform/console.h"

namespace tolvane {
namespace {

struct KindName {
  const char* begins;
  SdfKind kind;
};
constexpr KindName kKinds[] = {
    {"**EF**", SdfKind::kElement}, {"*OP", SdfKind::kPrint}, {"*VX", SdfKind::kData}};

constexpr std::int64_t Signed(Word word) {
  return static_cast<std::int64_t>(word << (64 - kWordBits)) >> (64 - kWordBits);
}

constexpr bool EndsRecord(unsigned type) {
  return type == sdf_image::kEndOfRecord || type == sdf_image::kEndOfRecordCount ||
         type == sdf_image::kEndOfFile;
}

}  // namespace

bool SdfReader::ReadLabel(SdfLabel& label) {
  Word word;
  if (!words_.Next(word)) return false;
  const std::string text = FieldataText(word);
  for (const KindName& row : kKinds)
    if (text.starts_with(row.begins)) label.kind = row.kind;
  label.data_type = Sixth(word, 5);
  if (label.kind == SdfKind::kPrint) return words_.Pass(Sixth(word, 1));
  if (label.kind != SdfKind::kData) return true;
  for (std::size_t i = 1; i < kSdfLabelWords; ++i) {
    if (!words_.Next(word)) return false;
    if (i == kSdfRecordSizeWord)
      label.record_size = static_cast<std::int32_t>((word & kHalfWord) * kQuartersInWord);
    if (i == kSdfRecordCountWord) label.record_count = Signed(word);
  }
  return true;
}

// The next control word. A run of zeros counts as empty images once something else is seen behind.
bool SdfReader::NextControl(Word& control) {
  if (empty_images_ == 0 && behind_empty_ == 0) {
    if (!NextWord(control)) return false;
    if (control != 0) return true;
    std::uint64_t zeros = 1;
    while (NextWord(behind_empty_) && behind_empty_ == 0) ++zeros;
    if (behind_empty_ == 0) return false;
    empty_images_ = zeros;
  }
  if (empty_images_ > 0) {
    --empty_images_;
    control = 0;
  } else {
    control = std::exchange(behind_empty_, 0);
  }
  return true;
}

bool SdfReader::NextImage(SdfImage& image) {
  if (std::exchange(has_ahead_, false)) {
    image = ahead_;
    return true;
  }
  do {
    Word control;
    if (at_end_ || !NextControl(control)) return false;
    image.control = control;
    image.is_control = (control >> (kWordBits - 1) & 1) != 0;
    image.type = image.is_control ? Sixth(control, 0) : 0;
    image.words = image.is_control ? Sixth(control, 1) : control >> 24 & kMostImageWords;
  } while (image.type == sdf_image::kBypass && Pass(image));
  at_end_ = at_end_ || image.type == sdf_image::kEndOfFile;
  return !damaged_;
}

bool SdfReader::Cut(const SdfImage& image) {
  PrintError("'%s' ends inside an image of %zu words (block %ld).\n", words_.name().c_str(),
             image.words, words_.blocks());
  return Damage();
}

// False after a message when the image runs past the limit.
bool SdfReader::IsWithin(const SdfImage& image) {
  if (image.words <= limit_ - words_.position()) return true;
  PrintError("An image of %zu words in block %ld of '%s' runs past the end of its element.\n",
             image.words, words_.blocks(), words_.name().c_str());
  return Damage();
}

bool SdfReader::Take(const SdfImage& image, std::vector<std::uint16_t>& to) {
  return IsWithin(image) && (words_.Append(image.words, to) || Cut(image));
}

bool SdfReader::Pass(const SdfImage& image) {
  return IsWithin(image) && (words_.Pass(image.words) || Cut(image));
}

bool SdfReader::TakeBounded(const SdfImage& image, std::vector<std::uint16_t>& record,
                            std::size_t most_words) {
  const std::size_t words = record.size() / kQuartersInWord + image.words;
  if (words <= most_words) return Take(image, record);
  PrintError("A record in block %ld of '%s' has %zu words or more; the most is %zu.\n",
             words_.blocks(), words_.name().c_str(), words, most_words);
  return Damage();
}

bool SdfReader::TakeRecord(const SdfImage& image, std::vector<std::uint16_t>& record,
                           std::size_t most_words) {
  if (!TakeBounded(image, record, most_words)) return false;
  SdfImage next;
  while (NextImage(next)) {
    if (next.type != sdf_image::kContinuation) {
      PutBack(next);
      return true;
    }
    if (!Pass(next) || !TakeContinuation(record, most_words)) return false;
  }
  return !damaged_;
}

// Appends the data image that a continuation announces. What ends the record stands before it only
// in a file that is not sound.
bool SdfReader::TakeContinuation(std::vector<std::uint16_t>& record, std::size_t most_words) {
  SdfImage image;
  while (NextImage(image)) {
    if (!image.is_control) return TakeBounded(image, record, most_words);
    if (EndsRecord(image.type)) {
      PrintWarning("A continuation in block %ld of '%s' is not followed by data.\n",
                   words_.blocks(), words_.name().c_str());
      PutBack(image);
      return true;
    }
    if (!Pass(image)) return false;
  }
  return damaged_ ? false : Cut(image);
}

bool SdfReader::NextRecord(std::vector<std::uint16_t>& record, std::size_t most_words) {
  record.clear();
  SdfImage image;
  while (NextImage(image)) {
    if (!image.is_control) return TakeRecord(image, record, most_words);
    if (!Pass(image)) return false;
  }
  return false;
}

}  // namespace tolvane
