// Command line and help text. Fills the option set; every failure prints its message.
#pragma once

namespace tolvane {

// Resets the option set. A copy of the program whose name has "mbp" as its fifth to seventh
// characters works in MBP mode.
void SetDefaultValues(char** argv);

enum class ParseResult {
  kGoOn,      // options taken over; with -G, those before it
  kHelp,      // the help text was asked for and printed
  kRejected,  // an option was refused, after its message
};

// Takes the options into the option set as they come. The call after one that has met -G goes on
// behind it, so that those options prevail over the grammar file.
[[nodiscard]] ParseResult ParseCommandLine(int argc, char** argv);

// Warns of arguments that parsing did not reach: it stops at the first that is no option.
void WarnOfUnreadArguments(int argc, char** argv);

// The lines that name the program and its version.
void PrintBanner();

// The help text, page by page.
void usage();

}  // namespace tolvane
