#include "reshape/explode_copybook.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "convert/copybook_source.h"
#include "convert/explode.h"
#include "convert/layouts.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "reshape/copybook_editor.h"
#include "reshape/record_shape.h"
#include "state/options.h"

namespace tolvane {

using copybook::Field;
using copybook::RecordDescription;
using copybook::SymbolTable;

namespace {

// The field whose usage clause makes a field packed: itself, or a group above it.
const Field* UsageOwner(const Field& field) {
  const Field* owner = &field;
  while (owner != nullptr && owner->source.usage.begin.line == 0) owner = owner->parent;
  return owner;
}

// Digits of a binary date after its expansion: those of the date, or as many as its size holds.
std::size_t BinaryDigits(const Field& field, const FieldChange& change) {
  constexpr std::size_t kLongDigits = 18, kYearDigits = 4, kShortBinary = 2;
  if (change.width == kShortBinary) return kYearDigits;
  if (change.width != static_cast<std::size_t>(field.aux_length)) return kLongDigits;
  return std::max(static_cast<std::size_t>(field.digits), kYearDigits);
}

// The picture of a date field after its expansion.
std::string WidenedPicture(const Field& field, const FieldChange& change) {
  const std::size_t before =
      change.explodes() ? ExplodedWidth(change.item) : static_cast<std::size_t>(field.aux_length);
  std::size_t places = change.width;
  if (change.date.is_number)
    places = field.usage == 'B' ? BinaryDigits(field, change) : 2 * change.width - 1;
  else if (field.usage != 'C')  // a sign of its own is no place
    places = static_cast<std::size_t>(field.digits) + change.width - before;
  const char* const symbol = field.usage == 'C' ? "X" : field.is_signed ? "S9" : "9";
  return symbol + ("(" + std::to_string(places)) + ")";
}

// Bits that conversion has made characters.
bool IsBitText(const Field& field) { return field.usage == '1' && opt.sw_1toX != 0; }

const Field* NextOutside(const Field& group) {
  const Field* field = group.next;
  while (field != nullptr && field->level > group.level) field = field->next;
  return field;
}

std::string Characters(std::int64_t count) { return "PIC X(" + std::to_string(count) + ")"; }

class ExplodedCopybook {
 public:
  explicit ExplodedCopybook(const SymbolTable& table) : table_(table), shape_(table) {}

  int Write();

 private:
  CopybookEditor* EditorOf(const std::string& name);
  CopybookEditor* EditorOf(const Field& field) {
    return EditorOf(table_.files().at(field.source.entry.begin.file));
  }
  int Change(const Field& field);
  int ChangeClauses(const Field& field, const FieldChange& change, CopybookEditor& editor);
  int ChangeUsage(const Field& owner);

  int DescribeMembers(const Field& group);
  int DescribePlaces(const Field* first, std::int64_t& at);
  int DescribeLayouts(const Field& base);
  int AddFiller(const Field& before, int level, const std::string& clauses);
  int AddFillerAt(const copybook::Place& place, int level, const std::string& clauses);

  int Check();
  [[nodiscard]] const Field* FindDifference(const SymbolTable& compiled) const;
  [[nodiscard]] bool Describes(const Field& compiled, const Field& field) const;
  bool Open(std::string& path, std::string& text) const;
  [[nodiscard]] std::string TextOf(const std::string& name, const CopybookEditor& editor) const;
  int WriteFile(const std::string& name, const CopybookEditor& editor) const;

