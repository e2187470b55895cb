#include "convert/sdf_record.h"

#include <algorithm>
#include <limits>

#include "convert/conditions.h"
#include "convert/convert.h"
#include "datarep/charset.h"
#include "datarep/decimal.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "reports/side_reports.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {
namespace {

constexpr Byte kSpace = ' ';
constexpr unsigned kQuarterBits = 9;
constexpr unsigned kByteBits = 8;
constexpr std::size_t kToTheEnd = std::numeric_limits<std::size_t>::max() / 2;

// What a binary field takes; one without digits (a RAW field) has a byte for each quarter-word.
Comp1100 FieldOf(const MaskItem& item) {
  const Comp1100 field = Comp1100Of(item.digits);
  const auto length = static_cast<std::size_t>(item.length);
  return field.quarters == length ? field : Comp1100{length, length};
}

bool IsBitSet(std::span<const std::uint16_t> quarters, std::size_t bit) {
  return (quarters[bit / kQuarterBits] >> (kQuarterBits - 1 - bit % kQuarterBits) & 1U) != 0;
}

}  // namespace

std::size_t SdfConverter::Op::source_end() const {
  if (step != Step::kBits) return source + length;
  return source + (bit + length + kQuarterBits - 1) / kQuarterBits;
}

std::size_t SdfConverter::StoredBits(const Op& op) const {
  return bits_to_characters_ ? op.length : (op.target_bit + op.length + kByteBits - 1) / kByteBits;
}

// ---- the plan

bool SdfConverter::Compile() {
  TRACE_FRAME();
  bits_to_characters_ = opt.sw_1toX != 0;
  const Items all(items_);
  const auto next_condition = [&](std::size_t from) {
    while (from < all.size() && !all[from].is_condition()) ++from;
    return from;
  };
  std::size_t begin = next_condition(0);
  if (!CompileItems(all.first(begin), tail_, kToTheEnd, unconditional_)) return false;
  while (begin < all.size()) {
    const std::size_t end = next_condition(begin + 1);
    if (!CompileGroup(all.subspan(begin, end - begin))) return false;
    begin = end;
  }
  return true;
}

// A condition item and its fields: its range is converted afresh.
bool SdfConverter::CompileGroup(Items items) {
  const MaskItem& condition = items.front();
  if (condition.tree != nullptr) CompileComparisons(*condition.tree);
  Group& group = groups_.emplace_back(Group{&condition, {}});
  const auto end = static_cast<std::size_t>(condition.condition_end);
  Place at{.source = static_cast<std::size_t>(condition.condition_start)};
  at.target = TargetOf(at.source);
  if (!CompileItems(items.subspan(1), at, end, group.ops)) return false;
  group.end = at.target + (end > at.source ? end - at.source : 0);
  group.area_end = std::max(TargetOf(end), group.end);
  return true;
}

// Gives the compared fields of a condition places of their own, where they will stand converted.
void SdfConverter::CompileComparisons(ConditionNode& node) {
  for (ConditionNode* part : {node.left.get(), node.right.get(), node.next.get()})
    if (part != nullptr) CompileComparisons(*part);
  if (node.left != nullptr) return;
  compared_.push_back({.source = node.location, .target = compared_bytes_, .node = &node});
  node.location = compared_bytes_;
  compared_bytes_ += node.length;
}

// Plans fields, which are in order, and the text around them, from `at` to `end`.
bool SdfConverter::CompileItems(Items items, Place& at, std::size_t end, std::vector<Op>& ops) {
  for (const MaskItem& item : items) {
    for (std::int16_t k = 0; k < item.occurs; ++k) {
      const auto shift = static_cast<std::size_t>(k * item.length);
      const auto source = static_cast<std::size_t>(item.location) + shift;
      const std::size_t target = item.expanded_location < 0
                                     ? source
                                     : static_cast<std::size_t>(item.expanded_location) + shift;
      const Op op{.source = source,
                  .target = target,
                  .length = static_cast<std::size_t>(item.length),
                  .stored = static_cast<std::size_t>(item.length),
                  .bit = static_cast<unsigned>(item.source_bit),
                  .target_bit = static_cast<unsigned>(item.destination_bit),
                  .item = &item};
      Place elsewhere{source, target, op.bit, op.target_bit};
      if (!AddField(item, op, source < end ? at : elsewhere, ops)) return false;
    }
  }
  Align(at, ops);
  if (end > at.source)
    ops.push_back({.source = at.source,
                   .target = at.target,
                   .length = end - at.source,
                   .stored = end - at.source});
  for (const Op& op : ops) {
    if (op.source_end() >= kToTheEnd) continue;
    fixed_source_ = std::max(fixed_source_, op.source_end());
    fixed_bytes_ = std::max(fixed_bytes_, op.target + op.stored);
  }
  return true;
}

