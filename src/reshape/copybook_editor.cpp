#include "reshape/copybook_editor.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <limits>
#include <utility>

#include "copybook/source_lines.h"

namespace tolvane {

using copybook::Format;
using copybook::Place;
using copybook::Reading;
using copybook::SourceLine;
using copybook::Span;

namespace {

constexpr std::uint32_t kNever = std::numeric_limits<std::uint32_t>::max();
const std::string kMargin(11, ' ');  // of lines that are added

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(" \t") == std::string_view::npos;
}

std::size_t ByteAtColumn(std::string_view text, std::size_t column) {
  return SourceLine{text}.ByteAtColumn(column);
}

// The last blank outside of a literal that leaves no more than a line before it; 0: there is none.
std::size_t BreakOf(const std::string& text) {
  std::size_t last = 0;
  char quote = 0;
  for (std::size_t i = kMargin.size(); i <= copybook::kTextEnd && i < text.size(); ++i) {
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

void ExpandTabs(std::string& text) {
  for (std::size_t at = text.find('\t'); at != std::string::npos; at = text.find('\t', at))
    text.replace(
        at, 1, std::string(SourceLine{std::string_view(text).substr(0, at + 1)}.Width() - at, ' '));
}

// Appends text as a line, or as several where fixed format has no room for it on one.
void AddLines(std::string text, bool fixed, std::vector<std::string>& lines) {
  text.erase(text.find_last_not_of(" \t") + 1);
  while (fixed && SourceLine{text}.Width() > copybook::kTextEnd) {
    ExpandTabs(text);
    const std::size_t at = BreakOf(text);
    const std::size_t next = at == 0 ? std::string::npos : text.find_first_not_of(' ', at);
    if (next == std::string::npos) break;
    lines.push_back(text.substr(0, at));
    text.replace(0, next, kMargin);
  }
  lines.push_back(std::move(text));
}

}  // namespace

bool CopybookEditor::Read(const std::string& path, const Place* description) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  const std::string raw{std::istreambuf_iterator<char>(file), {}};
  const std::vector<SourceLine> lines = copybook::SplitLines(raw, 1);
  for (const SourceLine& line : lines) {
    const char* const end = line.bytes.data() + line.bytes.size();
    const bool has_return = end < raw.data() + raw.size() && *end == '\r';
    lines_.push_back({std::string(line.bytes), has_return ? "\r\n" : "\n"});
  }
  std::size_t judged = 0;
  if (description != nullptr && description->line <= lines.size()) {
    judged = description->line - 1;
    std::string& first = lines_[judged].text;
    const std::size_t before = std::min<std::size_t>(description->column - 1, first.size());
    if (!IsBlank(std::string_view(first).substr(0, before).substr(
            std::min(copybook::kIndicatorColumn, before)))) {
      first.replace(0, before, before, ' ');  // statements of the grammar
      ++judged;
    }
  }
  const Reading reading = description != nullptr ? Reading::kInline : Reading::kCopybook;
  const auto from = lines.begin() + static_cast<std::ptrdiff_t>(judged);
  const bool fixed = JudgeFormat({from, lines.end()}, reading).format == Format::kFixed;
  fixed_from_ = fixed ? static_cast<std::uint32_t>(judged + 1) : kNever;
  return true;
}

bool CopybookEditor::IsComment(std::uint32_t line) const {
  const std::string& text = TextAt(line);
  const std::size_t at = IsFixed(line) ? ByteAtColumn(text, copybook::kIndicatorColumn)
                                       : std::min(text.find_first_not_of(" \t"), text.size());
  return at < text.size() && (text[at] == '*' || (IsFixed(line) && text[at] == '/'));
}

std::size_t CopybookEditor::TextBegin(std::uint32_t line) const {
  return IsFixed(line) ? ByteAtColumn(TextAt(line), copybook::kTextColumn) : 0;
}

std::size_t CopybookEditor::TextEnd(std::uint32_t line) const {
  return IsFixed(line) ? ByteAtColumn(TextAt(line), copybook::kTextEnd) : TextAt(line).size();
}

std::string CopybookEditor::TextOf(const Span& clause) const {
  if (clause.begin.line != clause.end.line) return {};
  return TextAt(clause.begin.line)
      .substr(clause.begin.column - 1, clause.end.column - clause.begin.column);
}

void CopybookEditor::Put(std::uint32_t line, std::size_t begin, Edit edit) {
  const auto [found, is_new] = edits_[line].try_emplace(begin, edit);
  if (!is_new && !(found->second == edit) && conflict_ == 0) conflict_ = line;
}

void CopybookEditor::Replace(const Span& clause, const std::string& words) {
  for (std::uint32_t line = clause.begin.line; line <= clause.end.line; ++line) {
    const bool is_first = line == clause.begin.line;
    if (!is_first && IsComment(line)) continue;
    const std::size_t begin = is_first ? clause.begin.column - 1 : TextBegin(line);
    const std::size_t end = line == clause.end.line ? clause.end.column - 1 : TextEnd(line);
    if (end <= begin) continue;
    std::string text = is_first ? words : "";
    if (text.size() < end - begin) text.resize(end - begin, ' ');
    Put(line, begin, {end, std::move(text), Kind::kWords});
  }
}

void CopybookEditor::AddClause(const Span& entry, const std::string& clause) {
  const std::size_t stop = entry.end.column - 2;
  Put(entry.end.line, stop, {stop + 1, clause + ".", Kind::kClause});
}

void CopybookEditor::AddEntry(const Place& place, const std::string& entry) {
  const std::size_t begin = place.column - 1;
  Put(place.line, begin, {begin, entry, Kind::kEntry});
}

std::uint32_t CopybookEditor::FindConflict() const {
  if (conflict_ != 0) return conflict_;
  for (const auto& [line, edits] : edits_) {
    std::size_t end = 0;
    for (const auto& [begin, edit] : edits) {
      if (begin < end) return line;
      end = edit.end;
    }
  }
  return 0;
}

// What stands behind an added clause, or behind an added entry and before it, has lines of its own.
// The identification stays with the text that it stood behind.
std::vector<std::string> CopybookEditor::Edited(std::uint32_t number, const Edits& edits) const {
  const bool fixed = IsFixed(number);
  const std::string text = TextAt(number).substr(0, TextEnd(number));
  const std::string behind = TextAt(number).substr(text.size());
  const std::size_t margin = TextBegin(number);
  std::vector<std::string> lines;
  std::size_t own = 0;  // the line that the text begins on
  std::string current;
  std::size_t at = 0;
  for (const auto& [begin, edit] : edits) {
    if (begin > at) current += text.substr(at, begin - at);
    at = std::max(at, std::min(edit.end, text.size()));
    const bool is_begin =
        IsBlank(std::string_view(current).substr(std::min(margin, current.size())));
    if (edit.kind == Kind::kWords) {
      current += edit.text;
    } else if (edit.kind == Kind::kEntry && is_begin) {
      AddLines(kMargin + edit.text, fixed, lines);
      own = lines.size();
    } else {
      if (!is_begin) AddLines(std::exchange(current, kMargin), fixed, lines);
      AddLines(current + edit.text, fixed, lines);
      at = std::min(text.find_first_not_of(" \t", at), text.size());
      current = kMargin;
    }
  }
  current += text.substr(at);
  if (lines.size() == own || !IsBlank(current)) AddLines(std::move(current), fixed, lines);
  if (!behind.empty()) {
    std::string& line = lines.at(own);
    line.append(copybook::kTextEnd - std::min(copybook::kTextEnd, SourceLine{line}.Width()), ' ');
    line += behind;
  }
  return lines;
}

std::string CopybookEditor::Text(std::uint32_t first, std::uint32_t last) const {
  std::string all;
  const auto end = static_cast<std::uint32_t>(lines_.size());
  for (std::uint32_t number = first; number <= (last == 0 ? end : std::min(last, end)); ++number) {
    const Line& line = lines_[number - 1];
    const auto found = edits_.find(number);
    if (found == edits_.end()) {
      all += line.text + line.ending;
    } else {
      for (const std::string& edited : Edited(number, found->second))
        if (!IsBlank(edited)) all += edited + line.ending;
    }
  }
  return all;
}

}  // namespace tolvane
