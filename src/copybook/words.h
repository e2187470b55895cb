// The words of the data division as data: comparison without regard to case, the usage words, the
// figurative constants, and the two lists that tell what surrounds a data description: statements
// that are passed over (`kIgnorePrecobWords`) and words that make it unreadable
// (`kIgnoreBadWords`).
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tolvane::copybook {

[[nodiscard]] std::string ToUpper(std::string_view text);
[[nodiscard]] bool EqualsIgnoreCase(std::string_view a, std::string_view b);

// Characters of COBOL words; '#', '@', '$' and '_' are used by several mainframe compilers.
[[nodiscard]] bool IsWordCharacter(char c);
[[nodiscard]] bool IsDigit(char c);
[[nodiscard]] bool IsLetter(char c);
[[nodiscard]] bool IsBlank(char c);  // blank, tab, line end, form feed

// The USAGE clause of an item.
enum class Usage : unsigned char {
  kNone,  // no clause, at the item or above it
  kDisplay,
  kBinary,  // COMP, COMP-4, BINARY
  kNative,  // COMP-5
  kCompX,
  kFloat,         // COMP-1
  kDouble,        // COMP-2
  kPacked,        // COMP-3, PACKED-DECIMAL
  kPackedNoSign,  // COMP-6
  kIndex,
  kPointer,
  kProcedurePointer,
  kBit,
  kNational,  // NATIONAL, DISPLAY-1
};
inline constexpr int kUsages = static_cast<int>(Usage::kNational) + 1;

// kNone when `word` is no usage word.
[[nodiscard]] Usage UsageOfWord(std::string_view word);

// The character that a figurative constant repeats; 0 bytes long when `word` is none.
[[nodiscard]] std::string_view FigurativeConstant(std::string_view word);

// How a statement that is no data description ends.
enum class StatementEnd {
  kWord,    // the word alone on its line, with or without a full stop
  kLine,    // with its line
  kPeriod,  // with the next full stop
  kEndExec  // with END-EXEC and an optional full stop
};

struct IgnoredStatement {
  std::string_view word;
  std::string_view next;  // must follow for the statement to be meant; empty: anything
  StatementEnd end;
};
extern const std::span<const IgnoredStatement> kIgnorePrecobWords;

// Words that cannot stand where an entry begins, and why.
struct BadWord {
  std::string_view word;
  std::string_view expected;
};
extern const std::span<const BadWord> kIgnoreBadWords;

}  // namespace tolvane::copybook
