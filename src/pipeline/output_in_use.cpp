#include "pipeline/output_in_use.h"

#include "platform/console.h"

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

}  // namespace tolvane
