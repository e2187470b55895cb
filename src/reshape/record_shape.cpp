#include "reshape/record_shape.h"

#include <algorithm>

#include "convert/copybook_mask.h"
#include "convert/explode.h"
#include "convert/layouts.h"
#include "state/options.h"

namespace tolvane {

using copybook::Field;
using copybook::RecordDescription;
using copybook::SymbolTable;

namespace {

// The mask items that apply to a record, by what explosion needs to know of them.
using ActiveItems = std::set<std::pair<std::int64_t, char>>;  // location and type

ActiveItems ItemsFor(const MaskItem* condition) {
  ActiveItems items;
  for (const MaskItem& item : mask_list) {
    if (item.is_condition()) break;
    if (condition == nullptr || !item.IsReplacedBy(*condition))
      items.emplace(item.location, item.type);
  }
  if (condition == nullptr) return items;
  const MaskItem* const end = mask_list.data() + mask_list.size();
  for (const MaskItem* item = condition + 1; item != end && !item->is_condition(); ++item)
    items.emplace(item->location, item->type);
  return items;
}

}  // namespace

struct RecordShape::Draft {
  const MaskItem* condition;
  ActiveItems items;
  RecordPlan plan;
};

RecordShape::RecordShape(const SymbolTable& table) : table_(table) {
  for (const Field* field = table.First(); field != nullptr; field = field->next)
    NoteChange(table, *field);
  MakePlan(nullptr);
  for (const MaskItem& item : mask_list)
    if (item.is_condition()) MakePlan(&item);
}

void RecordShape::NoteChange(const SymbolTable& table, const Field& field) {
  FieldChange change{};
  if (opt.sw_explode != 0 && !field.IsGroup()) {
    change.item = MaskItemOf(field);
    if (ExplodedWidth(change.item) == 0) change.item.type = 0;
  }
  const bool dated = opt.expandDateFlag != 0 && DateIsOf(field) != nullptr;
  if ((!change.explodes() && !dated) || !AppliesToSome(table, field)) return;
  const MaskItem* const exploded = change.explodes() ? &change.item : nullptr;
  if (dated) change.date = MakeDateField(field, exploded);
  change.width = dated ? change.date.width : ExplodedWidth(change.item);
  changes_.emplace(&field, std::move(change));
  for (const Field* outer = &field; outer != nullptr; outer = outer->parent) touched_.insert(outer);
}

const FieldChange* RecordShape::ChangeOf(const Field& field) const {
  const auto found = changes_.find(&field);
  return found == changes_.end() ? nullptr : &found->second;
}

// ---- sizes

std::int64_t RecordShape::GrowthOf(const Field& field) const {
  if (touched_.count(&field) == 0) return 0;
  const FieldChange* const change = ChangeOf(field);
  const std::int64_t growth = change != nullptr
                                  ? static_cast<std::int64_t>(change->width) - field.aux_length
                                  : GrowthOfMembers(field.first_child);
  return growth * field.occurs.max;
}

std::int64_t RecordShape::GrowthOfMembers(const Field* first) const {
  std::int64_t growth = 0;
  for (const Field* base = first; base != nullptr; base = NextBase(*base))
    growth += GrowthOfLayouts(*base);
  return growth;
}

std::int64_t RecordShape::GrowthOfLayouts(const Field& base) const {
  std::int64_t largest = 0;
  const Field* const end = NextBase(base);
  for (const Field* field = &base; field != end; field = field->next_sibling)
    largest = std::max(largest, GrowthOf(*field));
  return largest;
}

std::int64_t RecordShape::GetExpandedFieldSize(const Field& field) const {
  return field.aux_length * field.occurs.max + GrowthOf(field);
}

std::int64_t RecordShape::GetExpandedRecordSize() const {
  std::int64_t size = 0;
  for (const RecordDescription& record : table_.records())
    if (record.first != nullptr && !record.first->IsStandalone())
      size = std::max(size, record.aux_length + GrowthOfMembers(record.first));
  return size;
}

// ---- plans

void RecordShape::MakePlan(const MaskItem* condition) {
  Draft draft{condition, ItemsFor(condition), {}};
  if (const RecordDescription* const record = ActiveRecord(table_, condition); record != nullptr)
    PlanMembers(record->first, {}, draft);
  plans_.emplace(condition, std::move(draft.plan));
}

void RecordShape::PlanMembers(const Field* first, Shift shift, Draft& draft) const {
  RecordPlan& plan = draft.plan;
  for (const Field* base = first; base != nullptr; base = NextBase(*base)) {
    const std::int64_t begin = base->aux_offset + shift.converted;
    plan.CopyUpTo(static_cast<std::size_t>(begin));
    const std::size_t to = plan.to();
    PlanField(ActiveLayout(*base, draft.condition), shift, draft);
    std::int64_t length = 0;
    const Field* const end = NextBase(*base);
    for (const Field* field = base; field != end; field = field->next_sibling)
      length = std::max(length, field->aux_length * field->occurs.max);
    plan.CopyUpTo(static_cast<std::size_t>(begin + length));
    plan.FillUpTo(to + static_cast<std::size_t>(length + GrowthOfLayouts(*base)));
  }
}

void RecordShape::PlanField(const Field& field, Shift shift, Draft& draft) const {
  if (touched_.count(&field) == 0) return;  // its bytes are copied with what follows
  for (std::int64_t k = 0; k < field.occurs.max; ++k)
    PlanOccurrence(field, {shift.source + k * field.stride, shift.converted + k * field.aux_stride},
                   draft);
}

void RecordShape::PlanOccurrence(const Field& field, Shift shift, Draft& draft) const {
  RecordPlan& plan = draft.plan;
  const auto begin = static_cast<std::size_t>(field.aux_offset + shift.converted);
  const auto length = static_cast<std::size_t>(field.aux_length);
  plan.CopyUpTo(begin);
  const FieldChange* const change = ChangeOf(field);
  if (change == nullptr) return PlanMembers(field.first_child, shift, draft);
  const bool applies = !change->explodes() ||
                       draft.items.count({field.offset + shift.source, change->item.type}) != 0;
  if (applies) {
    const bool is_text = change->date.date != nullptr && !change->date.is_number;
    plan.Rewrite({length, change->width, is_text ? change->date.year_at : 0}, change);
  } else {
    const std::size_t to = plan.to() + change->width;
    plan.CopyUpTo(begin + length);
    plan.FillUpTo(to);
  }
}

void AlterKeysDescription(const RecordShape& shape) {
  for (KeyEntry& key : opt.keyDescr) {
    if (key.location < 0 || key.length < 1) continue;
    const auto begin = static_cast<std::size_t>(key.location);
    const std::size_t end = shape.MapOffset(begin + static_cast<std::size_t>(key.length));
    key.location = static_cast<std::int32_t>(shape.MapOffset(begin));
    key.length = static_cast<std::int32_t>(end) - key.location;
  }
}

}  // namespace tolvane
