// Volumes of 36-bit words: COPYG, SDF, print and element files. The first byte chooses the kind,
// the second whether the words stand in variable blocks, the rest is the volume.

#include <cstdlib>
#include <filesystem>

#include "convert/sdf_record.h"
#include "input_file.h"
#include "media/tape_io.h"
#include "pipeline/element_files.h"
#include "scratch.h"
#include "state/options.h"

namespace {

using tolvane::Byte;

// A field of every kind behind each other; expanded locations as a copybook would give them.
const tolvane::MaskList& Fields() {
  static const tolvane::MaskList fields = [] {
    using namespace tolvane::mask_type;
    tolvane::MaskList list;
    list.push_back({.type = kBinary,
                    .length = 2,
                    .location = 1,
                    .digits = 5,
                    .is_signed = true,
                    .expanded_location = 1});
    list.push_back(
        {.type = kMfUnpacked, .length = 3, .location = 3, .digits = 3, .expanded_location = 5});
    list.push_back({.type = kBit,
                    .length = 2,
                    .location = 6,
                    .digits = 11,
                    .expanded_location = 8,
                    .source_bit = 0});
    return list;
  }();
  return fields;
}

void ConvertRecords(tolvane::TapeIo& tape, std::size_t volume) {
  tolvane::SdfConverter converter(Fields());
  if (!converter.Compile()) std::abort();
  std::vector<std::uint16_t> record, back;
  constexpr std::size_t kMostWords = 1000;
  for (std::size_t records = 0; tape.sdf->reader.NextRecord(record, kMostWords); ++records) {
    if (records > volume || record.size() > kMostWords * tolvane::kQuartersInWord) std::abort();
    std::vector<Byte> bytes(converter.MostBytes(record.size()));
    if (converter.ConvertSdfRec(record, bytes.data()) != bytes.size()) std::abort();
    (void)converter.ConvertToSdf(bytes, back);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  constexpr std::size_t kChoices = 2;
  if (count < kChoices) return 0;
  using tolvane::InputKind;
  constexpr InputKind kKinds[] = {InputKind::kCopyg, InputKind::kElement, InputKind::kSdf};
  const tolvane::fuzz::InputFile file(bytes + kChoices, count - kChoices);
  const auto tape = tolvane::openTapeIn({.path = file.path(),
                                         .record_size = 80,
                                         .block_size = 800,
                                         .kind = kKinds[bytes[0] % 3],
                                         .fixed = (bytes[1] & 1) == 0});
  if (tape == nullptr) return 0;
  const std::string folder = tolvane::fuzz::ScratchPath("texts");
  tolvane::opt.outfile = folder + "/out";
  tolvane::opt.sw_restore = tolvane::opt.sw_automatic = 1;
  switch (tape->sdf->label.kind) {
    case tolvane::SdfKind::kData:
      ConvertRecords(*tape, count);
      break;
    case tolvane::SdfKind::kPrint:
      (void)RestorePrintFile(*tape);
      break;
    default:
      (void)RestoreElements(*tape);
  }
  std::filesystem::remove_all(folder);
  return 0;
}