  const SymbolTable& table_;
  RecordShape shape_;
  std::string main_;
  std::map<std::string, CopybookEditor> editors_;
  std::set<const Field*> owners_;   // whose usage clauses were changed
  std::set<const Field*> fillers_;  // before which a FILLER was added
};

int ExplodedCopybook::Write() {
  main_ = !opt.copyfile.empty() ? table_.files().front()
                                : table_.files().at(table_.First()->source.entry.begin.file);
  if (EditorOf(main_) == nullptr) return 0;  // without a change there is a copy all the same
  for (const Field* field = table_.First(); field != nullptr; field = field->next)
    if (Change(*field) == 0) return 0;
  for (const RecordDescription& record : table_.records()) {
    std::int64_t at = 0;
    if (record.first != nullptr && !record.first->IsStandalone() &&
        DescribePlaces(record.first, at) == 0)
      return 0;
  }
  if (Check() == 0) return 0;
  for (const auto& [name, editor] : editors_) {
    if (WriteFile(name, editor) == 0) return 0;
    if (name != main_)
      PrintOutput("Copybook '%s' copies '%s', which became '%s.EXP'.\n", main_.c_str(),
                  name.c_str(), name.c_str());
  }
  return 1;
}

CopybookEditor* ExplodedCopybook::EditorOf(const std::string& name) {
  const auto [entry, is_new] = editors_.try_emplace(name);
  const bool is_grammar = name == opt.optFileName;
  if (!is_new ||
      entry->second.Read(name, is_grammar ? &table_.First()->source.entry.begin : nullptr))
    return &entry->second;
  PrintError("Cannot open copybook for input.\n");
  return nullptr;
}

// ---- clauses

int ExplodedCopybook::Change(const Field& field) {
  const FieldChange* const change = shape_.ChangeOf(field);
  const bool is_aligned = field.source.sync.begin.line != 0 && field.usage != '1';
  if (change == nullptr && !is_aligned && !IsBitText(field)) return 1;
  CopybookEditor* const editor = EditorOf(field);
  if (editor == nullptr) return 0;
  if (is_aligned) editor->Replace(field.source.sync, "");
  if (IsBitText(field)) {
    editor->Replace(field.source.picture, "X(" + std::to_string(field.digits) + ")");
    if (field.source.usage.begin.line != 0) editor->Replace(field.source.usage, "");
  }
  return change == nullptr ? 1 : ChangeClauses(field, *change, *editor);
}

int ExplodedCopybook::ChangeClauses(const Field& field, const FieldChange& change,
                                    CopybookEditor& editor) {
  if (change.explodes() && field.IsPacked() && ChangeUsage(*UsageOwner(field)) == 0) return 0;
  if (change.explodes() && field.is_signed && (opt.sw_expLeading != 0 || opt.sw_expTrailing != 0)) {
    if (field.source.sign.begin.line != 0) editor.Replace(field.source.sign, "");
    editor.AddClause(field.source.entry,
                     opt.sw_expLeading != 0 ? "SIGN LEADING SEPARATE" : "SIGN TRAILING SEPARATE");
  }
  if (!change.is_date() || field.IsGroup()) return 1;  // of a group, the member with the year does
  const bool is_binary = change.date.is_number && field.usage == 'B';
  if (is_binary || change.explodes() || change.width != static_cast<std::size_t>(field.aux_length))
    editor.Replace(field.source.picture, WidenedPicture(field, change));
  return 1;
}

// A usage clause may serve fields that stay packed: each of them then gets one of its own.
int ExplodedCopybook::ChangeUsage(const Field& owner) {
  if (!owners_.insert(&owner).second) return 1;
  CopybookEditor* const editor = EditorOf(owner);
  if (editor == nullptr) return 0;
  std::vector<const Field*> packed;
  const Field* const end = NextOutside(owner);
  for (const Field* field = &owner; field != end; field = field->next) {
    const FieldChange* const change = shape_.ChangeOf(*field);
    const bool stays = change == nullptr || !change->explodes();
    if (field->IsPacked() && UsageOwner(*field) == &owner && stays) packed.push_back(field);
  }
  std::string words = editor->TextOf(owner.source.usage);
  if (words.empty())  // its clause breaks over two lines
    words = owner.kind == copybook::Usage::kPackedNoSign ? "COMP-6" : "COMP-3";
  editor->Replace(owner.source.usage, packed.empty() ? "DISPLAY" : "");
  for (const Field* field : packed) {
    CopybookEditor* const own = EditorOf(*field);
    if (own == nullptr) return 0;
    own->AddClause(field->source.entry, words);
  }
  return 1;
}

// ---- entries

// What stands behind the last member is described in front of the next field, behind the conditions
// of the member; where no field follows, behind a member without conditions.
int ExplodedCopybook::DescribeMembers(const Field& group) {
  const GrownPlace& place = shape_.PlaceOf(group);
  std::int64_t at = place.offset;
  if (DescribePlaces(group.first_child, at) == 0) return 0;
  const std::int64_t gap = place.offset + place.length - at;
  if (gap <= 0) return 1;
  const int level = group.first_child->level;
  if (const Field* const next = NextOutside(group); next != nullptr)
    return AddFiller(*next, level, Characters(gap));
  const Field* last = &group;
  while (last->next != nullptr) last = last->next;
  return last->conditions.empty() ? AddFillerAt(last->source.entry.end, level, Characters(gap)) : 1;
}

// Members of a group from `at` on, which becomes their end: what no entry describes gets one.
int ExplodedCopybook::DescribePlaces(const Field* first, std::int64_t& at) {
  for (const Field* base = first; base != nullptr; base = NextBase(*base)) {
    const std::int64_t gap = shape_.PlaceOf(*base).offset - at;
    if (gap > 0 && AddFiller(*base, base->level, Characters(gap)) == 0) return 0;
    if (DescribeLayouts(*base) == 0) return 0;
    at = shape_.PlaceOf(*base).offset + shape_.ExtentOf(*base).after;
  }
  return 1;
}

int ExplodedCopybook::DescribeLayouts(const Field& base) {
  const std::int64_t size = shape_.ExtentOf(base).after;
  std::int64_t described = 0;
  const Field* const end = NextBase(base);
  for (const Field* field = &base; field != end; field = field->next_sibling) {
    const GrownPlace& place = shape_.PlaceOf(*field);
    described = std::max(described, place.length * field->occurs.max);
    if (field->IsGroup() && DescribeMembers(*field) == 0) return 0;
  }
  if (described >= size || base.next_sibling == end) return 1;
  return AddFiller(*base.next_sibling, base.level,
                   "REDEFINES " + base.name + " " + Characters(size));
}

int ExplodedCopybook::AddFiller(const Field& before, int level, const std::string& clauses) {
  fillers_.insert(&before);
  return AddFillerAt(before.source.entry.begin, level, clauses);
}

int ExplodedCopybook::AddFillerAt(const copybook::Place& place, int level,
                                  const std::string& clauses) {
  CopybookEditor* const editor = EditorOf(table_.files().at(place.file));
  if (editor == nullptr) return 0;
  constexpr int kTwoDigits = 10;
  editor->AddEntry(
      place, (level < kTwoDigits ? "0" : "") + std::to_string(level) + " FILLER " + clauses + ".");
  return 1;
}

// ---- the check

// Compiles what will be written and holds it against the records.
int ExplodedCopybook::Check() {
  for (const auto& [name, editor] : editors_) {
    if (editor.FindConflict() == 0) continue;
    PrintError("Line %u of '%s' would have to change in two ways for '%s.EXP'.\n",
               editor.FindConflict(), name.c_str(), name.c_str());
    return 0;
  }
  std::string first_error;
  copybook::Diagnostics diagnostics([&first_error](const copybook::Diagnostic& found) {
    if (found.severity == copybook::Severity::kError && first_error.empty())
      first_error = found.Text();
  });
  copybook::Lexer lexer([this](std::string& path, std::string& text) { return Open(path, text); },
                        diagnostics);
  SymbolTable compiled;
  copybook::Compiler compiler(lexer, compiled, diagnostics, copybook::Settings{});
  if (!lexer.InitLex(main_, copybook::Reading::kCopybook) || !compiler.CompileFile()) {
    PrintError("'%s.EXP' would not compile: %s\n", main_.c_str(), first_error.c_str());
    return 0;
  }
  const Field* const different = FindDifference(compiled);
  if (different == nullptr) return 1;
  const GrownPlace place = shape_.PlaceOf(*different);
  PrintError(
      "'%s.EXP' would not describe the new records, in which '%s' has %ld bytes at offset %ld.\n",
      main_.c_str(), different->filler ? "FILLER" : different->name.c_str(), place.length,
      place.offset);
  return 0;
}

// The first field that the compiled copybook describes in another way, a group only when all others
// are right; null: there is none.
const Field* ExplodedCopybook::FindDifference(const SymbolTable& compiled) const {
  const Field* found = compiled.First();
  const Field* group = nullptr;
  for (const Field* field = table_.First(); field != nullptr; field = field->next) {
    if (fillers_.count(field) != 0 && found != nullptr) found = found->next;
    if (found == nullptr) return field;
    const bool differs = field->IsInRecord() && !Describes(*found, *field);
    if (differs && !field->IsGroup()) return field;
    if (differs && group == nullptr) group = field;
    found = found->next;
  }
  return group;
}

bool ExplodedCopybook::Describes(const Field& compiled, const Field& field) const {
  const FieldChange* const change = shape_.ChangeOf(field);
  const char usage = change != nullptr && change->explodes() ? 'D'
                     : IsBitText(field)                      ? 'C'
                                                             : field.usage;
  const GrownPlace& place = shape_.PlaceOf(field);
  return compiled.usage == usage && compiled.offset == place.offset &&
         compiled.length == place.length && compiled.occurs.max == field.occurs.max;
}

bool ExplodedCopybook::Open(std::string& path, std::string& text) const {
  if (!OpenCopybook(path, text)) return false;
  if (const auto found = editors_.find(path); found != editors_.end())
    text = TextOf(path, found->second);
  return true;
}

// Of a grammar file only the lines of the copybook.
std::string ExplodedCopybook::TextOf(const std::string& name, const CopybookEditor& editor) const {
  if (name != opt.optFileName) return editor.Text();
  std::uint32_t last = 0;
  for (const Field* field = table_.First(); field != nullptr; field = field->next) {
    const copybook::Place& end = field->source.entry.end;
    if (table_.files().at(end.file) == name) last = std::max(last, end.line);
    for (const copybook::Condition& condition : field->conditions)
      if (condition.place.file == end.file) last = std::max(last, condition.place.line);
  }
  return editor.Text(table_.First()->source.entry.begin.line, last);
}

int ExplodedCopybook::WriteFile(const std::string& name, const CopybookEditor& editor) const {
  std::ofstream file(name + ".EXP", std::ios::binary);
  file << TextOf(name, editor);
  file.flush();
  if (file) return 1;
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
