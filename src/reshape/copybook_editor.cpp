#include "reshape/copybook_editor.h"

#include <algorithm>
#include <fstream>

namespace tolvane {
namespace {

constexpr std::size_t kTextBegin = 7, kTextEnd = 72;  // of columns counted from 0
constexpr std::size_t kIndicator = 6;
const std::string kMargin(11, ' ');  // of lines that are added

bool IsComment(const std::string& line) {
  return line.size() > kIndicator && (line[kIndicator] == '*' || line[kIndicator] == '/');
}

bool IsBlank(const std::string& text) { return text.find_first_not_of(' ') == std::string::npos; }

// The last blank outside of a literal that leaves no more than a line before it; 0: there is none.
std::size_t BreakOf(const std::string& text) {
  std::size_t last = 0;
  char quote = 0;
  for (std::size_t i = kMargin.size(); i <= kTextEnd && i < text.size(); ++i) {
    if (quote == 0 && (text[i] == '\'' || text[i] == '"')) {
      quote = text[i];
    } else if (text[i] == quote) {
      quote = 0;
    } else if (quote == 0 && text[i] == ' ') {
      last = i;
    }
  }
  return last;
}

// Appends text as a line, or as several where it has become too long for one.
void AddLines(std::string text, std::vector<std::string>& lines) {
  for (;;) {
    text.erase(text.find_last_not_of(' ') + 1);
    const std::size_t at = text.size() > kTextEnd ? BreakOf(text) : 0;
    const std::size_t next = at == 0 ? std::string::npos : text.find_first_not_of(' ', at);
    if (next == std::string::npos) break;
    lines.push_back(text.substr(0, at));
    text.replace(0, next, kMargin);
  }
  lines.push_back(std::move(text));
}

}  // namespace

bool CopybookEditor::Read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  for (std::string line; std::getline(file, line);) lines_.push_back(line);
  return true;
}

std::size_t CopybookEditor::TextEnd(std::uint32_t line) const {
  return std::min(lines_.at(line - 1).size(), kTextEnd);
}

std::string CopybookEditor::TextOf(const copybook::Span& clause) const {
  if (clause.begin.line != clause.end.line) return {};
  return lines_.at(clause.begin.line - 1)
      .substr(clause.begin.column - 1, clause.end.column - clause.begin.column);
}

void CopybookEditor::Replace(const copybook::Span& clause, const std::string& words) {
  for (std::uint32_t line = clause.begin.line; line <= clause.end.line; ++line) {
    const bool is_first = line == clause.begin.line;
    if (!is_first && IsComment(lines_.at(line - 1))) continue;
    const std::size_t begin = is_first ? clause.begin.column - 1 : kTextBegin;
    const std::size_t end = line == clause.end.line ? clause.end.column - 1 : TextEnd(line);
    if (end <= begin) continue;
    std::string text = is_first ? words : "";
    if (text.size() < end - begin) text.resize(end - begin, ' ');
    edits_[line].emplace(begin, Edit{end, std::move(text), false});
  }
}

void CopybookEditor::AddClause(const copybook::Span& entry, const std::string& clause) {
  const std::size_t stop = entry.end.column - 2;
  edits_[entry.end.line].emplace(stop, Edit{stop + 1, clause + ".", true});
}

// What stands behind an added clause goes on a line of its own again.
std::string CopybookEditor::Edited(const std::string& line, const Edits& edits) const {
  const std::string text = line.substr(0, kTextEnd);
  std::vector<std::string> lines;
  std::string current;
  std::size_t at = 0;
  for (const auto& [begin, edit] : edits) {
    if (begin < at) continue;
    current += text.substr(at, begin - at);
    at = std::min(edit.end, text.size());
    if (edit.is_clause) {
      AddLines(std::move(current), lines);
      AddLines(kMargin + edit.text, lines);
      at = std::min(text.find_first_not_of(' ', at), text.size());
      current = kMargin;
    } else {
      current += edit.text;
    }
  }
  current += text.substr(at);
  if (lines.empty() || !IsBlank(current)) AddLines(std::move(current), lines);
  if (line.size() > kTextEnd) {
    lines.front().resize(std::max(lines.front().size(), kTextEnd), ' ');
    lines.front() += line.substr(kTextEnd);
  }
  std::string all = lines.front();
  for (std::size_t i = 1; i < lines.size(); ++i) all += "\n" + lines[i];
  return all;
}

bool CopybookEditor::Write(const std::string& path, std::uint32_t first, std::uint32_t last) const {
  std::ofstream file(path, std::ios::binary);
  const auto end = static_cast<std::uint32_t>(lines_.size());
  for (std::uint32_t line = first; line <= (last == 0 ? end : std::min(last, end)); ++line) {
    const auto found = edits_.find(line);
    const std::string& text = lines_[line - 1];
    file << (found == edits_.end() ? text : Edited(text, found->second)) << '\n';
  }
  file.flush();
  return static_cast<bool>(file);
}

}  // namespace tolvane
