// The readers of tape images and of the tapes in them: the first byte chooses the container and
// how the tape is read.

#include "input_file.h"
#include "records.h"
#include "state/options.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  if (count < 2) return 0;
  const tolvane::fuzz::InputFile file(bytes + 1, count - 1);
  tolvane::opt.sw_automatic = 1;
  using tolvane::InputKind;
  const auto tape =
      tolvane::openTapeIn({.path = ((bytes[0] & 1) != 0 ? "tap:" : "aws:") + file.path(),
                           .record_size = 10,
                           .block_size = 100,
                           .kind = (bytes[0] & 2) != 0 ? InputKind::kUnixText : InputKind::kTape,
                           .fixed = (bytes[0] & 4) != 0});
  if (tape != nullptr) tolvane::fuzz::ReadRecords(*tape, 1000, count);
  return 0;
}
