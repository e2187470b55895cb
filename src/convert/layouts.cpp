#include "convert/layouts.h"

#include <algorithm>

namespace tolvane {

using copybook::Field;
using copybook::RecordDescription;
using copybook::SymbolTable;

namespace {

bool IsInside(const Field* field, const Field& outer) {
  while (field != nullptr && field != &outer) field = field->parent;
  return field != nullptr;
}

bool Uses(const MaskItem* condition, const Field& outer) {
  return condition != nullptr &&
         std::any_of(condition->used.begin(), condition->used.end(),
                     [&outer](const Field* used) { return IsInside(used, outer); });
}

bool Describes(const RecordDescription& record, const Field& field) {
  for (const Field* top = record.first; top != nullptr; top = top->next_sibling)
    if (IsInside(&field, *top)) return true;
  return false;
}

}  // namespace

const RecordDescription* ActiveRecord(const SymbolTable& table, const MaskItem* condition) {
  const RecordDescription* active = nullptr;
  for (const RecordDescription& record : table.records()) {
    if (record.first == nullptr || record.first->IsStandalone()) continue;
    if (active == nullptr) active = &record;
    const bool used =
        condition != nullptr &&
        std::any_of(condition->used.begin(), condition->used.end(),
                    [&record](const Field* field) { return Describes(record, *field); });
    if (used) return &record;
  }
  return active;
}

const Field& ActiveLayout(const Field& base, const MaskItem* condition) {
  const Field* const end = NextBase(base);
  for (const Field* field = &base; field != end; field = field->next_sibling)
    if (Uses(condition, *field)) return *field;
  return base;
}

const Field* NextBase(const Field& base) {
  const Field* next = base.next_sibling;
  while (next != nullptr && next->redefines != nullptr) next = next->next_sibling;
  return next;
}

bool Applies(const SymbolTable& table, const Field& field, const MaskItem* condition) {
  const RecordDescription* const record = ActiveRecord(table, condition);
  if (record == nullptr || !Describes(*record, field)) return false;
  for (const Field* outer = &field; outer != nullptr; outer = outer->parent) {
    const Field* base = outer;
    while (base->redefines != nullptr) base = base->redefines;
    if (&ActiveLayout(*base, condition) != outer) return false;
  }
  return true;
}

bool AppliesToSome(const SymbolTable& table, const Field& field) {
  return Applies(table, field, nullptr) ||
         std::any_of(mask_list.begin(), mask_list.end(), [&](const MaskItem& item) {
           return item.is_condition() && Applies(table, field, &item);
         });
}

}  // namespace tolvane
