// Orderly ends: SIGINT, SIGTERM and SIGHUP while records flow. The first one is remembered, so
// that the loop can stop between two records, write out what it has and print its totals; the
// process then dies of that signal. Any second one ends it at once.
#pragma once

namespace tolvane {

// While it lives the signals are remembered; one that the process ignores stays ignored.
class InterruptScope {
 public:
  InterruptScope();
  ~InterruptScope();
  InterruptScope(const InterruptScope&) = delete;
  InterruptScope& operator=(const InterruptScope&) = delete;

  // The signal that came; 0 when none did.
  [[nodiscard]] static int Pending();
};

// Ends the process by the signal that came; returns when none did.
void DieOfPendingSignal();

}  // namespace tolvane
