// The output that holds records back while a run is under way. Whatever lets somebody look at the
// file (a message, a read that may wait) flushes it first. There is one at a time.
#pragma once

#include <functional>

namespace tolvane {

class OutputInUse {
 public:
  // `flush` is called until the object is destroyed, from within messages too.
  explicit OutputInUse(std::function<void()> flush);
  ~OutputInUse();
  OutputInUse(const OutputInUse&) = delete;
  OutputInUse& operator=(const OutputInUse&) = delete;

  // Writes out what the open output holds back; nothing when there is none.
  static void Flush();
};

}  // namespace tolvane
