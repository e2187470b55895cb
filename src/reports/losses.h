// Units of an output that could not be written, records or blocks: the first of each run of them is
// told when it is lost, the others by the numbers of the whole run when it is over.
#pragma once

#include <cstdint>

namespace tolvane {

// Whether the units behind a loss are tried.
enum class AfterLoss { kGoOn, kStop };

class Losses {
 public:
  // `noun` names a unit in messages: "Record", "Block".
  explicit Losses(const char* noun, AfterLoss after_loss = AfterLoss::kGoOn)
      : noun_(noun), after_loss_(after_loss) {}

  // The unit with this number, counted from 1, is lost. True when it begins a run: the caller tells
  // why.
  bool Lose(std::int64_t number);
  // Another unit was written, or the end came.
  void EndRun() {
    if (first_ != 0) [[unlikely]]
      TellRun();
  }
  // Whether what is still to come is lost as well.
  [[nodiscard]] bool are_final() const { return count_ > 0 && after_loss_ == AfterLoss::kStop; }
  // How many were lost.
  [[nodiscard]] std::int64_t count() const { return count_; }

 private:
  void TellRun();

  const char* noun_;
  AfterLoss after_loss_;
  std::int64_t first_ = 0, last_ = 0;  // of the run; 0: there is none
  std::int64_t count_ = 0;
};

}  // namespace tolvane
