// Puts the table of system calls back when it goes out of scope, so that a test can replace
// members of `sys` with functions of its own.
#pragma once

#include "platform/system_calls.h"

namespace tolvane::test {

class SavedSystem {
 public:
  SavedSystem() : saved_(sys) {}
  ~SavedSystem() { sys = saved_; }
  SavedSystem(const SavedSystem&) = delete;
  SavedSystem& operator=(const SavedSystem&) = delete;

 private:
  SystemCalls saved_;
};

}  // namespace tolvane::test
