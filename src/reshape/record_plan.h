// How a record whose fields grow is put together: steps over its bytes in their order, compiled
// once. What is copied stays as it is; fields are rewritten by whoever made the plan.
#pragma once

#include <cstddef>
#include <vector>

namespace tolvane {

struct FieldChange;

struct PlanStep {
  std::size_t from = 0, length = 0;     // in the record; length 0: only filled
  std::size_t to = 0, width = 0;        // in the result
  const FieldChange* change = nullptr;  // null: copied, and filled with blanks
  std::size_t growth_at = 0;            // where in a field that changes the bytes come in
};

// What becomes of a field.
struct Growth {
  std::size_t length = 0, width = 0;  // bytes before and after
  std::size_t at = 0;                 // where in the field the bytes come in
};

class RecordPlan {
 public:
  // Bytes of the record up to `end`, as they are.
  void CopyUpTo(std::size_t end);
  // The next bytes are a field that changes.
  void Rewrite(const Growth& growth, const FieldChange* change);
  // Blanks up to a place of the result.
  void FillUpTo(std::size_t to);

  [[nodiscard]] const std::vector<PlanStep>& steps() const { return steps_; }
  [[nodiscard]] std::size_t from() const { return from_; }  // reached in the record
  [[nodiscard]] std::size_t to() const { return to_; }      // and in the result
  // Where a byte of the record comes to lie. Within a rewritten field it is as far from the
  // field's end as it was, or from its beginning when it lies before the bytes that came in.
  [[nodiscard]] std::size_t MapOffset(std::size_t offset) const;

 private:
  std::vector<PlanStep> steps_;
  std::size_t from_ = 0, to_ = 0;
};

}  // namespace tolvane
