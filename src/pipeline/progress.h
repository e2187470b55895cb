// What restore and backup say in the same words while records flow and at the end.
#pragma once

#include <cstdint>

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

}  // namespace tolvane
