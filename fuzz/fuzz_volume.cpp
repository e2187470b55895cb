// The reader of backup volumes on disk: any bytes, any sizes, every kind of input. The first four
// bytes choose kind and sizes, the rest is the volume.

#include "input_file.h"
#include "records.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  if (count < 4) return 0;
  using tolvane::InputKind;
  constexpr InputKind kKinds[] = {InputKind::kTape, InputKind::kMsdosText, InputKind::kUnixText};
  const tolvane::fuzz::InputFile file(bytes + 4, count - 4);
  const auto tape = tolvane::openTapeIn({.path = file.path(),
                                         .record_size = 1 + bytes[1],
                                         .block_size = bytes[2] * 3,
                                         .kind = kKinds[(bytes[0] & 3) % 3],
                                         .fixed = (bytes[0] & 4) != 0});
  if (tape != nullptr) tolvane::fuzz::ReadRecords(*tape, bytes[3] * 8, count);
  return 0;
}
