// All talk with the user: writers of messages, a line reader and a number reader. Questions that
// automatic answers settle are asked through Ask; those for a name or a number end the run then.
//
// Messages carry their own line feeds; the writers add none. A text of any length is written
// whole. At the end of standard input every question takes its quitting answer.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

namespace tolvane {

// Writes to standard output and flushes it at once.
[[gnu::format(printf, 1, 2)]] void PrintOutput(const char* format, ...);
// Writes to the standard error stream, behind "\nWARNING: " and "\nERROR: ".
[[gnu::format(printf, 1, 2)]] void PrintWarning(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void PrintError(const char* format, ...);
[[gnu::format(printf, 1, 0)]] void VPrintError(const char* format, std::va_list values);
// Writes to the standard error stream as it stands.
[[gnu::format(printf, 1, 2)]] void PrintPlainError(const char* format, ...);

// Called before anything is written or read here, so that what a message says of a file is in the
// file first. Null: nothing is called.
extern void (*before_message)();

// The buffer of GetInput holds at least this many characters.
inline constexpr int kInputSize = 80;

// Reads one line from standard input, at most 79 characters and the terminator; the line feed
// stays. The rest of a longer line is dropped, with a warning. Returns `buffer`, or null at the
// end of input, when the buffer is left as it was.
char* GetInput(char* buffer);

// Returns a decimal number that the user typed (up to 2,147,483,647), or -1 when the user quits
// or the input ends. Other words are refused with a message and the line is read again.
[[nodiscard]] std::int32_t GetNumberFromStdin();

// One question: in automatic mode `automatic_line` is printed and `automatic_answer` returned;
// otherwise the answer that was typed, without its line feed, and `quit_answer` at end of input.
struct Question {
  const char* text;
  const char* automatic_line;
  const char* automatic_answer;
  const char* quit_answer;
};
[[nodiscard]] std::string Ask(const Question& question, bool automatic);

// Whether the user wants to go on, which automatic mode does; `question` ends in its prompt.
[[nodiscard]] bool AskToContinue(const char* question, bool automatic);

// True when the answer begins with `letter` (lower case) in either case.
[[nodiscard]] bool Answers(const std::string& answer, char letter);

}  // namespace tolvane
