#include "copybook/words.h"

#include <algorithm>
#include <array>

namespace tolvane::copybook {
namespace {

char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

struct UsageWord {
  std::string_view word;
  Usage usage;
};
constexpr std::array kUsageWords{
    UsageWord{"DISPLAY", Usage::kDisplay},
    UsageWord{"COMP", Usage::kBinary},
    UsageWord{"COMP-1", Usage::kFloat},
    UsageWord{"COMP-2", Usage::kDouble},
    UsageWord{"COMP-3", Usage::kPacked},
    UsageWord{"COMP-4", Usage::kBinary},
    UsageWord{"COMP-5", Usage::kNative},
    UsageWord{"COMP-6", Usage::kPackedNoSign},
    UsageWord{"COMP-X", Usage::kCompX},
    UsageWord{"BINARY", Usage::kBinary},
    UsageWord{"PACKED-DECIMAL", Usage::kPacked},
    UsageWord{"INDEX", Usage::kIndex},
    UsageWord{"POINTER", Usage::kPointer},
    UsageWord{"FUNCTION-POINTER", Usage::kPointer},
    UsageWord{"PROCEDURE-POINTER", Usage::kProcedurePointer},
    UsageWord{"BIT", Usage::kBit},
    UsageWord{"NATIONAL", Usage::kNational},
    UsageWord{"DISPLAY-1", Usage::kNational},
};

struct FigurativeWord {
  std::string_view word;
  std::string_view character;
};
constexpr std::array kFigurativeWords{
    FigurativeWord{"SPACE", " "},
    FigurativeWord{"SPACES", " "},
    FigurativeWord{"ZERO", "0"},
    FigurativeWord{"ZEROS", "0"},
    FigurativeWord{"ZEROES", "0"},
    FigurativeWord{"HIGH-VALUE", "\xFF"},
    FigurativeWord{"HIGH-VALUES", "\xFF"},
    FigurativeWord{"LOW-VALUE", std::string_view("\0", 1)},
    FigurativeWord{"LOW-VALUES", std::string_view("\0", 1)},
    FigurativeWord{"NULL", std::string_view("\0", 1)},
    FigurativeWord{"NULLS", std::string_view("\0", 1)},
    FigurativeWord{"QUOTE", "\""},
    FigurativeWord{"QUOTES", "\""},
};

constexpr std::array kIgnored{
    IgnoredStatement{"EJECT", "", StatementEnd::kWord},
    IgnoredStatement{"SKIP1", "", StatementEnd::kWord},
    IgnoredStatement{"SKIP2", "", StatementEnd::kWord},
    IgnoredStatement{"SKIP3", "", StatementEnd::kWord},
    IgnoredStatement{"TITLE", "'", StatementEnd::kLine},
    IgnoredStatement{"TITLE", "\"", StatementEnd::kLine},
    IgnoredStatement{"EXEC", "", StatementEnd::kEndExec},
    IgnoredStatement{"EXECUTE", "", StatementEnd::kEndExec},
    IgnoredStatement{"DATA", "DIVISION", StatementEnd::kPeriod},
    IgnoredStatement{"FILE", "SECTION", StatementEnd::kPeriod},
    IgnoredStatement{"WORKING-STORAGE", "SECTION", StatementEnd::kPeriod},
    IgnoredStatement{"LOCAL-STORAGE", "SECTION", StatementEnd::kPeriod},
    IgnoredStatement{"LINKAGE", "SECTION", StatementEnd::kPeriod},
    IgnoredStatement{"FD", "", StatementEnd::kPeriod},
    IgnoredStatement{"SD", "", StatementEnd::kPeriod},
};

constexpr std::array kBad{
    BadWord{"REPLACE", "expected a data description; a REPLACE statement cannot be carried out"},
    BadWord{"IDENTIFICATION", "expected a data description, not a program"},
    BadWord{"ENVIRONMENT", "expected a data description, not a program"},
    BadWord{"PROCEDURE", "expected a data description, not a program"},
};

}  // namespace

const std::span<const IgnoredStatement> kIgnorePrecobWords = kIgnored;
const std::span<const BadWord> kIgnoreBadWords = kBad;

std::string ToUpper(std::string_view text) {
  std::string upper(text);
  std::transform(upper.begin(), upper.end(), upper.begin(), Upper);
  return upper;
}

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return Upper(x) == Upper(y); });
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return Upper(c) >= 'A' && Upper(c) <= 'Z'; }
bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsWordCharacter(char c) {
  return IsLetter(c) || IsDigit(c) || c == '-' || c == '_' || c == '#' || c == '@' || c == '$';
}

Usage UsageOfWord(std::string_view word) {
  constexpr std::string_view kLong = "COMPUTATIONAL";
  const std::string shorter = EqualsIgnoreCase(word.substr(0, kLong.size()), kLong)
                                  ? "COMP" + std::string(word.substr(kLong.size()))
                                  : std::string(word);
  for (const auto& row : kUsageWords)
    if (EqualsIgnoreCase(row.word, shorter)) return row.usage;
  return Usage::kNone;
}

std::string_view FigurativeConstant(std::string_view word) {
  for (const auto& row : kFigurativeWords)
    if (EqualsIgnoreCase(row.word, word)) return row.character;
  return {};
}

}  // namespace tolvane::copybook
