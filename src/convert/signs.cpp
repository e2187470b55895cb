#include <cstring>

#include "convert/conditions.h"
#include "convert/convert.h"
#include "datarep/decimal.h"
#include "state/options.h"

namespace tolvane {
namespace {

void KeepFieldSigns(const MaskItem& item, std::span<const Byte> unconverted, Byte* converted) {
  if (!item.has_overpunch()) return;
  // Items made by options have no picture; their digits are their bytes.
  const auto digits = static_cast<std::size_t>(item.digits > 0 ? item.digits : item.length);
  for (std::size_t k = 0; k < static_cast<std::size_t>(item.occurs); ++k)
    RestoreEbcSign(unconverted, converted, item.type,
                   static_cast<std::size_t>(item.location) + k * digits,
                   item.sign_leading ? 1 : digits);
}

}  // namespace

Byte NegativeZoneOfTarget() { return opt.sw_mbp != 0 ? kMbpNegative : kMfNegative; }

int ConvertAsciiSigns(std::span<const Byte> record, Byte* out) {
  std::memcpy(out, record.data(), record.size());
  bool applies = true;
  for (const MaskItem& item : mask_list) {
    if (item.is_condition()) {
      applies = EvaluateMatchConditions(record, item);
      if (applies) CopyComparedRange(item, record, out);
    }
    const auto sign = static_cast<std::size_t>(item.location + item.sign_byte());
    if (!applies || !item.has_overpunch() || sign >= record.size()) continue;
    out[sign] = AsciiSignOf(record[sign], NegativeZone(item.type));
  }
  return 1;
}

void RestoreEbcSign(std::span<const Byte> unconverted, Byte* converted, char type,
                    std::size_t location, std::size_t length) {
  const std::size_t last = location + length - 1;
  if (length == 0 || last >= unconverted.size()) return;
  const Byte byte = unconverted[last];
  if (opt.sw_ascii != 0) {
    converted[last] = byte;
  } else if (opt.sw_ebcdic == 0) {
    // Deliberate: what is not negative gets zone 0x40, not 0xC0.
    converted[last] =
        WithZone(byte, (byte & kZoneMask) == NegativeZone(type) ? kEbcdicNegative : kMbpNegative);
  }
}

void KeepEbcdicSigns(std::span<const Byte> unconverted, Byte* converted) {
  const MaskItem* const held = GetMaskMatchCondition(unconverted);
  bool group_done = false;
  for (const MaskItem& item : mask_list) {
    if (item.is_condition()) break;
    if (held == nullptr || !item.IsReplacedBy(*held)) {
      KeepFieldSigns(item, unconverted, converted);
    } else if (!group_done) {
      group_done = true;
      for (const MaskItem& in_group : GroupOf(*held))
        KeepFieldSigns(in_group, unconverted, converted);
    }
  }
}

}  // namespace tolvane