bool SdfConverter::AddField(const MaskItem& item, Op op, Place& at, std::vector<Op>& ops) const {
  if (item.type == mask_type::kFloat) {
    PrintError("Floating-point field '%s' of 36-bit data can not be converted.\n",
               item.name.c_str());
    return false;
  }
  if (item.type == mask_type::kBit) {
    op.step = Step::kBits;
    op.length = static_cast<std::size_t>(item.digits);
    return AddBits(op, at, ops);
  }
  if (item.type == mask_type::kBinary) {
    if (op.length > kMostCompQuarters) {
      PrintError(
          "Binary field '%s' (-B%d:%zu) of 36-bit data can not be converted: the most is %zu "
          "quarter-words.\n",
          item.name.c_str(), item.location, op.length, kMostCompQuarters);
      return false;
    }
    op.step = Step::kBinary;
    op.stored = FieldOf(item).bytes;
  }
  Align(at, ops);
  if (!AddText(op, at, ops)) return false;
  ops.push_back(op);
  if (op.source_end() > at.source) at = {op.source_end(), op.target + op.stored};
  const auto sign = static_cast<std::size_t>(item.sign_byte());
  if (item.has_overpunch())
    ops.push_back({.step = Step::kSign,
                   .source = op.source + sign,
                   .target = op.target + sign,
                   .item = &item});
  return true;
}

// A bit field, and the unnamed bits before it.
bool SdfConverter::AddBits(Op op, Place& at, std::vector<Op>& ops) const {
  const auto source_bit = [](const auto& place) {
    return static_cast<std::int64_t>(place.source * kQuarterBits + place.bit);
  };
  const auto target_bit = [this](const auto& place) {
    return static_cast<std::int64_t>(
        bits_to_characters_ ? place.target : place.target * kByteBits + place.target_bit);
  };
  const std::int64_t gap = source_bit(op) - source_bit(at);
  const std::int64_t target_gap = target_bit(op) - target_bit(at);
  if (gap >= 0 && gap == target_gap) {
    op.source = at.source;
    op.bit = at.bit;
    op.target = at.target;
    op.target_bit = at.target_bit;
    op.length += static_cast<std::size_t>(gap);
  } else if (gap > 0) {
    BeginQuarter(op);
    Align(at, ops);
    if (!AddText(op, at, ops)) return false;
  }
  op.stored = StoredBits(op);
  ops.push_back(op);
  if (gap < 0) return true;
  const std::size_t end = op.bit + op.length;
  const std::size_t target_end = bits_to_characters_ ? 0 : op.target_bit + op.length;
  at = {.source = op.source + end / kQuarterBits,
        .target = op.target + (bits_to_characters_ ? op.length : target_end / kByteBits),
        .bit = static_cast<unsigned>(end % kQuarterBits),
        .target_bit = static_cast<unsigned>(target_end % kByteBits)};
  return true;
}

// Takes in the unnamed bits between the beginning of its quarter-word and a bit field.
void SdfConverter::BeginQuarter(Op& op) const {
  if (bits_to_characters_ ? op.target < op.bit : op.target_bit < op.bit) return;
  op.length += op.bit;
  if (bits_to_characters_) {
    op.target -= op.bit;
  } else {
    op.target_bit -= op.bit;
  }
  op.bit = 0;
}

// Moves on to a whole quarter-word behind bits. The bits left over become characters too, unless
// they are truncated.
void SdfConverter::Align(Place& at, std::vector<Op>& ops) const {
  if (at.bit == 0 && at.target_bit == 0) return;
  if (at.bit > 0 && bits_to_characters_ && opt.sw_truncate1 == 0) {
    Op& bits = ops.back();
    bits.length += kQuarterBits - at.bit;
    bits.stored = StoredBits(bits);
    at.target += kQuarterBits - at.bit;
  }
  at.source += at.bit > 0 ? 1 : 0;
  at.target += at.target_bit > 0 ? 1 : 0;
  at.bit = at.target_bit = 0;
}

