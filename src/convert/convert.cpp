#include "convert/convert.h"

#include <algorithm>
#include <cstring>

#include "convert/conditions.h"
#include "datarep/decimal.h"
#include "datarep/float.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "reports/side_reports.h"
#include "state/options.h"

namespace tolvane {
namespace {

constexpr Byte kAsciiSpace = 0x20;
// Control codes that count as text in a record without a mask list.
constexpr Byte kTextControls[] = {0x00, 0x09, 0xFF};

bool IsTextControl(Byte code) {
  return std::find(std::begin(kTextControls), std::end(kTextControls), code) !=
         std::end(kTextControls);
}

bool AllAre(const Byte* bytes, std::size_t count, Byte value) {
  return bytes[count - 1] == value && std::memcmp(bytes, bytes + 1, count - 1) == 0;
}

// memcpy; fields of 4 to 16 bytes, the most frequent ones, without a call.
inline void CopyBytes(const Byte* from, std::size_t count, Byte* to) {
  const auto copy_ends = [&]<typename Unit>(Unit) {
    const Unit head = LoadNative<Unit>(from), tail = LoadNative<Unit>(from + count - sizeof(Unit));
    std::memcpy(to, &head, sizeof head);
    std::memcpy(to + count - sizeof tail, &tail, sizeof tail);
  };
  if (count >= 4 && count <= 8) {
    copy_ends(std::uint32_t{});
  } else if (count > 8 && count <= 16) {
    copy_ends(std::uint64_t{});
  } else {
    std::memcpy(to, from, count);
  }
}

// What becomes of the last byte of an unpacked field. A last byte of 0x20 stays.
template <typename Rule>
ByteTable SignTable(Rule rule) {
  ByteTable table{};
  for (std::size_t code = 0; code < table.size(); ++code)
    table[code] = rule(static_cast<Byte>(code));
  table[kAsciiSpace] = kAsciiSpace;
  return table;
}

ByteTable ToEbcdicSigns(Byte negative_zone) {
  return SignTable([negative_zone](Byte byte) {
    return WithZone(byte, (byte & kZoneMask) == negative_zone ? kEbcdicNegative : kEbcdicPositive);
  });
}

ByteTable ToAsciiSigns(Byte negative_zone) {
  return SignTable([negative_zone](Byte byte) {
    return WithZone(byte, (byte & kZoneMask) == kEbcdicNegative ? negative_zone : kAsciiPositive);
  });
}

ByteTable Identity() {
  ByteTable table{};
  for (std::size_t code = 0; code < table.size(); ++code) table[code] = static_cast<Byte>(code);
  return table;
}

}  // namespace

RecordConverter::RecordConverter(const MaskList& items, bool sw_a2e)
    : sw_a2e_(sw_a2e), masked_(!items.empty()) {
  TRACE_FRAME();
  CompileTables();
  CompilePlain();
  if (masked_) {
    CompileUnconditional(items);
    CompileGroups(items);
  }
}

void RecordConverter::CompileTables() {
  const bool interchange = opt.sw_interchange != 0;
  text_ = interchange ? Identity() : sw_a2e_ ? asc2ebc : ebc2asc;
  gap_ = text_;
  if (opt.sw_relaxed != 0 && !sw_a2e_ && !interchange) {
    const auto printable = PrintableBytes();
    for (std::size_t code = 0; code < gap_.size(); ++code)
      if (!printable[gap_[code]]) gap_[code] = static_cast<Byte>(code);
  }
  if (interchange) {
    mf_sign_ = mbp_sign_ = SignTable([](Byte byte) { return asc2ebc[byte]; });
  } else if (sw_a2e_) {
    mf_sign_ = ToEbcdicSigns(kMfNegative);
    // Deliberate: the MBP test is for zone 0xD0, not 0x40, on the way to EBCDIC.
    mbp_sign_ = ToEbcdicSigns(kEbcdicNegative);
  } else {
    mf_sign_ = ToAsciiSigns(kMfNegative);
    mbp_sign_ = ToAsciiSigns(kMbpNegative);
  }
}

void RecordConverter::CompilePlain() {
  const auto printable = PrintableBytes();
  plain_ = text_;
  const bool from_ebcdic = !sw_a2e_ && opt.sw_interchange == 0;
  for (std::size_t i = 0; i < plain_.size(); ++i) {
    const auto code = static_cast<Byte>(i);
    const Byte judged = from_ebcdic ? plain_[i] : code;
    const bool is_text = printable[judged] || IsTextControl(judged) ||
                         (!from_ebcdic && code >= 0x20 && code <= 0x7F);
    if (is_text) continue;
    refused_[i] = 1;
    plain_[i] = opt.sw_relaxed_fill != 0 ? opt.relaxedFillChar : code;
  }
}

RecordConverter::Op RecordConverter::ItemOp(const MaskItem& item, std::size_t target) const {
  Op op{.step = Step::kRaw,
        .occurs = static_cast<std::uint32_t>(item.occurs),
        .source = static_cast<std::size_t>(item.location),
        .length = static_cast<std::size_t>(item.length),
        .target = target};
  switch (item.type) {
    case mask_type::kPacked:
      op.step = Step::kPacked;
      op.has_sign_nibble = item.has_sign_nibble;
      break;
    case mask_type::kMfUnpacked:
    case mask_type::kMbpUnpacked:
      op.step = Step::kSigned;
      op.sign = static_cast<std::size_t>(item.sign_byte());
      op.table = item.type == mask_type::kMfUnpacked ? &mf_sign_ : &mbp_sign_;
      break;
    case mask_type::kBit:
      op.step = Step::kBits;
      op.bit = static_cast<std::uint8_t>(item.source_bit);
      op.length = static_cast<std::size_t>(item.digits);
      break;
    default:
      // Deliberate: the usage decides, so that a RAW field is converted and an occurrence after the
      // first is not.
      if (item.usage == 'R') {
        op.step = Step::kFloat;
        break;
      }
      op.length *= op.occurs;
      op.occurs = 1;
  }
  return op;
}

// Fields whose text bytes take another table than the bytes that no item covers.
bool RecordConverter::NeedsOwnText(const MaskItem& item) const {
  return gap_ != text_ && (item.type == mask_type::kUnsigned || item.has_overpunch());
}

void RecordConverter::AddOwnText(const Op& field, std::vector<Op>& ops) const {
  ops.push_back({.step = Step::kText,
                 .source = field.source,
                 .length = field.length * field.occurs,
                 .target = field.target,
                 .table = &text_});
}

void RecordConverter::AddItem(const MaskItem& item, std::size_t target,
                              std::vector<Op>& ops) const {
  if (item.length < 1) return;
  const Op op = ItemOp(item, target);
  // Behind a condition an unconditional field may have left other bytes than text.
  const bool may_be_text = item.has_overpunch() || item.type == mask_type::kPacked;
  if (NeedsOwnText(item) || (!groups_.empty() && may_be_text)) AddOwnText(op, ops);
  if (item.type != mask_type::kUnsigned) ops.push_back(op);
}

// The steps over the whole record: translated as text, then the fields before the first condition
// item. Bit fields grow, so the text behind them is moved.
void RecordConverter::CompileUnconditional(const MaskList& items) {
  std::size_t source = 0, shift = 0;
  std::vector<Op> fields;
  const auto add_text = [&](std::size_t end) {
    if (end > source)
      unconditional_.push_back({.step = Step::kText,
                                .source = source,
                                .length = end - source,
                                .target = source + shift,
                                .table = &gap_});
  };
  for (std::size_t i = 0; i < items.size() && !items[i].is_condition(); ++i) {
    const MaskItem& item = items[i];
    const auto location = static_cast<std::size_t>(item.location);
    if (item.type != mask_type::kBit) {
      AddItem(item, location + shift, fields);
      continue;
    }
    add_text(location);
    source = std::max(source, location);
    Op op = ItemOp(item, source + shift);
    std::size_t end = location + (op.bit + op.length + 7) / 8;
    const bool last_in_byte = i + 1 == items.size() || items[i + 1].type != mask_type::kBit ||
                              static_cast<std::size_t>(items[i + 1].location) >= end;
    // Characters for the bits that no field has, unless they are to be left out.
    if (opt.sw_1toX != 0 && opt.sw_truncate1 == 0 && last_in_byte)
      op.length = (end - location) * 8 - op.bit;
    fields.push_back(op);
    end = std::max(source, end);
    shift += op.length - (end - source);
    source = end;
  }
  growth_ = shift;
  add_text(SIZE_MAX - shift);  // to the end of the record, however long
  unconditional_.insert(unconditional_.end(), fields.begin(), fields.end());
}

// Where a byte of the input comes to lie.
std::size_t RecordConverter::TargetOf(std::size_t source) const {
  std::size_t shift = 0;
  for (const Op& op : unconditional_)
    if (op.step == Step::kText && op.source <= source) shift = op.target - op.source;
  return source + shift;
}

// For each condition item: its compared range translated afresh, then its fields. A record number
// only adds fields.
void RecordConverter::CompileGroups(const MaskList& items) {
  for (const MaskItem& item : items) {
    if (item.is_condition()) {
      Group& group = groups_.emplace_back(Group{&item, {}});
      if (!item.is_record_number && item.condition_end > item.condition_start) {
        const auto start = static_cast<std::size_t>(item.condition_start);
        group.ops.push_back({.step = Step::kText,
                             .source = start,
                             .length = static_cast<std::size_t>(item.condition_end) - start,
                             .target = TargetOf(start),
                             .table = &gap_});
      }
    } else if (!groups_.empty()) {
      const auto location = static_cast<std::size_t>(item.location);
      AddItem(item, TargetOf(location), groups_.back().ops);
    }
  }
}

std::int64_t RecordConverter::ConvertBinChars(std::span<const Byte> record, Byte* out) const {
  if (!masked_) return ConvertUnmasked(record, out);
  Run(unconditional_, record, out);
  bool any_held = groups_.empty();
  for (const Group& group : groups_) {
    if (!EvaluateMatchConditions(record, *group.condition)) continue;
    Run(group.ops, record, out);
    any_held = true;
  }
  if (!any_held) {
    if (opt.sw_matchId != 0) writeBadMsg(record);
    return 1;
  }
  return static_cast<std::int64_t>(record.size() + growth_) + 1;
}

std::int64_t RecordConverter::ConvertUnmasked(std::span<const Byte> record, Byte* out) const {
  unsigned refused = 0;
  const Byte* const in = record.data();
  for (std::size_t i = 0; i < record.size(); ++i) {
    out[i] = plain_[in[i]];
    refused |= refused_[in[i]];
  }
  const bool needs_a_look = refused != 0 || opt.sw_relaxed_sign != 0;
  if (needs_a_look && !ConvertByteByByte(record, out)) return 0;
  return static_cast<std::int64_t>(record.size()) + 1;
}

// A negative overpunched last digit behind another digit, as RELAXED SIGNED takes it.
bool RecordConverter::IsNegativeDigit(std::span<const Byte> record, std::size_t i) const {
  if (opt.sw_relaxed_sign == 0 || opt.sw_interchange != 0 || i == 0) return false;
  const Byte zone = record[i] & kZoneMask;
  if (sw_a2e_)
    return (zone == kMfNegative || zone == kMbpNegative) &&
           (record[i - 1] & kZoneMask) == kAsciiPositive;
  return zone == kEbcdicNegative && record[i - 1] >= kEbcdicZero;
}

// Looks at each byte of a record that the table alone cannot settle.
bool RecordConverter::ConvertByteByByte(std::span<const Byte> record, Byte* out) const {
  const bool rewrites_sign = sw_a2e_ || opt.sw_mf != 0 || opt.sw_mbp != 0;
  const Byte negative_zone = sw_a2e_ ? kEbcdicNegative : NegativeZoneOfTarget();
  for (std::size_t i = 0; i < record.size(); ++i) {
    if (rewrites_sign && IsNegativeDigit(record, i)) {
      out[i] = WithZone(record[i], negative_zone);
    } else if (refused_[record[i]] != 0 && opt.sw_relaxed_fill == 0) {
      WriteErrorMessageOnBinaryData(record, i);
      if (opt.sw_relaxed == 0) return false;
    }
  }
  return true;
}

void RecordConverter::Run(const std::vector<Op>& ops, std::span<const Byte> record,
                          Byte* out) const {
  for (const Op& op : ops) {
    if (op.source >= record.size()) continue;
    const std::size_t there = record.size() - op.source;
    switch (op.step) {
      case Step::kText:
        Translate(*op.table, record.data() + op.source, std::min(op.length, there),
                  out + op.target);
        break;
      case Step::kRaw:
        CopyBytes(record.data() + op.source, std::min(op.length, there), out + op.target);
        break;
      case Step::kFloat:
        RunFloat(op, record, out);
        break;
      case Step::kPacked:
      case Step::kSigned:
        RunField(op, record, out);
        break;
      case Step::kBits:
        RunBits(op, record, out);
        break;
    }
  }
}

// A packed or unpacked field, occurrence by occurrence. The text of an unpacked one is translated
// already, so that the byte with its sign is left to do.
void RecordConverter::RunField(const Op& op, std::span<const Byte> record, Byte* out) const {
  const Byte space = sw_a2e_ ? kAsciiSpace : kEbcdicSpace;
  const Byte* field = record.data() + op.source;
  const Byte* const end = record.data() + record.size();
  Byte* to = out + op.target;
  for (std::uint32_t i = 0; i < op.occurs && field < end;
       ++i, field += op.length, to += op.length) {
    const std::size_t length = std::min(op.length, static_cast<std::size_t>(end - field));
    if (op.step == Step::kPacked) WarnIfNotPacked(op, {field, length});
    // Deliberate: the first blank occurrence ends the item; the rest of it is taken for text. Where
    // all nibbles are digits, blanks are a number.
    if (op.has_sign_nibble && AllAre(field, length, space)) {
      std::memset(to, text_[space], length);
      return;
    }
    if (op.step == Step::kPacked) {
      CopyBytes(field, length, to);
    } else if (op.sign < length) {
      to[op.sign] = (*op.table)[field[op.sign]];
    }
  }
}

// A floating-point field; one that the record does not hold whole stays as it is.
void RecordConverter::RunFloat(const Op& op, std::span<const Byte> record, Byte* out) const {
  for (std::uint32_t i = 0; i < op.occurs; ++i) {
    const std::size_t skip = i * op.length;
    if (op.source + skip >= record.size()) return;
    const auto field = record.subspan(op.source + skip)
                           .first(std::min(op.length, record.size() - op.source - skip));
    const std::span<Byte> to(out + op.target + skip, field.size());
    std::copy(field.begin(), field.end(), to.begin());
    if (field.size() == op.length && !(sw_a2e_ ? mfltuto3(to) : mflt3tou(to)))
      PrintError("Mismatch in size: Cannot convert floating point number.");
  }
}

// One character for each bit.
void RecordConverter::RunBits(const Op& op, std::span<const Byte> record, Byte* out) {
  for (std::size_t i = 0; i < op.length; ++i) {
    const std::size_t bit = op.bit + i;
    const std::size_t at = op.source + bit / 8;
    if (at >= record.size()) return;
    out[op.target + i] = (record[at] & (0x80U >> bit % 8)) != 0 ? '1' : '0';
  }
}

void RecordConverter::WarnIfNotPacked(const Op& op, std::span<const Byte> field) const {
  if (opt.sw_validate != 0 && !sw_a2e_ && validatePacked(field, op.has_sign_nibble) != 0)
    PrintWarning("Invalid characters in packed numerics. Loc = %d\n", static_cast<int>(op.source));
}

int validatePacked(std::span<const Byte> field, bool has_sign_nibble) {
  if (field.empty()) return -1;
  const auto is_digit = [](unsigned nibble) { return nibble <= 9; };
  for (const Byte byte : field.first(field.size() - 1))
    if (!is_digit(byte >> 4) || !is_digit(byte & kDigitMask)) return -1;
  const bool is_valid =
      is_digit(field.back() >> 4) && is_digit(field.back() & kDigitMask) != has_sign_nibble;
  return is_valid ? 0 : -1;
}

}  // namespace tolvane
