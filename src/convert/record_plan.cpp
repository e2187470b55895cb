#include "convert/record_plan.h"

#include <algorithm>

namespace tolvane {

void RecordPlan::CopyUpTo(std::size_t end) {
  if (end <= from_) return;
  const std::size_t bytes = end - from_;
  if (!steps_.empty() && steps_.back().field == nullptr && steps_.back().length > 0 &&
      steps_.back().length == steps_.back().width) {
    steps_.back().length += bytes;
    steps_.back().width += bytes;
  } else {
    steps_.push_back({from_, bytes, to_, bytes, nullptr});
  }
  from_ = end;
  to_ += bytes;
}

void RecordPlan::Rewrite(std::size_t length, std::size_t width, const void* field) {
  steps_.push_back({from_, length, to_, width, field});
  from_ += length;
  to_ += width;
}

void RecordPlan::FillUpTo(std::size_t to) {
  if (to <= to_) return;
  steps_.push_back({from_, 0, to_, to - to_, nullptr});
  to_ = to;
}

std::size_t RecordPlan::MapOffset(std::size_t offset) const {
  const auto after =
      std::upper_bound(steps_.begin(), steps_.end(), offset,
                       [](std::size_t wanted, const PlanStep& step) { return wanted < step.from; });
  for (auto step = after; step != steps_.begin();) {
    --step;
    if (step->length == 0 || offset >= step->from + step->length) continue;
    if (offset == step->from) return step->to;
    return step->to + step->width - (step->from + step->length - offset);
  }
  return to_ + (offset - std::min(offset, from_));
}

}  // namespace tolvane
