// Runs a program as a user would: arguments, typed answers, environment, a time limit.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tolvane::test {

// The exit status of a refused command line or grammar file: -1 as the shell sees it.
inline constexpr int kRejected = 255;

struct ProgramResult {
  std::string out;  // standard output
  std::string err;  // standard error
  int status = 0;   // exit status; 128 + the signal's number when a signal ended it
  bool timed_out = false;
};

struct ProgramRun {
  std::vector<std::string> arguments{};
  std::string typed{};  // what stands on standard input, then end of input
  std::map<std::string, std::string> environment{};  // added to a bare one (PATH, LANG=C, TZ=UTC)
  std::string directory{};                           // working directory; empty: the test's
  bool closed_input = false;                         // standard input closed altogether
  std::chrono::seconds limit{60};
};

[[nodiscard]] ProgramResult RunProgram(const std::string& program, const ProgramRun& run);

// The program under test, `tolvane`; `directory` is where it runs.
[[nodiscard]] ProgramResult RunTolvane(const std::string& directory,
                                       std::vector<std::string> arguments,
                                       const std::string& typed = "");

// Whether a text that a program has written holds another one.
[[nodiscard]] inline bool Has(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// The path of a program that was built beside the tests.
[[nodiscard]] std::string BuiltProgram(const std::string& name);

}  // namespace tolvane::test
