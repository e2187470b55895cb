#include "reshape/record_plan.h"

#include <algorithm>

namespace tolvane {

void RecordPlan::CopyUpTo(std::size_t end) {
  if (end <= from_) return;
  const std::size_t bytes = end - from_;
  if (!steps_.empty() && steps_.back().change == nullptr && steps_.back().length > 0 &&
      steps_.back().length == steps_.back().width) {
    steps_.back().length += bytes;
    steps_.back().width += bytes;
  } else {
    steps_.push_back({from_, bytes, to_, bytes});
  }
  from_ = end;
  to_ += bytes;
}

void RecordPlan::Rewrite(const Growth& growth, const FieldChange* change) {
  steps_.push_back({from_, growth.length, to_, growth.width, change, growth.at});
  from_ += growth.length;
  to_ += growth.width;
}

void RecordPlan::FillUpTo(std::size_t to) {
  if (to <= to_) return;
  steps_.push_back({from_, 0, to_, to - to_});
  to_ = to;
}

std::size_t RecordPlan::MapOffset(std::size_t offset) const {
  const auto after =
      std::upper_bound(steps_.begin(), steps_.end(), offset,
                       [](std::size_t wanted, const PlanStep& step) { return wanted < step.from; });
  for (auto step = after; step != steps_.begin();) {
    --step;
    if (step->length == 0 || offset >= step->from + step->length) continue;
    const std::size_t before = offset - step->from;
    if (step->change == nullptr || before <= step->growth_at) return step->to + before;
    return step->to + step->width - (step->length - before);
  }
  return to_ + (offset - std::min(offset, from_));
}

}  // namespace tolvane
