#include "convert/explode.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "convert/conditions.h"
#include "datarep/decimal.h"
#include "platform/console.h"
#include "state/options.h"

namespace tolvane {
namespace {

bool HasSignMode() { return opt.sw_expLeading != 0 || opt.sw_expTrailing != 0; }

bool IsExploded(const MaskItem& item) {
  return item.type == mask_type::kPacked ||
         (item.has_overpunch() && item.is_signed && HasSignMode());
}

// Digits of an item; those made by options have no picture.
std::size_t DigitsOf(const MaskItem& item) {
  if (item.digits > 0) return static_cast<std::size_t>(item.digits);
  const auto length = static_cast<std::size_t>(item.length);
  return item.type == mask_type::kPacked ? 2 * length - 1 : length;
}

// Deliberate: the packed length is subtracted for every occurrence, the digits are added once.
std::int64_t Growth(const MaskItem& item) {
  const std::int64_t signs = item.is_signed && HasSignMode() ? item.occurs : 0;
  if (item.type == mask_type::kPacked) {
    const auto digits = static_cast<std::int64_t>(DigitsOf(item));
    return digits - (digits / 2 + 1) * item.occurs + signs;
  }
  return item.has_overpunch() ? signs : 0;
}

// The growth of a condition's group against what it replaces.
std::int64_t GroupExcess(MaskList::const_iterator condition, std::int64_t unconditional) {
  std::int64_t group = 0;
  for (auto item = condition + 1; item != mask_list.end() && !item->is_condition(); ++item)
    group += Growth(*item);
  const auto at = static_cast<int>(condition->condition_start);
  if (unconditional > group)
    PrintWarning("The size of REDEFINES at %d is %d bytes shorter.\n", at,
                 static_cast<int>(unconditional - group));
  if (unconditional < group)
    PrintWarning("The size of REDEFINES at %d is %d bytes longer.\n", at,
                 static_cast<int>(group - unconditional));
  return std::max<std::int64_t>(0, group - unconditional);
}

bool IsInRange(const MaskItem& item, const MaskItem& condition) {
  return item.location >= condition.condition_start && item.location < condition.condition_end;
}

std::int32_t ComputeGrowth() {
  const auto first_condition =
      std::find_if(mask_list.cbegin(), mask_list.cend(),
                   [](const MaskItem& item) { return item.is_condition(); });
  std::int64_t sum = 0, largest = 0;
  for (auto item = mask_list.cbegin(); item != first_condition; ++item) sum += Growth(*item);
  for (auto item = first_condition; item != mask_list.cend(); ++item) {
    if (!item->is_condition()) continue;
    std::int64_t replaced = 0;
    for (auto plain = mask_list.cbegin(); plain != first_condition; ++plain)
      if (IsInRange(*plain, *item)) replaced += Growth(*plain);
    largest = std::max(largest, GroupExcess(item, replaced));
  }
  return static_cast<std::int32_t>(sum + largest);
}

struct Number {
  std::string digits;
  char sign = ' ';
};

Number Unpack(std::span<const Byte> field, const MaskItem& item) {
  Number number;
  if (item.type == mask_type::kPacked) {
    const Unpacked unpacked = LoadPacked(field);
    number.digits = unpacked.digits;
    if (unpacked.sign_nibble == kPackedPositive) number.sign = '+';
    if (unpacked.sign_nibble == kPackedNegative) number.sign = '-';
    return number;
  }
  number.digits.assign(field.begin(), field.end());
  const auto at = static_cast<std::size_t>(item.sign_byte());
  const Byte byte = field[at];
  const Byte negative = item.type == mask_type::kMbpUnpacked ? kMbpNegative : kMfNegative;
  const bool is_negative = (byte & kZoneMask) == negative;
  number.sign = is_negative ? '-' : '+';
  if (is_negative) number.digits[at] = static_cast<char>((byte & kDigitMask) | kAsciiPositive);
  return number;
}

void WriteField(std::span<const Byte> field, const MaskItem& item, std::span<Byte> out) {
  if (field.size() < static_cast<std::size_t>(item.length)) {
    std::fill(out.begin(), out.end(), Byte{' '});
    std::copy_n(field.begin(), std::min(field.size(), out.size()), out.begin());
    return;
  }
  Number number = Unpack(field, item);
  const bool signs = item.is_signed && HasSignMode();
  const std::size_t digits = out.size() - (signs ? 1 : 0);
  if (number.digits.size() > digits) number.digits.erase(0, number.digits.size() - digits);
  number.digits.insert(0, digits - number.digits.size(), '0');
  if (!signs && item.is_signed && number.sign == '-') {
    const Byte zone = opt.sw_mbp != 0 ? kMbpNegative : kMfNegative;
    number.digits.back() = static_cast<char>((number.digits.back() & kDigitMask) | zone);
  }
  if (signs) number.digits.insert(opt.sw_expLeading != 0 ? 0 : digits, 1, number.sign);
  std::copy(number.digits.begin(), number.digits.end(), out.begin());
}

}  // namespace

std::int32_t explodeSize() {
  static const std::int32_t growth = ComputeGrowth();
  return growth;
}

RecordExploder::RecordExploder(const MaskList& items) : items_(items) {
  plans_.emplace(nullptr, PlanFor(nullptr));
  for (const MaskItem& item : items_)
    if (item.is_condition()) plans_.emplace(&item, PlanFor(&item));
}

RecordPlan RecordExploder::PlanFor(const MaskItem* condition) const {
  std::vector<const MaskItem*> used;
  for (const MaskItem& item : items_) {
    if (item.is_condition()) break;
    if (condition == nullptr || !IsInRange(item, *condition)) used.push_back(&item);
  }
  const MaskItem* const end = items_.data() + items_.size();
  for (const MaskItem* item = condition; condition != nullptr && ++item != end;) {
    if (item->is_condition()) break;
    used.push_back(item);
  }
  std::stable_sort(used.begin(), used.end(),
                   [](const MaskItem* a, const MaskItem* b) { return a->location < b->location; });
  RecordPlan plan;
  for (const MaskItem* item : used) {
    if (!IsExploded(*item)) continue;
    for (int k = 0; k < item->occurs; ++k) {
      const auto length = static_cast<std::size_t>(item->length);
      const std::size_t at =
          static_cast<std::size_t>(item->location) + length * static_cast<std::size_t>(k);
      if (at < plan.from()) continue;  // under a field that was exploded already
      plan.CopyUpTo(at);
      plan.Rewrite(length, DigitsOf(*item) + (item->is_signed && HasSignMode() ? 1 : 0), item);
    }
  }
  return plan;
}

void RecordExploder::ExplodeRecord(std::span<const Byte> unconverted, std::span<const Byte> record,
                                   Byte* out, std::size_t size) const {
  const MaskItem* const condition =
      plans_.size() > 1 ? GetMaskMatchCondition(unconverted) : nullptr;
  const RecordPlan& plan = plans_.at(condition);
  std::fill_n(out, size, Byte{' '});
  for (const PlanStep& step : plan.steps()) {
    if (step.from >= record.size() || step.to + step.width > size) break;
    const auto field = record.subspan(step.from, std::min(step.length, record.size() - step.from));
    if (step.field == nullptr) {
      std::copy(field.begin(), field.end(), out + step.to);
    } else {
      WriteField(field, *static_cast<const MaskItem*>(step.field), {out + step.to, step.width});
    }
  }
  if (record.size() > plan.from() && size > plan.to())
    std::copy_n(record.begin() + static_cast<std::ptrdiff_t>(plan.from()),
                std::min(record.size() - plan.from(), size - plan.to()), out + plan.to());
}

void MoveKeys(const std::function<std::size_t(std::size_t)>& moved) {
  for (KeyEntry& key : opt.keyDescr) {
    if (key.location < 0 || key.length < 1) continue;
    const auto begin = static_cast<std::size_t>(key.location);
    const std::size_t end = moved(begin + static_cast<std::size_t>(key.length));
    key.location = static_cast<std::int32_t>(moved(begin));
    key.length = static_cast<std::int32_t>(end) - key.location;
  }
}

void fixExplodedKeys() {
  const RecordExploder exploder(mask_list);
  MoveKeys([&exploder](std::size_t offset) { return exploder.MapOffset(offset); });
}

}  // namespace tolvane
