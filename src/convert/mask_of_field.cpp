#include "convert/mask_of_field.h"

#include <algorithm>

#include "copybook/words.h"
#include "state/options.h"

namespace tolvane {

using copybook::Field;

namespace {

// The type for a signed unpacked field, by the COBOL compiler of the target; 0 when that is
// unknown.
char SignedUnpackedType() {
  if (opt.sw_mbp != 0) return mask_type::kMbpUnpacked;
  return opt.sw_mf != 0 ? mask_type::kMfUnpacked : '\0';
}

// Whether conversion treats the field as text.
bool IsPlain(const Field& field) {
  return field.filler || (opt.sw_interchange != 0 && field.usage != 'D');
}

// The type of the items for a field; 0 when it gets none.
char MaskTypeOf(const Field& field) {
  if (IsPlain(field)) return 0;
  if (IsRawField(field)) return mask_type::kBinary;
  switch (field.usage) {
    case '1':
      return opt.sw_1toX != 0 || IsWordData() ? mask_type::kBit : mask_type::kBinary;
    case 'B':
      return mask_type::kBinary;
    case 'P':
    case 'S':
      return mask_type::kPacked;
    case 'R':
      return mask_type::kFloat;
    case 'D':
      if (field.HasOverpunch()) return SignedUnpackedType();
      return field.is_signed ? '\0' : mask_type::kUnsigned;  // a sign of its own is text
    default:
      return 0;
  }
}

}  // namespace

bool IsRawField(const Field& field) {
  return std::any_of(opt.rawfield.begin(), opt.rawfield.end(), [&field](const std::string& raw) {
    return copybook::EqualsIgnoreCase(raw, field.name);
  });
}

bool NeedsCompiler(const Field& field) { return !IsPlain(field) && field.HasOverpunch(); }

MaskItem MaskItemOf(const Field& field) { return MaskItemOf(field, MaskTypeOf(field)); }

MaskItem MaskItemOf(const Field& field, char type) {
  MaskItem item;
  item.type = type;
  item.length = field.length;
  item.digits = static_cast<std::int16_t>(field.digits);
  item.is_signed = field.is_signed;
  item.sign_leading = field.sign == copybook::SignPlace::kLeading;
  item.has_sign_nibble = field.kind != copybook::Usage::kPackedNoSign;
  item.usage = field.usage;
  item.name = field.filler ? "" : field.name;
  return item;
}

}  // namespace tolvane
