#include "reshape/record_shape.h"

#include <algorithm>

#include "convert/explode.h"
#include "convert/layouts.h"
#include "convert/mask_of_field.h"
#include "platform/console.h"
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
  for (const MaskItem& item : GroupOf(*condition)) items.emplace(item.location, item.type);
  return items;
}

// Bytes of the converted record that the occurrences of a field take.
std::int64_t BytesOf(const Field& field) {
  if (field.aux_bit_stride == 0) return field.aux_length * field.occurs.max;
  constexpr std::int64_t kBits = 8;
  return (field.aux_bit + field.aux_bit_stride * field.occurs.max + kBits - 1) / kBits;
}

// The elementary member at an offset of a group; null: a table element.
const Field* MemberAt(const Field& group, std::int64_t offset) {
  const Field* field = &group;
  while (field != nullptr && field->IsGroup()) {
    field = field->first_child;
    while (field != nullptr && offset >= field->aux_offset + BytesOf(*field))
      field = NextBase(*field);
    if (field != nullptr && field->occurs.max > 1) return nullptr;
  }
  return field;
}

}  // namespace

// The records that a condition selects (null: none does), and what converts their fields.
struct RecordShape::Selection {
  const MaskItem* condition;
  ActiveItems items;
};

struct RecordShape::Draft {
  const Selection& selection;
  RecordPlan plan{};
};

RecordShape::RecordShape(const SymbolTable& table) : table_(table) {
  std::vector<Selection> selections{{nullptr, ItemsFor(nullptr)}};
  for (const MaskItem& item : mask_list)
    if (item.is_condition()) selections.push_back({&item, ItemsFor(&item)});
  for (const Field* field = table.First(); field != nullptr; field = field->next)
    NoteChange(*field, selections);
  for (const RecordDescription& record : table.records())
    if (record.first != nullptr && !record.first->IsStandalone())
      record_size_ = std::max(record_size_, record.aux_length + PlaceMembers(record.first, 0));
  for (const Selection& selection : selections) MakePlan(selection);
}

// ---- what changes

// A field is exploded when records are selected in which an item of the mask list converts it.
void RecordShape::NoteChange(const Field& field, const std::vector<Selection>& selections) {
  FieldChange change{};
  if (opt.sw_explode != 0 && !field.IsGroup()) {
    change.item = MaskItemOf(field);
    const bool is_exploded =
        ExplodedWidth(change.item) > 0 &&
        std::any_of(selections.begin(), selections.end(), [&](const Selection& selection) {
          return selection.items.count({field.offset, change.item.type}) != 0 &&
                 Applies(table_, field, selection.condition);
        });
    if (!is_exploded) change.item.type = 0;
  }
  const bool dated = opt.expandDateFlag != 0 && DateIsOf(field) != nullptr;
  if (!change.explodes() && !dated) return;
  if (dated) change.date = MakeDateField(field, change.explodes() ? &change.item : nullptr);
  change.width = dated ? change.date.width : ExplodedWidth(change.item);
  if (dated && field.IsGroup()) NoteYear(field, change.date);
  changes_.emplace(&field, std::move(change));
  for (const Field* outer = &field; outer != nullptr; outer = outer->parent) touched_.insert(outer);
}

// The group is rewritten as a whole; the member tells how the result is described.
void RecordShape::NoteYear(const Field& group, const DateField& date) {
  const Field* const member =
      MemberAt(group, group.aux_offset + static_cast<std::int64_t>(date.year_at));
  if (member == nullptr) return;
  FieldChange change{};
  change.date = date;
  change.width = date.width - static_cast<std::size_t>(group.aux_length - member->aux_length);
  changes_.emplace(member, std::move(change));
}

const FieldChange* RecordShape::ChangeOf(const Field& field) const {
  const auto found = changes_.find(&field);
  return found == changes_.end() ? nullptr : &found->second;
}

// ---- places

// The members from `first` on, whose group moves by `shift`. Returns by how much they grow.
std::int64_t RecordShape::PlaceMembers(const Field* first, std::int64_t shift) {
  std::int64_t growth = 0;
  for (const Field* base = first; base != nullptr; base = NextBase(*base)) {
    const Field* const end = NextBase(*base);
    for (const Field* field = base; field != end; field = field->next_sibling)
      Place(*field, shift + growth);
    const Extent extent = ExtentOf(*base);
    growth += extent.after - extent.before;
  }
  return growth;
}

