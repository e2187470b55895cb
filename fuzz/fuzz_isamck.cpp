// The checker of indexed files on any bytes: the first two say where the index file ends and the
// data file begins.

#include <cstdlib>

#include "check.h"
#include "input_file.h"
#include "report.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  if (count < 2) return 0;
  const std::size_t body = count - 2;
  const std::size_t split = std::min(body, std::size_t{bytes[0]} << 8 | bytes[1]);
  const tolvane::fuzz::InputFile index(bytes + 2, split), data(bytes + 2 + split, body - split);
  const isamck::FileNames names{"f", index.path(), data.path()};
  isamck::Report report("f");
  isamck::CheckFile(names, report);
  if (report.status() == isamck::Status::kSound && report.faults() > 0) std::abort();
  return 0;
}
