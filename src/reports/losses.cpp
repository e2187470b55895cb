#include "reports/losses.h"

#include "platform/console.h"

namespace tolvane {

bool Losses::Lose(std::int64_t number) {
  ++count_;
  last_ = number;
  if (first_ != 0) return false;
  first_ = number;
  PrintError(after_loss_ == AfterLoss::kStop
                 ? "%s %ld could not be written; nothing is written behind it.\n"
                 : "%s %ld could not be written; the run goes on with the next one.\n",
             noun_, number);
  return true;
}

void Losses::TellRun() {
  if (last_ > first_) PrintError("%ss %ld to %ld could not be written.\n", noun_, first_, last_);
  first_ = last_ = 0;
}

}  // namespace tolvane
