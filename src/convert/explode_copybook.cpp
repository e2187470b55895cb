// The copybook of exploded records: the copybook's lines with the clauses changed that must be.

#include <algorithm>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "convert/copybook_source.h"
#include "convert/explode.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "state/options.h"

namespace tolvane {

using copybook::Field;
using copybook::Place;
using copybook::Span;

namespace {

constexpr std::size_t kTextEnd = 72;  // columns behind are no text in fixed format

struct Edit {
  Place at;
  std::size_t length = 0;  // bytes replaced, on one line
  std::string text;
};

// The lines of a file, and what is to be changed in them.
class Editor {
 public:
  bool Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    for (std::string line; std::getline(file, line);) lines_.push_back(line);
    return true;
  }

  // A clause, which may go over several lines: its words make way for one word, where that fits.
  void ReplaceClause(const Span& clause, const std::string& word) {
    for (std::uint32_t line = clause.begin.line; line <= clause.end.line; ++line) {
      const std::size_t begin = line == clause.begin.line ? clause.begin.column - 1 : 0;
      const std::size_t end =
          line == clause.end.line ? clause.end.column - 1 : std::min(Line(line).size(), kTextEnd);
      std::string text = line == clause.begin.line ? word : "";
      const bool fits =
          end - begin >= text.size() || Line(line).size() + text.size() - (end - begin) <= kTextEnd;
      if (!fits) text.clear();
      if (text.size() < end - begin) text.resize(end - begin, ' ');
      edits_.push_back({{0, line, static_cast<std::uint32_t>(begin + 1)}, end - begin, text});
    }
  }
  // Before the full stop that ends an entry.
  void InsertBeforeEnd(const Place& end, const std::string& clause) {
    const std::size_t stop = end.column - 2;
    const std::string& line = Line(end.line);
    const std::size_t text_end = std::max(stop, std::min(line.size(), kTextEnd));
    edits_.push_back({{0, end.line, end.column - 1},
                      text_end - stop,
                      "\n           " + clause + line.substr(stop, text_end - stop)});
  }

  bool Write(const std::string& path) {
    std::stable_sort(edits_.begin(), edits_.end(), [](const Edit& a, const Edit& b) {
      return a.at.line != b.at.line ? a.at.line > b.at.line : a.at.column > b.at.column;
    });
    for (const Edit& edit : edits_)
      lines_[edit.at.line - 1].replace(edit.at.column - 1, edit.length, edit.text);
    std::ofstream file(path, std::ios::binary);
    for (const std::string& line : lines_) file << line << '\n';
    file.flush();
    return static_cast<bool>(file);
  }

 private:
  const std::string& Line(std::uint32_t line) const { return lines_.at(line - 1); }
  std::vector<std::string> lines_;
  std::vector<Edit> edits_;
};

// The usage clause that makes a field packed: its own, or that of a group above it.
const Field* UsageOwner(const Field& field) {
  const Field* owner = &field;
  while (owner != nullptr && owner->source.usage.begin.line == 0) owner = owner->parent;
  return owner;
}

class ExplodedCopybook {
 public:
  int Write(const copybook::SymbolTable& table) {
    for (const Field* field = table.First(); field != nullptr; field = field->next)
      if (Explode(*field, table) == 0) return 0;
    // Without a change there is a copy all the same.
    if (editors_.empty() && EditorOf(table.First()->source.entry.begin, table) == nullptr) return 0;
    for (auto& [name, editor] : editors_) {
      if (editor.Write(name + ".EXP")) continue;
      PrintError("Cannot open copybook for output.\n");
      return 0;
    }
    return 1;
  }

 private:
  Editor* EditorOf(const Place& place, const copybook::SymbolTable& table) {
    const std::string& name = table.files().at(place.file);
    const auto [entry, is_new] = editors_.try_emplace(name);
    if (!is_new || entry->second.Read(name)) return &entry->second;
    PrintError("Cannot open copybook for input.\n");
    return nullptr;
  }

  int Explode(const Field& field, const copybook::SymbolTable& table) {
    const bool packed = field.usage == 'P' || field.usage == 'S';
    const bool signs = field.is_signed && !field.sign_separate && (packed || field.usage == 'D') &&
                       (opt.sw_expLeading != 0 || opt.sw_expTrailing != 0);
    if (field.filler || (!packed && !signs)) return 1;
    Editor* const editor = EditorOf(field.source.entry.begin, table);
    if (editor == nullptr) return 0;
    const Field* const owner = packed ? UsageOwner(field) : nullptr;
    if (owner != nullptr && std::find(done_.begin(), done_.end(), owner) == done_.end()) {
      done_.push_back(owner);
      editor->ReplaceClause(owner->source.usage, "DISPLAY");
    }
    if (!signs) return 1;
    if (field.source.sign.begin.line != 0) editor->ReplaceClause(field.source.sign, "");
    editor->InsertBeforeEnd(field.source.entry.end, opt.sw_expLeading != 0
                                                        ? "SIGN LEADING SEPARATE"
                                                        : "SIGN TRAILING SEPARATE");
    return 1;
  }

  std::map<std::string, Editor> editors_;
  std::vector<const Field*> done_;  // fields whose usage clause was replaced
};

}  // namespace

int writeExpCopybook() {
  TRACE_FRAME();
  if (copybooks.csid == nullptr || copybooks.csid->First() == nullptr) {
    PrintError("Cannot find copybook.\n");
    return 0;
  }
  return ExplodedCopybook().Write(*copybooks.csid);
}

}  // namespace tolvane
