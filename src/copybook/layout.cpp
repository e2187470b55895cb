#include "copybook/layout.h"

#include <algorithm>
#include <array>
#include <bit>

namespace tolvane::copybook {
namespace {

enum class Need : unsigned char { kAnyPicture, kNumber, kNumberOrText, kNoPicture, kBits, kWide };

// What a usage asks of the picture, and its letter and length.
struct UsageRule {
  Usage usage;
  char letter;
  Need need;
  std::int64_t fixed_length;  // 0: by the picture
  std::string_view expected;  // when the picture does not suit
};
constexpr std::string_view kNumberExpected = "expected a numeric picture with this usage";
constexpr std::string_view kNoneExpected = "expected no picture with this usage";
constexpr std::array<UsageRule, kUsages> kRules{{
    {Usage::kNone, 'G', Need::kNoPicture, 0, {}},
    {Usage::kDisplay, 'C', Need::kAnyPicture, 0, "expected a picture"},
    {Usage::kBinary, 'B', Need::kNumber, 0, kNumberExpected},
    {Usage::kNative, 'B', Need::kNumber, 0, kNumberExpected},
    {Usage::kCompX, 'B', Need::kNumberOrText, 0,
     "expected a picture of 9, or of up to 8 X, with COMP-X"},
    {Usage::kFloat, 'R', Need::kNoPicture, 4, kNoneExpected},
    {Usage::kDouble, 'R', Need::kNoPicture, 8, kNoneExpected},
    {Usage::kPacked, 'P', Need::kNumber, 0, kNumberExpected},
    {Usage::kPackedNoSign, 'S', Need::kNumber, 0, kNumberExpected},
    {Usage::kIndex, 'B', Need::kNoPicture, 4, kNoneExpected},
    {Usage::kPointer, 'B', Need::kNoPicture, 4, kNoneExpected},
    {Usage::kProcedurePointer, 'B', Need::kNoPicture, 8, kNoneExpected},
    {Usage::kBit, '1', Need::kBits, 0, "expected a picture of 1 with BIT"},
    {Usage::kNational, 'W', Need::kWide, 0, "expected a picture of N, G or 9 with this usage"},
}};

// Bytes of a COMP-X item by its digits. Those of 7 and 12 digits have no room for a sign.
constexpr BinarySizeTable kCompXSizes{0, 1, 1, 2, 2, 3, 3, 3, 4, 4, 5, 5, 5, 6, 6, 7, 7, 8, 8};
constexpr bool HasRoomForSign(int comp_x_digits) {
  return comp_x_digits != 7 && comp_x_digits != 12;
}
constexpr std::int64_t kMaxCompXText = 8;
constexpr unsigned kAuxBitsPerByte = 8;
constexpr int kIndexDigits = 9;

struct Cursor {
  std::int64_t byte = 0;
  unsigned bit = 0;

  void Align() {
    byte += bit > 0 ? 1 : 0;
    bit = 0;
  }
  void AddBits(std::int64_t bits, unsigned per_byte) {
    bits += bit;
    byte += bits / per_byte;
    bit = static_cast<unsigned>(bits % per_byte);
  }
  friend bool operator<(const Cursor& a, const Cursor& b) {
    return a.byte != b.byte ? a.byte < b.byte : a.bit < b.bit;
  }
};

// The place reached in the source record and in the auxiliary record.
struct Position {
  Cursor source, aux;
};

// What groups pass on to the items below them.
struct Inherited {
  Usage usage = Usage::kNone;
  SignPlace sign = SignPlace::kNone;
  bool sign_separate = false;
  bool synchronized = false;
  int occurs_depth = 0;
};

class Layout {
 public:
  Layout(const Settings& settings, Diagnostics& diagnostics)
      : settings_(settings), diagnostics_(diagnostics) {}

  void Run(RecordDescription& record) {
    Position at;
    LaySiblings(record.first, {}, at);
    Align(at);
    record.length = at.source.byte;
    record.aux_length = at.aux.byte;
    if (std::max(record.length, record.aux_length) > kMaxSize)
      Fail(record.first->source.entry.begin, "expected a record of at most 2147483647 bytes");
  }

 private:
  bool Fail(const Place& place, std::string_view expected, std::string_view found = {}) {
    diagnostics_.Error(place, expected, found);
    return false;
  }

  // Moves to the next byte; characters for bits take the place of unused bits too.
  void Align(Position& at) const {
    if (at.source.bit > 0 && !settings_.bit_to_byte && !settings_.truncate_bits)
      at.aux.byte += settings_.bits_per_byte - at.source.bit;
    at.source.Align();
    at.aux.Align();
  }

