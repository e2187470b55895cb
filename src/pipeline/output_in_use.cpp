#include "pipeline/output_in_use.h"

#include "platform/console.h"
#include "platform/system_calls.h"

namespace tolvane {
namespace {

OutputStream* open_stream = nullptr;

}  // namespace

OutputInUse::OutputInUse(OutputStream& stream) {
  open_stream = &stream;
  before_message = Flush;
}

OutputInUse::~OutputInUse() {
  before_message = nullptr;
  open_stream = nullptr;
}

void OutputInUse::Flush() {
  if (open_stream != nullptr) open_stream->Flush();
}

bool OutputInUse::IsSameFile(const std::string& a, const std::string& b) {
  struct stat first {
  }, second{};
  return sys.stat(a.c_str(), &first) == 0 && sys.stat(b.c_str(), &second) == 0 &&
         S_ISREG(first.st_mode) && first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace tolvane
