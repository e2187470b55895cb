#include "copybook/symbol_table.h"

namespace tolvane::copybook {
namespace {

// Whether the groups above a field bear the qualifiers, in their order.
bool Qualifies(const Field& field, std::span<const std::string_view> qualifiers) {
  const Field* group = field.parent;
  for (const std::string_view qualifier : qualifiers) {
    while (group != nullptr && !EqualsIgnoreCase(group->name, qualifier)) group = group->parent;
    if (group == nullptr) return false;
    group = group->parent;
  }
  return true;
}

}  // namespace

const Field* SymbolTable::GetSymNum(std::size_t number) const {
  return number < fields_.size() ? &fields_[number] : nullptr;
}

Lookup SymbolTable::GetSymHashSubStr(std::span<const std::string_view> names) const {
  return Find(names, 0);
}

Lookup SymbolTable::Find(std::span<const std::string_view> names, std::size_t from) const {
  Lookup lookup;
  if (names.empty()) return lookup;
  const auto found = names_.find(ToUpper(names.front()));
  if (found == names_.end()) return lookup;
  for (const Field* field = found->second; field != nullptr && field->number >= from;
       field = field->previous_same_name) {
    if (!Qualifies(*field, names.subspan(1))) continue;
    const bool exact = field->name == names.front();
    if (exact || lookup.exact == 0) lookup.field = field;
    ++lookup.matches;
    if (exact) ++lookup.exact;
  }
  return lookup;
}

bool SymbolTable::IsConditionName(std::string_view name) const {
  return conditions_.contains(ToUpper(name));
}

void SymbolTable::Attach(const Field& field, std::unique_ptr<Attachment> attachment) {
  fields_[field.number].attachment = std::move(attachment);
}

Field& SymbolTable::Add(int level, std::string name, Field* parent, Field* previous_sibling) {
  Field& field = fields_.emplace_back();
  field.number = fields_.size() - 1;
  field.level = level;
  field.filler = name.empty();
  field.name = std::move(name);
  field.parent = parent;
  AddName(field);
  if (level == 66) {
    renames_.push_back(&field);
    return field;
  }
  if (previous_sibling != nullptr) previous_sibling->next_sibling = &field;
  if (parent != nullptr && parent->first_child == nullptr) parent->first_child = &field;
  (last_ != nullptr ? last_->next : first_) = &field;
  last_ = &field;
  return field;
}

void SymbolTable::AddName(Field& field) {
  if (field.name.empty()) return;
  Field*& last = names_[ToUpper(field.name)];
  field.previous_same_name = last;
  last = &field;
}

}  // namespace tolvane::copybook