void RecordShape::Place(const Field& field, std::int64_t shift) {
  std::int64_t growth = field.IsGroup() ? PlaceMembers(field.first_child, shift) : 0;
  if (const FieldChange* const change = ChangeOf(field); change != nullptr)
    growth = static_cast<std::int64_t>(change->width) - field.aux_length;
  places_[&field] = {field.aux_offset + shift, field.aux_length + growth};
}

Extent RecordShape::ExtentOf(const Field& base) const {
  std::int64_t before = 0, growth = 0;
  const Field* const end = NextBase(base);
  for (const Field* field = &base; field != end; field = field->next_sibling) {
    before = std::max(before, BytesOf(*field));
    growth = std::max(growth, (PlaceOf(*field).length - field->aux_length) * field->occurs.max);
  }
  return {before, before + growth};
}

// ---- plans

void RecordShape::MakePlan(const Selection& selection) {
  Draft draft{selection};
  if (const RecordDescription* const record = ActiveRecord(table_, selection.condition);
      record != nullptr)
    PlanMembers(record->first, {}, draft);
  plans_.emplace(selection.condition, std::move(draft.plan));
}

void RecordShape::PlanMembers(const Field* first, Shift shift, Draft& draft) const {
  RecordPlan& plan = draft.plan;
  for (const Field* base = first; base != nullptr; base = NextBase(*base)) {
    PlanField(ActiveLayout(*base, draft.selection.condition), shift, draft);
    const Extent extent = ExtentOf(*base);
    plan.CopyUpTo(static_cast<std::size_t>(base->aux_offset + shift.converted + extent.before));
    plan.FillUpTo(static_cast<std::size_t>(PlaceOf(*base).offset + shift.grown + extent.after));
  }
}

void RecordShape::PlanField(const Field& field, Shift shift, Draft& draft) const {
  if (touched_.count(&field) == 0) return;  // its bytes are copied with what follows
  for (std::int64_t k = 0; k < field.occurs.max; ++k) {
    PlanOccurrence(field, shift, draft);
    shift.source += field.stride;
    shift.converted += field.aux_stride;
    shift.grown += PlaceOf(field).length;
  }
}

void RecordShape::PlanOccurrence(const Field& field, Shift shift, Draft& draft) const {
  RecordPlan& plan = draft.plan;
  const auto begin = static_cast<std::size_t>(field.aux_offset + shift.converted);
  const auto length = static_cast<std::size_t>(field.aux_length);
  plan.CopyUpTo(begin);
  const FieldChange* const change = ChangeOf(field);
  if (change == nullptr) return PlanMembers(field.first_child, shift, draft);
  const bool applies =
      !change->explodes() ||
      draft.selection.items.count({field.offset + shift.source, change->item.type}) != 0;
  if (applies) {
    const bool is_text = change->is_date() && !change->date.is_number;
    plan.Rewrite({length, change->width, is_text ? change->date.year_at : 0}, change);
  } else {
    const std::size_t to = plan.to() + change->width;
    plan.CopyUpTo(begin + length);
    plan.FillUpTo(to);
  }
}

// ---- keys

bool RecordShape::IsFixed(std::size_t offset) const {
  return std::all_of(plans_.begin(), plans_.end(), [&](const auto& plan) {
    return plan.second.MapOffset(offset) == MapOffset(offset);
  });
}

namespace {

// The field that a key names and some records hold; null: it has a position.
const Field* FieldOf(const SymbolTable& table, const KeyEntry& key) {
  const Field* const field = table.GetSymHashSubStr(key.name).Unique();
  return field != nullptr && field->IsInRecord() && AppliesToSome(table, *field) ? field : nullptr;
}

void MoveKey(const RecordShape& shape, KeyEntry& key) {
  const auto begin = static_cast<std::size_t>(key.location);
  const std::size_t end = begin + static_cast<std::size_t>(key.length);
  if (!shape.IsFixed(begin) || !shape.IsFixed(end))
    PrintWarning("The key at %d, %d comes to lie at different places in the records.\n",
                 key.location, key.length);
  key.location = static_cast<std::int32_t>(shape.MapOffset(begin));
  key.length = static_cast<std::int32_t>(shape.MapOffset(end)) - key.location;
}

}  // namespace

void AlterKeysDescription(const SymbolTable& table, const RecordShape& shape) {
  for (KeyEntry& key : opt.keyDescr) {
    if (key.location < 0 || key.length < 1) continue;
    if (const Field* const field = FieldOf(table, key); field != nullptr) {
      const GrownPlace& place = shape.PlaceOf(*field);
      key.location = static_cast<std::int32_t>(place.offset);
      key.length = static_cast<std::int32_t>(place.length);
    } else {
      MoveKey(shape, key);
    }
  }
}

}  // namespace tolvane
