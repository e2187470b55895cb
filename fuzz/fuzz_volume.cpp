// The reader of backup volumes on disk: any bytes, any sizes, every kind of input. The first four
// bytes choose kind and sizes, the rest is the volume.

#include <cstdlib>

#include "input_file.h"
#include "media/tape_io.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  constexpr std::size_t kChoices = 4;
  if (count < kChoices) return 0;
  using tolvane::InputKind;
  constexpr InputKind kKinds[] = {InputKind::kTape, InputKind::kMsdosText, InputKind::kUnixText};
  const tolvane::fuzz::InputFile file(bytes + kChoices, count - kChoices);
  const auto tape = tolvane::openTapeIn({.path = file.path(),
                                         .record_size = 1 + bytes[1],
                                         .block_size = bytes[2] * 3,
                                         .kind = kKinds[(bytes[0] & 3) % 3],
                                         .fixed = (bytes[0] & 4) != 0});
  if (tape == nullptr) return 0;
  std::size_t records = 0;
  for (;;) {
    const tolvane::TapeRecord record = getTapeIn(*tape, bytes[3] * 8);
    if (record.length == 0) break;
    unsigned sum = 0;
    for (const auto byte : record.data) sum += byte;
    if (sum > record.data.size() * 255 || ++records > count) std::abort();
  }
  return 0;
}
