#include "platform/console.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>

namespace tolvane {

void (*before_message)() = nullptr;

namespace {

void Settle() {
  if (before_message != nullptr) before_message();
}

[[gnu::format(printf, 3, 0)]] void Write(std::FILE* stream, const char* prefix, const char* format,
                                         va_list values) {
  Settle();
  std::fputs(prefix, stream);
  std::vfprintf(stream, format, values);
  std::fflush(stream);
}

bool IsBlankOrControl(char c) {
  const auto u = static_cast<unsigned char>(c);
  return u == ' ' || std::iscntrl(u) != 0;
}

}  // namespace

void PrintOutput(const char* format, ...) {
  va_list values;
  va_start(values, format);
  Write(stdout, "", format, values);
  va_end(values);
}

void PrintWarning(const char* format, ...) {
  va_list values;
  va_start(values, format);
  Write(stderr, "\nWARNING: ", format, values);
  va_end(values);
}

void PrintError(const char* format, ...) {
  va_list values;
  va_start(values, format);
  VPrintError(format, values);
  va_end(values);
}

void VPrintError(const char* format, va_list values) { Write(stderr, "\nERROR: ", format, values); }

void PrintPlainError(const char* format, ...) {
  va_list values;
  va_start(values, format);
  Write(stderr, "", format, values);
  va_end(values);
}

char* GetInput(char* buffer) {
  Settle();
  int length = 0, dropped = 0, c = 0;
  while (c != '\n' && (c = std::getchar()) != EOF) {
    if (length < kInputSize - 1) {
      buffer[length++] = static_cast<char>(c);
    } else if (c != '\n') {
      ++dropped;
    }
  }
  if (length == 0) return nullptr;
  buffer[length] = '\0';
  if (dropped > 0)
    PrintWarning("The line is too long; only its first %d characters count.\n", kInputSize - 1);
  return buffer;
}

std::int32_t GetNumberFromStdin() {
  char line[kInputSize];
  while (GetInput(line) != nullptr) {
    if (line[0] == 'q' || line[0] == 'Q') return -1;
    if (line[0] == '\0' || IsBlankOrControl(line[0])) continue;
    std::int64_t value = 0;
    const char* c = line;
    for (; *c >= '0' && *c <= '9' && value <= std::numeric_limits<std::int32_t>::max(); ++c)
      value = value * 10 + (*c - '0');
    if ((*c == '\0' || IsBlankOrControl(*c)) && value <= std::numeric_limits<std::int32_t>::max())
      return static_cast<std::int32_t>(value);
    PrintError("Invalid number entered. Please enter a valid number or q to quit.\n");
  }
  return -1;
}

std::string Ask(const Question& question, bool automatic) {
  PrintOutput("%s", question.text);
  if (automatic) {
    PrintOutput("%s", question.automatic_line);
    return question.automatic_answer;
  }
  char line[kInputSize];
  if (GetInput(line) == nullptr) return question.quit_answer;
  line[std::strcspn(line, "\n")] = '\0';
  return line;
}

bool AskToContinue(const char* question, bool automatic) {
  const std::string answer =
      Ask({question, "\nAuto answer assuming Yes. Processing continues.\n", "Y", "N"}, automatic);
  return !Answers(answer, 'n');
}

bool Answers(const std::string& answer, char letter) {
  return !answer.empty() && std::tolower(static_cast<unsigned char>(answer[0])) == letter;
}

}  // namespace tolvane
