#include "reshape/explode_copybook.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "convert/copybook_source.h"
#include "convert/explode.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "reshape/copybook_editor.h"
#include "reshape/record_shape.h"
#include "state/options.h"

namespace tolvane {

using copybook::Field;
using copybook::Place;
using copybook::SymbolTable;

namespace {

bool IsPacked(const Field& field) { return field.usage == 'P' || field.usage == 'S'; }

// The field whose usage clause makes a field packed: itself, or a group above it.
const Field* UsageOwner(const Field& field) {
  const Field* owner = &field;
  while (owner != nullptr && owner->source.usage.begin.line == 0) owner = owner->parent;
  return owner;
}

// The picture of a date field after its expansion.
std::string WidenedPicture(const Field& field, const FieldChange& change) {
  constexpr std::size_t kShortBinary = 2;
  constexpr std::size_t kShortDigits = 4, kLongDigits = 18;
  const std::size_t before =
      change.explodes() ? ExplodedWidth(change.item) : static_cast<std::size_t>(field.aux_length);
  std::size_t places = change.date.width;
  if (change.date.is_number && field.usage == 'B')
    places = change.date.width == kShortBinary ? kShortDigits : kLongDigits;
  else if (change.date.is_number)
    places = 2 * change.date.width - 1;
  else if (field.usage != 'C')  // a sign of its own is no place
    places = static_cast<std::size_t>(field.digits) + change.date.width - before;
  const char* const symbol = field.usage == 'C' ? "X" : field.is_signed ? "S9" : "9";
  return symbol + ("(" + std::to_string(places)) + ")";
}

class ExplodedCopybook {
 public:
  explicit ExplodedCopybook(const SymbolTable& table) : table_(table), shape_(table) {}

  int Write();

 private:
  CopybookEditor* EditorOf(const std::string& name);
  CopybookEditor* EditorOf(const Field& field) {
    return EditorOf(table_.files().at(field.source.entry.begin.file));
  }
  int Change(const Field& field, const FieldChange& change);
  void ChangeUsage(const Field& owner, CopybookEditor& editor);
  int WriteFile(const std::string& name, const CopybookEditor& editor) const;

  const SymbolTable& table_;
  RecordShape shape_;
  std::map<std::string, CopybookEditor> editors_;
  std::set<const Field*> owners_;  // whose usage clauses were changed
};

int ExplodedCopybook::Write() {
  const std::string main = !opt.copyfile.empty()
                               ? opt.copyfile
                               : table_.files().at(table_.First()->source.entry.begin.file);
  if (EditorOf(main) == nullptr) return 0;  // without a change there is a copy all the same
  for (const Field* field = table_.First(); field != nullptr; field = field->next)
    if (const FieldChange* const change = shape_.ChangeOf(*field); change != nullptr)
      if (Change(*field, *change) == 0) return 0;
  for (const auto& [name, editor] : editors_) {
    if (WriteFile(name, editor) == 0) return 0;
    if (name != main)
      PrintOutput("Copybook '%s' copies '%s', which became '%s.EXP'.\n", main.c_str(), name.c_str(),
                  name.c_str());
  }
  return 1;
}

CopybookEditor* ExplodedCopybook::EditorOf(const std::string& name) {
  const auto [entry, is_new] = editors_.try_emplace(name);
  if (!is_new || entry->second.Read(name)) return &entry->second;
  PrintError("Cannot open copybook for input.\n");
  return nullptr;
}

int ExplodedCopybook::Change(const Field& field, const FieldChange& change) {
  CopybookEditor* const editor = EditorOf(field);
  if (editor == nullptr) return 0;
  if (change.explodes() && IsPacked(field)) ChangeUsage(*UsageOwner(field), *editor);
  if (change.explodes() && field.is_signed && (opt.sw_expLeading != 0 || opt.sw_expTrailing != 0)) {
    if (field.source.sign.begin.line != 0) editor->Replace(field.source.sign, "");
    editor->AddClause(field.source.entry,
                      opt.sw_expLeading != 0 ? "SIGN LEADING SEPARATE" : "SIGN TRAILING SEPARATE");
  }
  if (change.date.date == nullptr) return 1;
  if (field.IsGroup()) {
    PrintWarning("The copybook of the expanded records does not show that %s grows.\n",
                 field.name.c_str());
  } else if (change.date.width != static_cast<std::size_t>(field.aux_length) || change.explodes()) {
    editor->Replace(field.source.picture, WidenedPicture(field, change));
  }
  return 1;
}

// A usage clause may serve fields that stay packed: each of them then gets one of its own.
void ExplodedCopybook::ChangeUsage(const Field& owner, CopybookEditor& editor) {
  if (!owners_.insert(&owner).second) return;
  std::vector<const Field*> packed;
  for (const Field* field = &owner; field != nullptr; field = field->next) {
    if (field != &owner && field->level <= owner.level) break;
    const FieldChange* const change = shape_.ChangeOf(*field);
    const bool stays = change == nullptr || !change->explodes();
    if (IsPacked(*field) && UsageOwner(*field) == &owner && stays) packed.push_back(field);
  }
  std::string words = editor.TextOf(owner.source.usage);
  if (words.empty()) words = owner.usage == 'S' ? "COMP-6" : "COMP-3";
  editor.Replace(owner.source.usage, packed.empty() ? "DISPLAY" : "");
  for (const Field* field : packed)
    if (CopybookEditor* const own = EditorOf(*field); own != nullptr)
      own->AddClause(field->source.entry, words);
}

// Of a grammar file only the lines of the copybook.
int ExplodedCopybook::WriteFile(const std::string& name, const CopybookEditor& editor) const {
  std::uint32_t first = 1, last = 0;
  if (name == opt.optFileName) {
    first = table_.First()->source.entry.begin.line;
    for (const Field* field = table_.First(); field != nullptr; field = field->next)
      last = std::max(last, field->source.entry.end.line);
  }
  if (editor.Write(name + ".EXP", first, last)) return 1;
  PrintError("Cannot open copybook for output.\n");
  return 0;
}

}  // namespace

int writeExpCopybook() {
  TRACE_FRAME();
  if (copybooks.csid == nullptr || copybooks.csid->First() == nullptr) {
    PrintError("Cannot find copybook.\n");
    return 0;
  }
  return ExplodedCopybook(*copybooks.csid).Write();
}

}  // namespace tolvane
