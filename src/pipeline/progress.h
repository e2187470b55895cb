// What restore and backup say in the same words while records flow and at the end.
#pragma once

#include <cstdint>
#include <string>

#include "platform/console.h"
#include "platform/interrupt.h"

namespace tolvane {

// Progress is shown at every so many records.
inline constexpr std::int64_t kProgressStep = 100;
// Stands before and after the totals.
inline constexpr const char* kRule = "------------------------------------------\n";

// One line among the totals when a signal ended the run.
inline void PrintInterruption() {
  if (const int signal = InterruptScope::Pending(); signal != 0)
    PrintOutput("The run was interrupted by signal %d.\n", signal);
}

// At the end of a run that damage has kept from some of its input.
inline void WarnOfUnreadRest(const std::string& input) {
  PrintWarning("Input file '%s' was not read to its end; see the message above.\n", input.c_str());
}

}  // namespace tolvane
