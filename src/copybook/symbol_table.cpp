#include "copybook/symbol_table.h"

#include <algorithm>

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

// The number behind the last field of a group; `none` when no other field follows it.
std::size_t EndOfGroup(const Field& group, std::size_t none) {
  for (const Field* field = &group; field != nullptr; field = field->parent)
    if (field->next_sibling != nullptr) return field->next_sibling->number;
  return none;
}

}  // namespace

const SymbolTable::Fields& SymbolTable::FieldsOf(std::string_view name) const {
  static const Fields kNone;
  const auto found = names_.find(ToUpper(name));
  return found == names_.end() ? kNone : found->second;
}

std::int64_t SymbolTable::LongestRecord(std::int64_t RecordDescription::*length) const {
  std::int64_t longest = 0;
  for (const RecordDescription& record : records_)
    if (record.first != nullptr && !record.first->IsStandalone())
      longest = std::max(longest, record.*length);
  return longest;
}

const Field* SymbolTable::GetSymNum(std::size_t number) const {
  return number < fields_.size() ? &fields_[number] : nullptr;
}

Lookup SymbolTable::GetSymHashSubStr(std::span<const std::string_view> names) const {
  return Find(names, 0);
}

Lookup SymbolTable::Find(std::span<const std::string_view> names, std::size_t from) const {
  Lookup lookup;
  if (names.empty()) return lookup;
  const Fields& candidates = FieldsOf(names.front());
  const auto look_at = [&](std::size_t begin, std::size_t end) {
    auto at = std::lower_bound(
        candidates.begin(), candidates.end(), std::max(begin, from),
        [](const Field* field, std::size_t number) { return field->number < number; });
    for (; at != candidates.end() && (*at)->number < end; ++at) {
      if (!Qualifies(**at, names.subspan(1))) continue;
      const bool exact = (*at)->name == names.front();
      if (lookup.matches == 0 || (exact && lookup.exact == 0)) lookup.field = *at;
      ++lookup.matches;
      if (exact) ++lookup.exact;
    }
  };
  const Fields* rarest = &candidates;
  for (const std::string_view name : names.subspan(1))
    if (FieldsOf(name).size() < rarest->size()) rarest = &FieldsOf(name);
  std::size_t end = 0;
  if (rarest == &candidates) {
    look_at(0, fields_.size());
  } else {
    for (const Field* group : *rarest) {  // one within another has been looked at with it
      const std::size_t begin = std::max(end, group->number);
      end = std::max(end, EndOfGroup(*group, fields_.size()));
      look_at(begin, end);
    }
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
  names_[ToUpper(field.name)].push_back(&field);
}

}  // namespace tolvane::copybook
