#include "reshape/reshape.h"

#include <algorithm>

#include "convert/conditions.h"
#include "convert/explode.h"
#include "datarep/charset.h"
#include "platform/console.h"
#include "state/run.h"

namespace tolvane {

Reshape::Reshape(const copybook::SymbolTable& table, std::size_t size, bool ebcdic)
    : shape_(table),
      size_(std::max(size, static_cast<std::size_t>(shape_.GetExpandedRecordSize()))),
      ebcdic_(ebcdic),
      dates_(ebcdic) {}

const MaskItem* Reshape::ConditionOf(std::span<const Byte> unconverted) const {
  return shape_.has_conditions() ? GetMaskMatchCondition(unconverted) : nullptr;
}

void Reshape::Run(const MaskItem* condition, std::span<const Byte> record, Byte* out) {
  const RecordPlan& plan = shape_.PlanFor(condition);
  std::fill_n(out, size_, ebcdic_ ? kEbcdicSpace : Byte{' '});
  for (const PlanStep& step : plan.steps()) {
    if (step.from >= record.size()) break;
    const auto bytes = record.subspan(step.from, std::min(step.length, record.size() - step.from));
    Rewrite(step, bytes, {out + step.to, step.width});
  }
  if (record.size() > plan.from())
    CopyRest(record.subspan(plan.from()), {out + plan.to(), size_ - plan.to()});
}

// What the record has behind its description.
void Reshape::CopyRest(std::span<const Byte> rest, std::span<Byte> out) {
  std::copy_n(rest.begin(), std::min(rest.size(), out.size()), out.begin());
  if (rest.size() <= out.size() || is_cut_) return;
  is_cut_ = true;
  PrintWarning(
      "Record %ld: %zu bytes behind what the copybook describes are left out. Further ones are not "
      "reported.\n",
      run.nCurrInputRec, rest.size() - out.size());
}

void Reshape::Rewrite(const PlanStep& step, std::span<const Byte> bytes, std::span<Byte> out) {
  if (step.change == nullptr || bytes.size() < step.length) {
    std::copy_n(bytes.begin(), std::min(bytes.size(), out.size()), out.begin());
    if (step.change != nullptr && step.change->is_date())
      dates_.Report(*step.change->date.field, step.from, "is cut off by the end of the record");
    return;
  }
  const FieldChange& change = *step.change;
  if (change.explodes() && !change.is_date()) return Explode(step, bytes, out);
  if (change.explodes()) {
    exploded_.resize(ExplodedWidth(change.item));
    Explode(step, bytes, exploded_);
    bytes = exploded_;
  }
  dates_.DoDateIsFieldExpansion(change.date, bytes, step.from, out);
}

void Reshape::Explode(const PlanStep& step, std::span<const Byte> bytes, std::span<Byte> out) {
  const MaskItem& item = step.change->item;
  if (ExplodeField(bytes, item, ebcdic_, out)) return;
  if (!reported_.insert(&item).second) return;
  PrintWarning("Record %ld: %s at offset %zu is no number. Further ones are not reported.\n",
               run.nCurrInputRec, item.name.c_str(), step.from);
}

}  // namespace tolvane
