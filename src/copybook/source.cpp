#include "copybook/source.h"

#include <algorithm>
#include <string>

#include "copybook/source_lines.h"
#include "copybook/words.h"

namespace tolvane::copybook {
namespace {

// Directives that change nothing about the description. Others, such as conditional compilation,
// stay in the text and are reported by the parser.
bool IsIdleDirective(std::string_view text) {
  constexpr std::string_view kIdle[] = {">>SOURCE", ">>PAGE", ">>LISTING", "$SET"};
  const std::string upper = ToUpper(text);
  return std::any_of(std::begin(kIdle), std::end(kIdle),
                     [&](std::string_view word) { return upper.rfind(word, 0) == 0; });
}

std::size_t FirstText(std::string_view bytes, std::size_t from) {
  while (from < bytes.size() && IsBlank(bytes[from])) ++from;
  return from;
}

}  // namespace

// Forms a SourceText line by line.
class SourceForm {
 public:
  SourceForm(SourceText& out, std::uint32_t file) : out_(out), file_(file) {}

  void FreeLine(const SourceLine& line, std::uint32_t first_column) {
    const std::size_t begin = FirstText(line.bytes, 0);
    const std::string_view text = line.bytes.substr(begin);
    if (!text.empty() && text.front() == '*') return;
    if (IsIdleDirective(text)) return;
    EndLine();
    Add(line, first_column, 0, line.bytes.size());
  }

  void FixedLine(const SourceLine& line) {
    const std::size_t indicator_at = line.ByteAtColumn(kIndicatorColumn);
    const std::size_t begin = line.ByteAtColumn(kTextColumn);
    const std::size_t end = line.ByteAtColumn(kTextEnd);
    const bool has_indicator = indicator_at < begin && begin - indicator_at == 1;
    const char indicator = has_indicator ? line.bytes[indicator_at] : ' ';
    if (std::string_view("*/Dd").find(indicator) != std::string_view::npos) return;
    const std::string_view text = line.bytes.substr(FirstText(line.bytes, indicator_at));
    if (IsIdleDirective(text)) return;
    if (indicator == '-') {
      Continue(line, begin, end);
    } else {
      EndLine();
      if (indicator != ' ') Add(line, 1, indicator_at, begin);
      Add(line, 1, begin, std::max(begin, end));
    }
    // An open literal reaches to the end of the text area, whatever the line's own length.
    if (open_ != '\0' && line.Width() < kTextEnd) out_.text_.append(kTextEnd - line.Width(), ' ');
  }

 private:
  void EndLine() {
    if (!out_.text_.empty()) out_.text_ += '\n';
    open_ = '\0';
  }

  // A continuation line goes on where the text before it ended: inside a literal after a repeated
  // quote, else after the last character that is not blank.
  void Continue(const SourceLine& line, std::size_t begin, std::size_t end) {
    std::size_t from = std::min(FirstText(line.bytes, begin), end);
    if (open_ != '\0' && from < end && line.bytes[from] == open_) {
      ++from;
    } else if (open_ != '\0') {
      EndLine();
    } else {
      while (!out_.text_.empty() && IsBlank(out_.text_.back())) out_.text_.pop_back();
      while (!out_.segments_.empty() && out_.segments_.back().offset > out_.text_.size())
        out_.segments_.pop_back();
    }
    Add(line, 1, from, end);
  }

  // Adds bytes of a line up to a comment, and notes whether a literal stays open.
  void Add(const SourceLine& line, std::uint32_t first_column, std::size_t from, std::size_t to) {
    std::size_t at = from;
    for (; at < to; ++at) {
      const char c = line.bytes[at];
      if (open_ != '\0') {
        if (c == open_) open_ = '\0';
      } else if (c == '\'' || c == '"') {
        open_ = c;
      } else if (c == '*' && at + 1 < to && line.bytes[at + 1] == '>') {
        break;
      }
    }
    out_.Append(line.bytes.substr(from, at - from),
                {file_, line.number, first_column + static_cast<std::uint32_t>(from)});
  }

  SourceText& out_;
  std::uint32_t file_;
  char open_ = '\0';  // the quote of a literal that the line before did not close
};

SourceText::SourceText(std::string_view raw, std::size_t begin, const Place& start,
                       Reading reading) {
  std::vector<SourceLine> lines = SplitLines(raw.substr(begin), start.line);
  text_.reserve(raw.size() - begin);
  SourceForm form(*this, start.file);
  if (start.column > 1 && !lines.empty()) {
    form.FreeLine(lines.front(), start.column);
    lines.erase(lines.begin());
  }
  const Judgement judgement = JudgeFormat(lines, reading);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i < judgement.lines && judgement.format == Format::kFixed) {
      form.FixedLine(lines[i]);
    } else {
      form.FreeLine(lines[i], 1);
    }
  }
  if (segments_.empty()) Append({}, start);
}

Place SourceText::PlaceAt(std::size_t offset) const {
  const auto after =
      std::upper_bound(segments_.begin(), segments_.end(), offset,
                       [](std::size_t at, const Segment& segment) { return at < segment.offset; });
  if (after == segments_.begin()) return {};
  const Segment& segment = *(after - 1);
  Place place = segment.place;
  place.column += static_cast<std::uint32_t>(offset - segment.offset);
  return place;
}

void SourceText::Append(std::string_view bytes, const Place& place) {
  segments_.push_back({text_.size(), place});
  text_ += bytes;
}

void SourceText::AppendFrom(const SourceText& other, std::size_t begin, std::size_t end) {
  auto segment = std::upper_bound(other.segments_.begin(), other.segments_.end(), begin,
                                  [](std::size_t at, const Segment& s) { return at < s.offset; });
  while (begin < end) {
    const std::size_t stop =
        segment == other.segments_.end() ? end : std::min(end, segment->offset);
    Append(std::string_view(other.text_).substr(begin, stop - begin), other.PlaceAt(begin));
    begin = stop;
    if (segment != other.segments_.end()) ++segment;
  }
}

}  // namespace tolvane::copybook
