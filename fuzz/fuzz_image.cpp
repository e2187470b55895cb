// The readers of tape images and of the tapes in them: the first byte chooses the container and
// how the tape is read.

#include <cstdlib>

#include "input_file.h"
#include "media/tape_io.h"
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
  if (tape == nullptr) return 0;
  for (std::size_t records = 0; getTapeIn(*tape, 1000).length != 0;)
    if (++records > count) std::abort();
  return 0;
}
