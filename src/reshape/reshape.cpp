#include "reshape/reshape.h"

#include <algorithm>

#include "convert/conditions.h"
#include "convert/explode.h"
#include "datarep/charset.h"

namespace tolvane {

Reshape::Reshape(const copybook::SymbolTable& table, std::size_t size, bool ebcdic)
    : shape_(table), size_(size), ebcdic_(ebcdic), dates_(ebcdic) {}

const MaskItem* Reshape::ConditionOf(std::span<const Byte> unconverted) const {
  return shape_.has_conditions() ? GetMaskMatchCondition(unconverted) : nullptr;
}

void Reshape::Run(const MaskItem* condition, std::span<const Byte> record, Byte* out) {
  const RecordPlan& plan = shape_.PlanFor(condition);
  std::fill_n(out, size_, ebcdic_ ? kEbcdicSpace : Byte{' '});
  for (const PlanStep& step : plan.steps()) {
    if (step.from >= record.size() || step.to + step.width > size_) break;
    const auto bytes = record.subspan(step.from, std::min(step.length, record.size() - step.from));
    Rewrite(step, bytes, {out + step.to, step.width});
  }
  if (record.size() > plan.from() && size_ > plan.to())
    std::copy_n(record.begin() + static_cast<std::ptrdiff_t>(plan.from()),
                std::min(record.size() - plan.from(), size_ - plan.to()), out + plan.to());
}

void Reshape::Rewrite(const PlanStep& step, std::span<const Byte> bytes, std::span<Byte> out) {
  if (step.change == nullptr || bytes.size() < step.length) {
    std::copy_n(bytes.begin(), std::min(bytes.size(), out.size()), out.begin());
    if (step.change != nullptr && step.change->date.date != nullptr)
      dates_.Report(*step.change->date.field, step.from, "is cut off by the end of the record");
    return;
  }
  const FieldChange& change = *step.change;
  if (change.date.date == nullptr) return ExplodeField(bytes, change.item, ebcdic_, out);
  if (change.explodes()) {
    exploded_.resize(ExplodedWidth(change.item));
    ExplodeField(bytes, change.item, ebcdic_, exploded_);
    bytes = exploded_;
  }
  dates_.DoDateIsFieldExpansion(change.date, bytes, step.from, out);
}

}  // namespace tolvane
