#include "media/sdf.h"

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

bool SdfReader::NextImage(SdfImage& image) {
  if (has_ahead_) {
    image = ahead_;
    has_ahead_ = false;
    return true;
  }
  Word control;
  if (at_end_ || !words_.Next(control)) return false;
  image.control = control;
  image.is_control = (control >> (kWordBits - 1) & 1) != 0;
  image.type = image.is_control ? Sixth(control, 0) : 0;
  image.words = image.is_control ? Sixth(control, 1) : control >> 24 & kMostImageWords;
  at_end_ = image.is_control && image.type == sdf_image::kEndOfFile;
  return true;
}

bool SdfReader::Cut(const SdfImage& image) {
  PrintError("'%s' ends inside an image of %zu words (block %ld).\n", words_.name().c_str(),
             image.words, words_.blocks());
  damaged_ = at_end_ = true;
  return false;
}

bool SdfReader::Take(const SdfImage& image, std::vector<std::uint16_t>& to) {
  return words_.Append(image.words, to) || Cut(image);
}

bool SdfReader::Pass(const SdfImage& image) { return words_.Pass(image.words) || Cut(image); }

bool SdfReader::TakeBounded(const SdfImage& image, std::vector<std::uint16_t>& record,
                            std::size_t most_words) {
  const std::size_t words = record.size() / kQuartersInWord + image.words;
  if (words <= most_words) return Take(image, record);
  PrintError("A record in block %ld of '%s' has %zu words or more; the most is %zu.\n",
             words_.blocks(), words_.name().c_str(), words, most_words);
  damaged_ = at_end_ = true;
  return false;
}

bool SdfReader::TakeRecord(const SdfImage& image, std::vector<std::uint16_t>& record,
                           std::size_t most_words) {
  if (!TakeBounded(image, record, most_words)) return false;
  SdfImage next;
  while (NextImage(next)) {
    if (!next.is_control || next.type != sdf_image::kContinuation) {
      ahead_ = next;
      has_ahead_ = true;
      return true;
    }
    if (!Pass(next)) return false;
    if (!NextImage(next)) return Cut(image);
    if (next.is_control ? !Pass(next) : !TakeBounded(next, record, most_words)) return false;
  }
  return true;
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
