#include "convert/explode.h"

#include <algorithm>
#include <string>

#include "convert/convert.h"
#include "datarep/charset.h"
#include "datarep/decimal.h"
#include "platform/console.h"
#include "state/options.h"

namespace tolvane {
namespace {

bool HasSignByte(const MaskItem& item) {
  return item.is_signed && (opt.sw_expLeading != 0 || opt.sw_expTrailing != 0);
}

// Digits of an item; those made by options have no picture.
std::int64_t DigitsOf(const MaskItem& item) {
  if (item.digits > 0) return item.digits;
  return item.type == mask_type::kPacked ? 2 * item.length - 1 : item.length;
}

// By how much an item grows. Deliberate: the packed length is subtracted for every occurrence, the
// digits are added once.
std::int64_t Growth(const MaskItem& item) {
  const std::int64_t signs = HasSignByte(item) ? item.occurs : 0;
  if (item.type == mask_type::kPacked) return DigitsOf(item) - item.length * item.occurs + signs;
  return item.has_overpunch() ? signs : 0;
}

// Compares the growth of a condition's group with that of the items that it replaces.
void CompareGroup(const MaskItem& condition, std::int64_t replaced) {
  std::int64_t group = 0;
  for (const MaskItem& item : GroupOf(condition)) group += Growth(item);
  const auto at = static_cast<int>(condition.condition_start);
  if (replaced > group)
    PrintWarning("The size of REDEFINES at %d is %d bytes shorter.\n", at,
                 static_cast<int>(replaced - group));
  if (replaced < group)
    PrintWarning("The size of REDEFINES at %d is %d bytes longer.\n", at,
                 static_cast<int>(group - replaced));
}

// A number as ASCII digits and sign.
struct Number {
  std::string digits;
  char sign = ' ';
};

Number ExplodeCompField(std::span<const Byte> field, const MaskItem& item) {
  Unpacked unpacked = LoadPacked(field);
  if (!item.has_sign_nibble) {
    unpacked.digits += static_cast<char>('0' + unpacked.sign_nibble);
    return {unpacked.digits, ' '};
  }
  Number number{unpacked.digits, ' '};
  if (unpacked.sign_nibble == kPackedPositive) number.sign = '+';
  if (unpacked.sign_nibble == kPackedNegative) number.sign = '-';
  return number;
}

Number ExplodeUnpacked(std::span<const Byte> field, const MaskItem& item, bool ebcdic) {
  const auto at = static_cast<std::size_t>(item.sign_byte());
  // Interchange leaves text alone but for the signs, which it makes EBCDIC.
  const Byte negative =
      ebcdic || opt.sw_interchange != 0 ? kEbcdicNegative : NegativeZone(item.type);
  Number number;
  number.sign = (field[at] & kZoneMask) == negative ? '-' : '+';
  for (const Byte byte : field) number.digits += static_cast<char>(ebcdic ? ebc2asc[byte] : byte);
  if (negative == kEbcdicNegative || number.sign == '-')
    number.digits[at] = static_cast<char>((field[at] & kDigitMask) | kAsciiPositive);
  return number;
}

Number ExplodeNumber(std::span<const Byte> field, const MaskItem& item, bool ebcdic) {
  return item.type == mask_type::kPacked ? ExplodeCompField(field, item)
                                         : ExplodeUnpacked(field, item, ebcdic);
}

// Where all nibbles are digits, blanks are a number.
bool IsBlank(std::span<const Byte> field, const MaskItem& item, bool ebcdic) {
  const Byte blank = ebcdic ? kEbcdicSpace : Byte{' '};
  return item.has_sign_nibble &&
         std::all_of(field.begin(), field.end(), [blank](Byte byte) { return byte == blank; });
}

// Right-justified, with the sign where it belongs.
void WriteExploded(Number number, const MaskItem& item, bool ebcdic, std::span<Byte> out) {
  const std::size_t digits = out.size() - (HasSignByte(item) ? 1 : 0);
  if (number.digits.size() > digits) number.digits.erase(0, number.digits.size() - digits);
  number.digits.insert(0, digits - number.digits.size(), '0');
  if (HasSignByte(item)) number.digits.insert(opt.sw_expLeading != 0 ? 0 : digits, 1, number.sign);
  std::copy(number.digits.begin(), number.digits.end(), out.begin());
  if (ebcdic) toEbcdic(out);
  if (HasSignByte(item) || !item.is_signed || number.sign != '-') return;
  out.back() = WithZone(out.back(), ebcdic ? kEbcdicNegative : NegativeZoneOfTarget());
}

}  // namespace

void WarnOfUnequalGroups() {
  const auto first_condition =
      std::find_if(mask_list.cbegin(), mask_list.cend(),
                   [](const MaskItem& item) { return item.is_condition(); });
  for (auto item = first_condition; item != mask_list.cend(); ++item) {
    if (!item->is_condition()) continue;
    std::int64_t replaced = 0;
    for (auto plain = mask_list.cbegin(); plain != first_condition; ++plain)
      if (plain->IsReplacedBy(*item)) replaced += Growth(*plain);
    CompareGroup(*item, replaced);
  }
}

std::size_t ExplodedWidth(const MaskItem& item) {
  const bool is_exploded =
      item.type == mask_type::kPacked || (item.has_overpunch() && HasSignByte(item));
  if (!is_exploded) return 0;
  return static_cast<std::size_t>(DigitsOf(item)) + (HasSignByte(item) ? 1 : 0);
}

bool HasSignBehind(const MaskItem& item) { return HasSignByte(item) && opt.sw_expLeading == 0; }

bool ExplodeField(std::span<const Byte> field, const MaskItem& item, bool ebcdic,
                  std::span<Byte> out) {
  if (IsBlank(field, item, ebcdic)) {
    std::fill(out.begin(), out.end(), field.front());
    return true;
  }
  WriteExploded(ExplodeNumber(field, item, ebcdic), item, ebcdic, out);
  return item.type != mask_type::kPacked || validatePacked(field, item.has_sign_nibble) == 0;
}

}  // namespace tolvane
