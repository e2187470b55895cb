#include "platform/interrupt.h"

#include <csignal>
#include <iterator>

namespace tolvane {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t pending = 0;
struct sigaction before[std::size(kSignals)];

// The next signal of any of them ends the process.
void Remember(int signal) {
  pending = signal;
  for (const int other : kSignals) std::signal(other, SIG_DFL);
}

}  // namespace

InterruptScope::InterruptScope() {
  struct sigaction action {};
  action.sa_handler = Remember;
  // No SA_RESTART: a read that waits must end.
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    sigaction(kSignals[i], nullptr, &before[i]);
    if (before[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &action, nullptr);
  }
}

InterruptScope::~InterruptScope() {
  for (std::size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &before[i], nullptr);
}

int InterruptScope::Pending() { return pending; }

void DieOfPendingSignal() {
  if (pending == 0) return;
  std::signal(pending, SIG_DFL);
  std::raise(pending);
}

}  // namespace tolvane