  // Lays out siblings from `at` on; the result is the largest alignment of an item among them.
  // Levels rise along the way down, so that the depth is at most 49.
  std::int64_t LaySiblings(Field* first, const Inherited& above, Position& at) {
    std::int64_t alignment = 1;
    for (Field* field = first; field != nullptr; field = field->next_sibling) {
      Position end = at;
      if (const Field* target = field->redefines)
        end = {{target->offset, target->bit}, {target->aux_offset, target->aux_bit}};
      Inherited below = TakeOver(*field, above);
      alignment = std::max(alignment, field->IsGroup() ? LayGroup(*field, below, end)
                                                       : LayElementary(*field, above, end));
      const bool redefines = field->redefines != nullptr;
      at.source = redefines ? std::max(at.source, end.source) : end.source;
      at.aux = redefines ? std::max(at.aux, end.aux) : end.aux;
    }
    return alignment;
  }

  // What the item has from the groups above, and what those below it have from it.
  Inherited TakeOver(Field& field, const Inherited& above) {
    if (field.kind != Usage::kNone && above.usage != Usage::kNone && field.kind != above.usage)
      Fail(field.source.usage.begin, "expected the usage of the group");
    Inherited below = above;
    if (field.kind != Usage::kNone) below.usage = field.kind;
    if (field.sign != SignPlace::kNone) {
      below.sign = field.sign;
      below.sign_separate = field.sign_separate;
    }
    below.synchronized = above.synchronized || field.synchronized;
    below.occurs_depth += field.occurs.clause ? 1 : 0;
    field.synchronized = below.synchronized;
    field.occurs_depth = below.occurs_depth;
    field.bits_per_byte = settings_.bits_per_byte;
    if (field.occurs.clause && below.occurs_depth > kMaxOccursDepth)
      Fail(field.source.entry.begin, "expected at most 7 OCCURS within another", field.name);
    return below;
  }

  // Both lay an item out from `at`, which then stands behind it, and return its alignment.
  std::int64_t LayGroup(Field& field, const Inherited& below, Position& at) {
    Align(at);
    SetBegin(field, at);
    field.usage = 'G';
    const std::int64_t alignment = LaySiblings(field.first_child, below, at);
    if (field.redefines == nullptr) BeginWith(field, *field.first_child);
    Align(at);
    if (field.occurs.clause && field.occurs.max > 1) Slack(at, field.offset, alignment);
    field.length = field.stride = at.source.byte - field.offset;
    field.aux_length = field.aux_stride = at.aux.byte - field.aux_offset;
    SetEnd(field, at);
    return alignment;
  }

  // Slack bytes before the first item of a group stand before the group.
  static void BeginWith(Field& group, const Field& first) {
    group.offset = first.offset;
    group.aux_offset = first.aux_offset;
  }

  // Fills up with slack bytes to a multiple of `alignment` from `base`.
  static void Slack(Position& at, std::int64_t base, std::int64_t alignment) {
    const std::int64_t slack = (alignment - (at.source.byte - base) % alignment) % alignment;
    at.source.byte += slack;
    at.aux.byte += slack;
  }

  static void SetBegin(Field& field, const Position& at) {
    field.offset = at.source.byte;
    field.aux_offset = at.aux.byte;
    field.bit = at.source.bit;
    field.aux_bit = at.aux.bit;
  }

  // Moves behind all occurrences of a field of whole bytes.
  void SetEnd(Field& field, Position& at) {
    const std::int64_t longest = std::max(field.length, field.aux_length);
    if (longest > kMaxSize / field.occurs.max) {
      Fail(field.source.entry.begin, "expected an item or table of at most 2147483647 bytes",
           field.name);
      field.length = field.aux_length = field.stride = field.aux_stride = 0;
    }
    at.source = {field.offset + field.length * field.occurs.max, 0};
    at.aux = {field.aux_offset + field.aux_length * field.occurs.max, 0};
  }

  std::int64_t LayElementary(Field& field, const Inherited& above, Position& at) {
    if (!Resolve(field, above)) {
      Align(at);
      SetBegin(field, at);
      return 1;
    }
    if (field.usage == '1') {
      LayBits(field, at);
      return 1;
    }
    Align(at);
    const std::int64_t alignment = field.synchronized ? Alignment(field) : 1;
    if (field.redefines == nullptr) Slack(at, 0, alignment);
    SetBegin(field, at);
    field.stride = field.length;
    field.aux_length = field.aux_stride = AuxLength(field);
    SetEnd(field, at);
    return alignment;
  }