// The text before a field. Its length tells whether something that is no text stands there: an
// unnamed field, of which nothing else is known.
bool SdfConverter::AddText(const Op& op, Place& at, std::vector<Op>& ops) const {
  if (op.source < at.source) return true;
  const std::size_t length = op.source - at.source;
  if (at.target + length != op.target) {
    PrintError(
        "Before '%s' stands a field without a name that is no text; give it a name in the "
        "copybook.\n",
        op.item->name.c_str());
    return false;
  }
  if (length > 0)
    ops.push_back({.source = at.source, .target = at.target, .length = length, .stored = length});
  at = {op.source, op.target};
  return true;
}

std::size_t SdfConverter::TargetOf(std::size_t source) const {
  std::size_t target = source;
  for (const Op& op : unconditional_)
    if (op.source == source || (op.step == Step::kText && op.source < source))
      target = op.target + (source - op.source);
  return target;
}

std::size_t SdfConverter::MostBytes(std::size_t quarters) const {
  const std::size_t behind = quarters > tail_.source ? quarters - tail_.source : 0;
  return std::max(fixed_bytes_, tail_.target + behind);
}

// ---- to bytes

std::size_t SdfConverter::ConvertSdfRec(std::span<const std::uint16_t> record, Byte* out) {
  const std::size_t size = MostBytes(record.size());
  if (record.size() < fixed_source_) std::fill_n(out, size, kSpace);
  Run(unconditional_, record, out);
  if (!groups_.empty()) ConvertGroups(record, {out, size});
  return size;
}

// A field that a condition compares; spaces when the record does not hold it.
void SdfConverter::ConvertCompared(const Compared& field, std::span<const std::uint16_t> record) {
  const ConditionNode& node = *field.node;
  Byte* const to = &compared_text_[field.target];
  std::fill_n(to, node.length, kSpace);
  if (field.source + node.source_length > record.size()) return;
  const std::uint16_t* const from = &record[field.source];
  if (node.type == mask_type::kBinary) {
    (void)process1100Comp({node.source_length, node.length}, node.is_signed, from, to);
    return;
  }
  std::transform(from, from + node.length, to,
                 [](std::uint16_t quarter) { return static_cast<Byte>(quarter); });
  if (node.has_overpunch())
    to[node.sign_byte()] =
        AsciiSignOf(static_cast<Byte>(from[node.sign_byte()]), NegativeZone(node.type));
}

// What the fields of a group leave of the area that they replace is blank.
void SdfConverter::ConvertGroups(std::span<const std::uint16_t> record, std::span<Byte> out) {
  bytes_.resize(record.size());
  std::transform(record.begin(), record.end(), bytes_.begin(),
                 [](std::uint16_t quarter) { return static_cast<Byte>(quarter); });
  compared_text_.resize(compared_bytes_);
  for (const Compared& field : compared_) ConvertCompared(field, record);
  condition_ = nullptr;
  for (const Group& group : groups_) {
    const bool is_tree = group.condition->tree != nullptr;
    if (!EvaluateMatchConditions(is_tree ? compared_text_ : bytes_, *group.condition)) continue;
    Run(group.ops, record, out.data());
    if (group.area_end <= out.size())
      std::fill(out.begin() + static_cast<std::ptrdiff_t>(group.end),
                out.begin() + static_cast<std::ptrdiff_t>(group.area_end), kSpace);
    condition_ = group.condition;
  }
  if (condition_ == nullptr && opt.sw_matchId != 0) writeBadMsg(bytes_);
}

void SdfConverter::Run(const std::vector<Op>& ops, std::span<const std::uint16_t> record,
                       Byte* out) {
  for (const Op& op : ops) {
    if (op.step == Step::kText) {
      RunText(op, record, out);
    } else if (op.source_end() > record.size()) {
      continue;
    } else if (op.step == Step::kBinary) {
      ConvertSdfBin(op, &record[op.source], out + op.target);
    } else if (op.step == Step::kBits) {
      RunBits(op, record, out);
    } else {
      out[op.target] =
          AsciiSignOf(static_cast<Byte>(record[op.source]), NegativeZone(op.item->type));
    }
  }
}

