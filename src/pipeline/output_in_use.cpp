#include "pipeline/output_in_use.h"

#include "platform/console.h"
#include "platform/system_calls.h"

namespace tolvane {
namespace {

std::function<void()> flush_output;

}  // namespace

OutputInUse::OutputInUse(std::function<void()> flush) {
  flush_output = std::move(flush);
  before_message = Flush;
}

OutputInUse::~OutputInUse() {
  before_message = nullptr;
  flush_output = nullptr;
}

void OutputInUse::Flush() {
  if (flush_output) flush_output();
}

bool OutputInUse::IsSameFile(const std::string& a, const std::string& b) {
  struct stat first {
  }, second{};
  return sys.stat(a.c_str(), &first) == 0 && sys.stat(b.c_str(), &second) == 0 &&
         S_ISREG(first.st_mode) && first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace tolvane
