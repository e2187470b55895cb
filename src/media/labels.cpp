#include "media/labels.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "datarep/charset.h"
#include "media/splitbit.h"

namespace tolvane {
namespace {

// Labels of every kind have a digit behind one of these.
constexpr std::string_view kKinds[] = {"VOL", "HDR", "EOF", "EOV", "UVL", "UHL", "UTL"};

// A label of 9-bit characters: what is read of it, and its 80 characters.
constexpr std::size_t kLabelGroups = 8;
constexpr std::size_t kMostLabelBytes = kLabelSize / kGroupQuarters * kGroupBytes;

// A label under construction, in ASCII.
class Builder {
 public:
  explicit Builder(const char* name) : text_(kLabelSize, ' ') { Put(label::kName, name); }

  // Text is cut at the field's width, numbers keep their low-order digits.
  Builder& Put(label::Field field, const std::string& value) {
    text_.replace(field.offset, std::min(field.width, value.size()), value, 0, field.width);
    return *this;
  }
  Builder& Number(label::Field field, std::int32_t value) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%0*d", static_cast<int>(field.width), value);
    return Put(field, digits + std::strlen(digits) - field.width);
  }
  Builder& Dates(const std::tm& today) {
    char date[16];
    std::snprintf(date, sizeof date, "%02d%03d", today.tm_year % 100, today.tm_yday + 1);
    return Put(label::kCreated, date).Put(label::kExpires, date);
  }
  [[nodiscard]] Label InEbcdic() const {
    Label block;
    std::transform(text_.begin(), text_.end(), block.begin(),
                   [](char c) { return asc2ebc[static_cast<Byte>(c)]; });
    return block;
  }

 private:
  std::string text_;
};

bool IsName(const std::string& text) {
  const std::string_view name(text.data() + label::kName.offset, label::kName.width);
  return name[3] >= '1' && name[3] <= '9' &&
         std::find(std::begin(kKinds), std::end(kKinds), name.substr(0, 3)) != std::end(kKinds);
}

// The label that the bytes begin, however many of it are there.
std::optional<std::string> BegunLabel(std::span<const Byte> bytes, bool in_words) {
  Label label{};
  std::copy_n(bytes.begin(), std::min(bytes.size(), label.size()), label.begin());
  return ReadLabel(label, in_words);
}

}  // namespace

Label MakeVol1(const std::string& serial) {
  return Builder("VOL1").Put(label::kVolumeSerial, serial).InEbcdic();
}

Label MakeHdr1(const std::string& file_label, const std::string& serial, std::int32_t volume_number,
               const std::tm& today) {
  return Builder("HDR1")
      .Put(label::kFileLabel, file_label)
      .Put(label::kFileSerial, serial)
      .Number(label::kSequence, volume_number)
      .Put(label::kConstantsHdr, "0001000101")
      .Dates(today)
      .Number(label::kBlockCount, 0)
      .Put(label::kSystem, "OS3 ")
      .InEbcdic();
}

Label MakeEof1(const char* name, const std::string& file_label, const std::string& serial,
               std::int32_t blocks_written, const std::tm& today) {
  return Builder(name)
      .Put(label::kFileLabel, file_label)
      .Put(label::kFileSerial, serial)
      .Put(label::kConstants, "00010001000101")
      .Dates(today)
      .Number(label::kBlockCount, blocks_written)
      .Put(label::kSystem, "OS3 ")
      .InEbcdic();
}

Label MakeHdr2(const char* name, const BlockFormat& format) {
  return Builder(name)
      .Put(label::kFormat, std::string(1, format.format))
      .Number(label::kBlockLength, format.block_length)
      .Number(label::kRecordLength, format.record_length)
      .InEbcdic();
}

Label InWords(const Label& label) {
  std::array<std::uint16_t, kLabelSize> characters{};
  for (std::size_t i = 0; i < kLabelSize; ++i) characters[i] = ebc2asc[label[i]];
  std::array<Byte, kMostLabelBytes> bytes{};
  PackQuarters(characters.data(), kLabelSize / kGroupQuarters, bytes.data());
  Label words{};
  std::copy_n(bytes.begin(), words.size(), words.begin());
  return words;
}

std::optional<std::string> ReadLabel(std::span<const Byte> block, bool in_words) {
  if (in_words && block.size() >= kLabelGroups * kGroupBytes && block.size() <= kMostLabelBytes) {
    std::array<Byte, kLabelGroups * kGroupQuarters> characters{};
    UnpackGroups(block.data(), kLabelGroups, characters.data());
    std::string text(characters.begin(), characters.end());
    text.resize(kLabelSize, ' ');
    if (IsName(text)) return text;
  }
  if (block.size() != kLabelSize) return std::nullopt;
  std::string text(block.begin(), block.begin() + kLabelSize);
  if (IsName(text)) return text;
  for (char& c : text) c = static_cast<char>(ebc2asc[static_cast<Byte>(c)]);
  if (IsName(text)) return text;
  return std::nullopt;
}

bool HasNumbers(const std::string& hdr1) { return LabelNumber(hdr1, label::kNumbers).has_value(); }

std::size_t TrailerLength(std::span<const Byte> end, const std::string& hdr1, bool in_words) {
  constexpr std::size_t kLeast = 8;  // shows a name in characters of 9 bits too
  for (std::size_t length = std::min(end.size(), kTrailerSize); length >= kLeast; --length) {
    const std::span<const Byte> bytes = end.last(length);
    const auto first = BegunLabel(bytes, in_words);
    if (!first || (!LabelIs(*first, "EOF1") && !LabelIs(*first, "EOV1"))) continue;
    const std::size_t characters = in_words ? length * kGroupQuarters / kGroupBytes : length;
    const std::size_t known = std::min(characters - label::kName.width, label::kIdentity.width);
    if (first->compare(label::kIdentity.offset, known, hdr1, label::kIdentity.offset, known) == 0)
      return length;
    const auto second = BegunLabel(bytes.subspan(std::min(length, kLabelSize)), in_words);
    if (length == kTrailerSize && second && (LabelIs(*second, "EOF2") || LabelIs(*second, "EOV2")))
      return length;
  }
  return 0;
}

bool MayBeginVolume(std::span<const Byte> bytes, bool may_be_ascii) {
  for (const std::string_view name : {"VOL1", "HDR1"}) {
    const std::size_t count = std::min(bytes.size(), name.size());
    bool is_ascii = may_be_ascii, is_ebcdic = true;
    for (std::size_t i = 0; i < count; ++i) {
      is_ascii = is_ascii && bytes[i] == static_cast<Byte>(name[i]);
      is_ebcdic = is_ebcdic && ebc2asc[bytes[i]] == static_cast<Byte>(name[i]);
    }
    if (is_ascii || is_ebcdic) return true;
  }
  return false;
}

std::string LabelField(const std::string& text, label::Field field) {
  std::string value = text.substr(field.offset, field.width);
  value.erase(value.find_last_not_of(' ') + 1);
  return value;
}

std::optional<std::int32_t> LabelNumber(const std::string& text, label::Field field) {
  const std::string digits = text.substr(field.offset, field.width);
  if (digits.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  return static_cast<std::int32_t>(std::stol(digits));
}

bool LabelIs(const std::string& text, const char* name) {
  return text.compare(label::kName.offset, label::kName.width, name) == 0;
}

}  // namespace tolvane