void SdfConverter::RunText(const Op& op, std::span<const std::uint16_t> record, Byte* out) {
  if (op.source >= record.size()) return;
  const std::size_t length = std::min(op.length, record.size() - op.source);
  const std::uint16_t* const from = &record[op.source];
  Byte* const to = out + op.target;
  unsigned seen = 0;
  for (std::size_t i = 0; i < length; ++i) {
    to[i] = static_cast<Byte>(from[i]);
    seen |= from[i];
  }
  if (seen <= 0xFF || warned_of_characters_ || !groups_.empty()) return;
  warned_of_characters_ = true;
  PrintWarning(
      "Record %ld has characters of more than 8 bits at %zu or behind; the first bit of such "
      "characters is dropped.\n",
      run.nCurrInputRec, op.source);
}

void SdfConverter::ConvertSdfBin(const Op& op, const std::uint16_t* from, Byte* to) {
  if (process1100Comp({op.length, op.stored}, op.item->is_signed, from, to)) return;
  if (++cut_values_ == 1)
    PrintWarning("Record %ld: the value of '%s' does not fit its %zu bytes and is cut.\n",
                 run.nCurrInputRec, op.item->name.c_str(), op.stored);
}

void SdfConverter::RunBits(const Op& op, std::span<const std::uint16_t> record, Byte* out) const {
  const auto quarters = record.subspan(op.source);
  for (std::size_t i = 0; i < op.length; ++i) {
    const bool is_set = IsBitSet(quarters, op.bit + i);
    if (bits_to_characters_) {
      out[op.target + i] = is_set ? '1' : '0';
      continue;
    }
    const std::size_t bit = op.target_bit + i;
    Byte& byte = out[op.target + bit / kByteBits];
    const auto mask = static_cast<Byte>(0x80U >> bit % kByteBits);
    // The first bit of a byte clears those behind it.
    const Byte before = bit % kByteBits == 0 ? 0 : byte;
    byte = static_cast<Byte>(is_set ? before | mask : before & ~mask);
  }
}

// ---- and back

bool SdfConverter::ConvertToSdf(std::span<const Byte> record, std::vector<std::uint16_t>& out) {
  const std::size_t behind = record.size() > tail_.target ? record.size() - tail_.target : 0;
  out.assign(std::max(fixed_source_, tail_.source + behind), kSpace);
  for (const Op& op : unconditional_)
    if (op.target < record.size() && !RunBack(op, record, out.data())) return false;
  return true;
}

bool SdfConverter::RunBack(const Op& op, std::span<const Byte> record, std::uint16_t* out) const {
  const Byte* const from = &record[op.target];
  const std::size_t there = record.size() - op.target;
  std::uint16_t* const to = out + op.source;
  if (op.step == Step::kText) {
    std::copy_n(from, std::min(op.length, there), to);
  } else if (op.stored > there) {
    return true;
  } else if (op.step == Step::kBits) {
    RunBitsBack(op, from, to);
  } else if (op.step == Step::kSign) {
    if ((*from & kZoneMask) == NegativeZone(op.item->type))
      *to = ebc2asc[WithZone(*from, kEbcdicNegative)];
  } else if (!make1100Comp({op.length, op.stored}, op.item->is_signed, from, to)) {
    PrintError("Record %ld: the value of '%s' does not fit its %zu quarter-words.\n",
               run.nCurrInputRec, op.item->name.c_str(), op.length);
    return false;
  }
  return true;
}

void SdfConverter::RunBitsBack(const Op& op, const Byte* from, std::uint16_t* to) const {
  for (std::size_t i = 0; i < op.length; ++i) {
    const std::size_t byte_bit = op.target_bit + i;
    const bool is_set = bits_to_characters_
                            ? from[i] == '1'
                            : (from[byte_bit / kByteBits] & (0x80U >> byte_bit % kByteBits)) != 0;
    const std::size_t bit = op.bit + i;
    std::uint16_t& quarter = to[bit / kQuarterBits];
    const auto mask = static_cast<std::uint16_t>(0x100U >> bit % kQuarterBits);
    const std::uint16_t before = bit % kQuarterBits == 0 ? std::uint16_t{0} : quarter;
    quarter = static_cast<std::uint16_t>(is_set ? before | mask : before & ~mask);
  }
}

}  // namespace tolvane