  // Bits begin where the last ones ended, in the auxiliary record too while they stay bits there.
  void LayBits(Field& field, Position& at) {
    if (field.synchronized) Align(at);
    if (!settings_.bit_to_byte) at.aux.Align();
    SetBegin(field, at);
    const std::int64_t bits = field.digits, all = bits * field.occurs.max;
    const unsigned per_byte = settings_.bits_per_byte;
    const auto touched = [bits](unsigned bit, unsigned unit) {
      return (bit + bits + unit - 1) / unit;
    };
    field.length = touched(field.bit, per_byte);
    field.bit_stride = static_cast<unsigned>(bits);
    at.source.AddBits(all, per_byte);
    if (settings_.bit_to_byte) {
      field.aux_length = touched(field.aux_bit, kAuxBitsPerByte);
      field.aux_bit_stride = field.bit_stride;
      at.aux.AddBits(all, kAuxBitsPerByte);
    } else {
      field.aux_length = field.aux_stride = bits;
      at.aux.byte += all;
    }
    if (all > kMaxSize) {
      Fail(field.source.entry.begin, "expected an item or table of at most 2147483647 bits",
           field.name);
      at.source = {field.offset, 0};
      at.aux = {field.aux_offset, 0};
    }
  }

  // Of a synchronized item, in bytes of the source record.
  std::int64_t Alignment(const Field& field) const {
    constexpr std::uint64_t kWord = 4;
    if (field.usage == 'R' && field.length == 8 && settings_.bits_per_byte == 8) return 8;
    if (field.usage != 'B' && field.usage != 'R') return 1;
    return static_cast<std::int64_t>(
        std::min(kWord, std::bit_ceil(static_cast<std::uint64_t>(field.length))));
  }

  // Of an item of whole bytes; one without digits keeps its length.
  std::int64_t AuxLength(const Field& field) const {
    if (!settings_.keep_aux_locations || field.usage != 'B') return field.length;
    return field.digits > 0 ? kBinarySizes8[static_cast<std::size_t>(field.digits)] : field.length;
  }

  // Usage, letter, digits, sign and length of an elementary item; false after an error.
  bool Resolve(Field& field, const Inherited& above) {
    Picture picture;
    if (field.incomplete || !ReadPicture(field, picture)) return false;
    Usage usage = field.kind != Usage::kNone ? field.kind : above.usage;
    const bool bits = picture.category == Category::kBoolean;
    if (bits && (usage == Usage::kNone || usage == Usage::kBinary)) usage = Usage::kBit;
    if (picture.category == Category::kNational && usage == Usage::kNone) usage = Usage::kNational;
    if (usage == Usage::kNone) usage = Usage::kDisplay;
    const UsageRule& rule = kRules[static_cast<std::size_t>(usage)];
    if (!Suits(rule.need, picture)) {
      const bool none = field.picture.empty();
      return Fail(none ? field.source.entry.begin : field.source.picture.begin,
                  none ? "expected a picture or items of a higher level" : rule.expected,
                  none ? field.name : field.picture);
    }
    field.kind = usage;
    field.category = picture.category;
    field.digits = static_cast<int>(bits ? picture.size : picture.digits);
    field.decimals = picture.decimals;
    field.is_signed = picture.is_signed;
    SetLetter(field, rule);
    ResolveSign(field, above);
    CheckValue(field);
    return SetLength(field, rule, picture);
  }

  bool ReadPicture(const Field& field, Picture& picture) {
    if (field.picture.empty()) return true;
    PictureError error;
    if (AnalyzePicture(field.picture, settings_, picture, error)) return true;
    Place place = field.source.picture.begin;
    place.column += static_cast<std::uint32_t>(error.at);
    return Fail(place, error.expected, std::string_view(field.picture).substr(error.at));
  }

  static bool Suits(Need need, const Picture& picture) {
    const Category category = picture.category;
    switch (need) {
      case Need::kAnyPicture:
        return category != Category::kNone && category != Category::kNational;
      case Need::kNumber:
        return category == Category::kNumeric;
      case Need::kNumberOrText:
        return category == Category::kNumeric ||
               (category == Category::kAlphanumeric && picture.size <= kMaxCompXText);
      case Need::kNoPicture:
        return category == Category::kNone;
      case Need::kBits:
        return category == Category::kBoolean;
      case Need::kWide:
        return category == Category::kNational || category == Category::kNumeric;
    }
    return false;
  }

