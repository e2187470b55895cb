#include "copybook/source_lines.h"

#include <algorithm>

#include "copybook/words.h"

namespace tolvane::copybook {
namespace {

constexpr std::size_t kTab = 8;
constexpr std::size_t kCardEnd = 80;
constexpr char kEndOfText = 0x1A;

// What one line says about the format of the whole.
enum class Vote { kNone, kFixed, kFree };

std::string_view SkipBlanks(std::string_view text) {
  const auto first = std::find_if_not(text.begin(), text.end(), IsBlank);
  return text.substr(static_cast<std::size_t>(first - text.begin()));
}

// The first word of a text, cut off from it.
std::string_view TakeWord(std::string_view& text) {
  text = SkipBlanks(text);
  const auto end = std::find_if(text.begin(), text.end(), IsBlank);
  const auto word = text.substr(0, static_cast<std::size_t>(end - text.begin()));
  text.remove_prefix(word.size());
  return word;
}

// One or two digits and a blank or a full stop: what an entry begins with.
bool BeginsWithLevel(std::string_view text) {
  const std::string_view word = TakeWord(text);
  const auto digits =
      static_cast<std::size_t>(std::find_if_not(word.begin(), word.end(), IsDigit) - word.begin());
  return (digits == 1 || digits == 2) && (digits == word.size() || word[digits] == '.');
}

Vote VoteWithoutSequence(const SourceLine& line, char indicator) {
  const char after = line.bytes.substr(line.ByteAtColumn(kTextColumn)).empty()
                         ? ' '
                         : line.bytes[line.ByteAtColumn(kTextColumn)];
  switch (indicator) {
    case ' ':
      return Vote::kNone;
    case '*':
      return after == '>' ? Vote::kNone : Vote::kFixed;
    case '/':
    case '-':
    case '$':
      return Vote::kFixed;
    case 'D':
    case 'd':
      return IsBlank(after) ? Vote::kFixed : Vote::kFree;
    default:
      return Vote::kFree;
  }
}

Vote VoteOf(const SourceLine& line, Reading reading) {
  if (line.bytes.empty() || line.bytes.front() == '*') return Vote::kNone;
  char margin[kTextColumn];
  line.Margin(margin);
  const char indicator = margin[kIndicatorColumn];
  const auto filled = kIndicatorColumn -
                      static_cast<std::size_t>(std::count(margin, margin + kIndicatorColumn, ' '));
  if (filled == 0) return VoteWithoutSequence(line, indicator);
  if (std::string_view(" */-Dd$").find(indicator) == std::string_view::npos) return Vote::kFree;
  const bool digits = std::any_of(margin, margin + kIndicatorColumn, IsDigit);
  if (filled == kIndicatorColumn) {
    if (digits) return Vote::kFixed;
    // Six letters may be a word of free format: FILLER, OCCURS.
    return indicator == ' ' ? Vote::kNone : Vote::kFixed;
  }
  // A short sequence number or a change mark, if an entry begins after it. Inside a grammar file it
  // must be one word with a digit: SKIP 1 and KEY1 0 1 are statements.
  const bool entry = BeginsWithLevel(line.bytes.substr(line.ByteAtColumn(kTextColumn)));
  std::string_view area(margin, kIndicatorColumn);
  TakeWord(area);
  const bool mark = reading != Reading::kInline || (digits && SkipBlanks(area).empty());
  return entry && mark && indicator == ' ' ? Vote::kFixed : Vote::kFree;
}

// A word that crosses from column 72 to column 73, or text beyond column 80, cannot be text and
// identification.
bool CrossesTextEnd(const SourceLine& line) {
  if (!SkipBlanks(line.bytes.substr(line.ByteAtColumn(kCardEnd))).empty()) return true;
  const std::size_t at = line.ByteAtColumn(kTextEnd);
  return at < line.bytes.size() && !IsBlank(line.bytes[at]) && !IsBlank(line.bytes[at - 1]);
}

// The format that a directive names.
bool Directive(const SourceLine& line, Format& format) {
  std::string_view rest = line.bytes;
  std::string_view word = TakeWord(rest);
  if (!word.empty() && IsDigit(word[0])) word = TakeWord(rest);  // after a sequence number
  const std::string directive = ToUpper(word) + ToUpper(rest);
  if (directive.rfind(">>SOURCE", 0) != 0 && directive.rfind("$SET SOURCEFORMAT", 0) != 0)
    return false;
  format = directive.find("FREE") != std::string::npos ? Format::kFree : Format::kFixed;
  return true;
}

// Whether a grammar statement, not a line of the description, begins here.
bool EndsDescription(const SourceLine& line, Reading reading) {
  std::string_view rest = line.bytes;
  if (EqualsIgnoreCase(TakeWord(rest), "ID") && EqualsIgnoreCase(TakeWord(rest), "IS")) return true;
  return reading == Reading::kInline && !line.Blank() && IsLetter(line.bytes.front()) &&
         VoteOf(line, reading) != Vote::kFixed;
}

Format FormatByVotes(const std::vector<SourceLine>& lines, std::size_t count, Reading reading) {
  std::size_t fixed = 0, free = 0;
  bool crosses = false;
  for (std::size_t i = 0; i < count; ++i) {
    Format named = Format::kFree;
    if (lines[i].Blank()) continue;
    if (Directive(lines[i], named)) return named;
    const Vote vote = VoteOf(lines[i], reading);
    fixed += vote == Vote::kFixed ? 1U : 0U;
    free += vote == Vote::kFree ? 1U : 0U;
    crosses = crosses || CrossesTextEnd(lines[i]);
  }
  if (fixed == free) return crosses || free > 0 ? Format::kFree : Format::kFixed;
  return fixed > free ? Format::kFixed : Format::kFree;
}

}  // namespace

std::size_t SourceLine::ByteAtColumn(std::size_t column) const {
  std::size_t at = 0;
  for (std::size_t seen = 0; at < bytes.size() && seen < column; ++at)
    seen = bytes[at] == '\t' ? seen / kTab * kTab + kTab : seen + 1;
  return at;
}

std::size_t SourceLine::Width() const {
  std::size_t seen = 0;
  for (const char c : bytes) seen = c == '\t' ? seen / kTab * kTab + kTab : seen + 1;
  return seen;
}

bool SourceLine::Blank() const { return SkipBlanks(bytes).empty(); }

void SourceLine::Margin(char (&margin)[kTextColumn]) const {
  std::fill(margin, margin + kTextColumn, ' ');
  for (std::size_t i = 0; i < std::min(bytes.size(), kTextColumn) && bytes[i] != '\t'; ++i)
    margin[i] = IsBlank(bytes[i]) ? ' ' : bytes[i];
}

std::vector<SourceLine> SplitLines(std::string_view raw, std::uint32_t first_number) {
  const std::size_t end = raw.find(kEndOfText);
  if (end != std::string_view::npos &&
      raw.find_first_not_of(std::string_view("\x1A\0 \r\n", 5), end) == std::string_view::npos)
    raw = raw.substr(0, end);
  std::vector<SourceLine> lines;
  for (std::uint32_t number = first_number; !raw.empty(); ++number) {
    const std::size_t length = std::min(raw.find('\n'), raw.size());
    std::string_view bytes = raw.substr(0, length);
    if (!bytes.empty() && bytes.back() == '\r') bytes.remove_suffix(1);
    lines.push_back({bytes, number});
    raw.remove_prefix(std::min(length + 1, raw.size()));
  }
  return lines;
}

Judgement JudgeFormat(const std::vector<SourceLine>& lines, Reading reading) {
  if (reading == Reading::kFree) return {Format::kFree, lines.size()};
  const auto end = std::find_if(lines.begin(), lines.end(), [reading](const SourceLine& line) {
    return EndsDescription(line, reading);
  });
  Judgement result;
  result.lines = static_cast<std::size_t>(end - lines.begin());
  result.format = FormatByVotes(lines, result.lines, reading);
  if (reading == Reading::kInline && result.format == Format::kFixed) {
    const auto free = std::find_if(lines.begin(), end, [reading](const SourceLine& line) {
      return !line.Blank() && VoteOf(line, reading) == Vote::kFree;
    });
    result.lines = static_cast<std::size_t>(free - lines.begin());
  }
  return result;
}

}  // namespace tolvane::copybook