  static void SetLetter(Field& field, const UsageRule& rule) {
    field.usage = rule.letter;
    if (field.usage == 'C' && field.category == Category::kNumeric) field.usage = 'D';
    if (field.usage == 'P' && !field.is_signed) field.usage = 'S';
    if (rule.usage == Usage::kIndex) {
      field.digits = kIndexDigits;
      field.is_signed = true;
    }
  }

  // SIGN concerns signed unpacked items; elsewhere a group's clause has no effect.
  void ResolveSign(Field& field, const Inherited& above) {
    const bool suits = field.usage == 'D' && field.is_signed;
    if (field.sign != SignPlace::kNone && !suits)
      Fail(field.source.sign.begin, "expected a signed picture of usage DISPLAY with SIGN",
           field.picture);
    if (field.sign == SignPlace::kNone && suits) {
      field.sign = above.sign;
      field.sign_separate = above.sign_separate;
    }
  }

  bool SetLength(Field& field, const UsageRule& rule, const Picture& picture) {
    const auto digits = static_cast<std::size_t>(field.digits);
    if (rule.letter == 'B' && digits > kMaxBinaryDigits)
      return Fail(field.source.picture.begin, "expected at most 18 digits in a binary item",
                  field.picture);
    if (rule.usage == Usage::kCompX && field.is_signed && !HasRoomForSign(field.digits))
      return Fail(field.source.picture.begin,
                  "expected other than 7 or 12 digits in a signed COMP-X item, whose bytes have no "
                  "room for the sign",
                  field.picture);
    switch (rule.usage) {
      case Usage::kBinary:
      case Usage::kNative:
        field.length = settings_.binary_sizes[digits];
        break;
      case Usage::kCompX:
        field.length = digits == 0 ? picture.size : kCompXSizes[digits];
        break;
      case Usage::kPacked:
        field.length = field.digits / 2 + 1;
        break;
      case Usage::kPackedNoSign:
        field.length = (field.digits + 1) / 2;
        break;
      case Usage::kNational:
        field.length = picture.size * 2;
        break;
      default:
        field.length = rule.fixed_length > 0 ? rule.fixed_length
                                             : picture.size + (field.sign_separate ? 1 : 0);
    }
    return true;
  }

  // Warns of a VALUE that is of another class than the picture.
  void CheckValue(const Field& field) {
    if (!settings_.warn_literal_types || field.values.empty()) return;
    const Literal& value = field.values.front().from;
    if (value.figurative) return;
    const bool number = value.kind == 'N' || value.kind == 'H' || value.kind == 'O';
    const bool numeric = field.category == Category::kNumeric || field.usage == 'R';
    if (number && field.category != Category::kNumericEdited && !numeric && field.usage != 'B')
      diagnostics_.Warning(value.place, "expected a literal in quotes for this picture",
                           value.text);
    if (!number && numeric && field.kind != Usage::kCompX)
      diagnostics_.Warning(value.place, "expected a number for this picture", value.text);
  }

  const Settings& settings_;
  Diagnostics& diagnostics_;
};

std::int64_t End(const Field& field) { return field.offset + field.length * field.occurs.max; }
std::int64_t AuxEnd(const Field& field) {
  return field.aux_offset + field.aux_length * field.occurs.max;
}

}  // namespace

void LayOut(RecordDescription& record, const Settings& settings, Diagnostics& diagnostics) {
  Layout(settings, diagnostics).Run(record);
}

void LayOutRenames(Field& field, Diagnostics& diagnostics) {
  const Field& from = *field.redefines;
  const Field& thru = field.renames_thru != nullptr ? *field.renames_thru : from;
  field.offset = from.offset;
  field.aux_offset = from.aux_offset;
  field.length = End(thru) - from.offset;
  field.aux_length = AuxEnd(thru) - from.aux_offset;
  if (field.length < from.length)
    diagnostics.Error(field.source.entry.begin, "expected RENAMES of items in their order",
                      field.name);
  if (&thru != &from) return;
  field.usage = from.usage;
  field.kind = from.kind;
  field.category = from.category;
  field.bit = from.bit;
  field.aux_bit = from.aux_bit;
  field.bits_per_byte = from.bits_per_byte;
  field.digits = from.digits;
  field.decimals = from.decimals;
  field.is_signed = from.is_signed;
  field.sign = from.sign;
  field.sign_separate = from.sign_separate;
}

}  // namespace tolvane::copybook
