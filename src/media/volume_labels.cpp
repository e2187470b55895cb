// Labels of a volume being read: those at its front, those behind the data, and the change to the
// next volume.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "media/labels.h"
#include "media/tape_image.h"
#include "media/tape_io.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "state/options.h"

namespace tolvane {
namespace {

// What is asked for where a label may stand, so that a data block in its place is not lost.
std::size_t MostBytes(const TapeIo& tape) {
  constexpr std::int32_t kMostOnDevice = 1 << 20;
  if (ParseImagePath(tape.device).is_image) return kMostOnImage;
  return static_cast<std::size_t>(std::max(tape.block_size, kMostOnDevice));
}

// Asks for a tape. False when the user quits or nobody can be asked.
bool AskForTape(std::int32_t number) {
  const std::string question =
      "Please mount tape number " + std::to_string(number) + " and press <enter> OR 'Q' to Quit\n";
  const std::string answer =
      Ask({question.c_str(), "\nAuto answer assuming Quit.\n", "Q", "Q"}, opt.sw_automatic != 0);
  return !Answers(answer, 'q');
}

// Takes over the sizes of an HDR2, unless the kind has sizes of its own, or they make no sense or
// are not those of the volumes before.
void TakeSizes(TapeIo& tape, const std::string& hdr2) {
  if (tape.is_text() || tape.word_blocks()) return;
  const auto block = LabelNumber(hdr2, label::kBlockLength);
  const auto record = LabelNumber(hdr2, label::kRecordLength);
  const bool is_variable = LabelField(hdr2, label::kFormat) == "V";
  if (!block || !record || *block < 1 || *record < 1 || (!is_variable && *record > *block)) {
    PrintWarning("The HDR2 label of '%s' has no usable lengths (block '%s', record '%s').\n",
                 tape.device.c_str(), LabelField(hdr2, label::kBlockLength).c_str(),
                 LabelField(hdr2, label::kRecordLength).c_str());
    return;
  }
  if (tape.is_later_volume) {
    if (is_variable != tape.variable_blocked ||
        (!is_variable && (*block != tape.block_size || *record != tape.record_size)))
      PrintWarning(
          "Volume %d of '%s' is labelled with other sizes than the first; they do not "
          "count.\n",
          tape.volume_number, tape.device.c_str());
    return;
  }
  tape.block_size = *block;
  tape.record_size = *record;
  tape.variable_blocked = is_variable;
  tape.has_label_sizes = true;
  TRACE_LINE("#%sBLK Tape VSN: %s; LBL: %s; BLKSZ: %d RCSZ: %d\n",
             tape.variable_blocked ? "VAR" : "FIX", tape.volume_serial.c_str(),
             tape.file_label.c_str(), tape.block_size, tape.record_size);
}

void TakeVol1(TapeIo& tape, const std::string& vol1) {
  tape.labelled = true;
  tape.volume_serial = LabelField(vol1, label::kVolumeSerialRead);
}

// The number of the volume in an HDR1; without a usable one it is the volume expected.
std::int32_t VolumeNumber(const TapeIo& tape, const std::string& hdr1) {
  const auto number = LabelNumber(hdr1, label::kSequence);
  if (number.value_or(0) >= 1) return *number;
  const std::int32_t expected = std::max(tape.volume_number, 1);
  PrintWarning("The HDR1 label of '%s' has no usable volume number ('%s'); it counts as %d.\n",
               tape.device.c_str(), LabelField(hdr1, label::kSequence).c_str(), expected);
  return expected;
}

// False when the HDR1 is not that of the volume expected.
bool TakeHdr1(TapeIo& tape, const std::string& hdr1) {
  tape.labelled = true;
  tape.file_label = LabelField(hdr1, label::kFileLabelRead);
  const std::int32_t mounted = VolumeNumber(tape, hdr1);
  if (tape.volume_number >= 1 && mounted != tape.volume_number) {
    PrintOutput("You have mounted tape number %d. Expecting tape number %d.\n", mounted,
                tape.volume_number);
    return false;
  }
  if (tape.volume_number < 1 && mounted > 1)
    PrintWarning("'%s' is tape number %d; what the tapes before it hold is not read.\n",
                 tape.device.c_str(), mounted);
  tape.volume_number = mounted;
  return true;
}

// Warns when the label behind the data counts other blocks than were read. Six digits are common
// to all writers.
void CheckBlockCount(const TapeIo& tape, const std::string& trailer) {
  constexpr std::int64_t kCountModulus = 1000000;
  const auto counted = LabelNumber(trailer, label::kBlockCountRead);
  const std::int64_t read = tape.blocks_read - tape.counted_from;
  if (!counted || *counted == read % kCountModulus) return;
  PrintWarning("The %s label of '%s' counts %d blocks; %ld were read.\n",
               LabelField(trailer, label::kName).c_str(), tape.device.c_str(), *counted, read);
}

// ---- disk files: labels are blocks like any other and there are no tape marks

// The label that stands behind `before` others.
std::optional<std::string> PeekLabel(TapeIo& tape, std::size_t before) {
  const std::size_t at = before * kLabelSize;
  const auto shown = tape.stream.Peek(at + kLabelSize);
  if (shown.size() < at + kLabelSize) return std::nullopt;
  return ReadLabel(shown.subspan(at, kLabelSize), tape.in_words());
}

// The text of the label that comes next, when it is `name`; the label is then taken.
std::optional<std::string> TakeLabel(TapeIo& tape, const char* name) {
  auto text = PeekLabel(tape, 0);
  if (!text || !LabelIs(*text, name)) return std::nullopt;
  tape.stream.Skip(kLabelSize);
  return text;
}

// Looks no further than it must, because more of a pipe may be long in coming.
bool BeginsWithLabel(TapeIo& tape) {
  if (tape.in_words()) return tape.stream.Peek(kLabelSize).size() >= kLabelSize;
  for (std::size_t count = 1; count <= label::kName.width; ++count) {
    const auto shown = tape.stream.Peek(count);
    if (shown.size() < count || !MayBeginVolume(shown.first(count), !tape.is_text())) return false;
  }
  return true;
}

// Passes over further labels, which are told, because data could begin like them. A writer that has
// nothing to say behind the lengths of its HDR2, as ours, writes none.
void PassFurtherLabels(TapeIo& tape, const std::string& hdr2) {
  constexpr std::size_t kBehindLengths = label::kRecordLength.offset + label::kRecordLength.width;
  if (hdr2.find_first_not_of(' ', kBehindLengths) == std::string::npos) return;
  for (std::string name : {"HDR3", "UHL1"})
    for (; TakeLabel(tape, name.c_str()); ++name.back())
      PrintWarning("The %s label of '%s' is passed over.\n", name.c_str(), tape.device.c_str());
}

// A file that has no labels is read from its first byte. Data may begin with the name of one: a
// VOL1 counts with an HDR1 behind it, an HDR1 by itself with its numbers.
void ReadFileLabels(TapeIo& tape) {
  if (!BeginsWithLabel(tape)) {
    TRACE_LINE("#No tape header %s\n", std::strerror(tape.stream.error()));
    return;
  }
  const auto first = PeekLabel(tape, 0);
  const bool has_vol1 = first && LabelIs(*first, "VOL1");
  const auto hdr1 = has_vol1 ? PeekLabel(tape, 1) : first;
  if (!hdr1 || !LabelIs(*hdr1, "HDR1") || (!has_vol1 && !HasNumbers(*hdr1))) {
    TRACE_LINE("#readHdr: did not find VOL or HDR\n");
    return;
  }
  if (has_vol1) TakeVol1(tape, *first);
  (void)TakeHdr1(tape, *hdr1);  // no certain volume is expected
  tape.stream.Skip(has_vol1 ? 2 * kLabelSize : kLabelSize);
  if (const auto hdr2 = TakeLabel(tape, "HDR2")) {
    TakeSizes(tape, *hdr2);
    PassFurtherLabels(tape, *hdr2);
  }
  tape.stream.WithholdTrailer(kTrailerSize, [hdr1 = *hdr1, in_words = tape.in_words()](auto end) {
    return TrailerLength(end, hdr1, in_words);
  });
}

// Looks at the trailer of a file that was read to its end.
void CheckFileTrailer(TapeIo& tape) {
  if (!tape.labelled || !tape.stream.Peek(1).empty()) return;
  const auto trailer = tape.stream.trailer();
  const char* const device = tape.device.c_str();
  const auto first = trailer.size() < kLabelSize
                         ? std::nullopt
                         : ReadLabel(trailer.first(kLabelSize), tape.in_words());
  tape.damaged = !first || LabelIs(*first, "EOV1");
  if (trailer.empty()) {
    PrintWarning("'%s' ends without trailer labels.\n", device);
  } else if (trailer.size() % kLabelSize != 0) {
    PrintWarning("'%s' ends inside its trailer labels.\n", device);
  }
  if (!first) return;
  if (tape.has_label_sizes && !tape.in_words()) CheckBlockCount(tape, *first);
  if (tape.damaged)
    PrintWarning("'%s' ends volume %d of its file; the next one is not read.\n", device,
                 tape.volume_number);
}

// ---- tapes

enum class Header { kReady, kWrongVolume, kGiveUp };

// What stands where a label may be.
struct Found {
  std::optional<std::string> label;
  bool mark = false;  // or the end
  int error = 0;      // ENOMEM: a block that is much longer than a label
};

// Reads it. A block that is no label is the first data block.
Found ReadTapeLabel(TapeIo& tape) {
  const Drive::Block block = tape.drive->ReadBlock(MostBytes(tape));
  Found found;
  found.error = block.error;
  if (block.error == ENOMEM) return found;
  if (block.error != 0) {
    PrintError("Reading the labels of '%s': %s\n", tape.device.c_str(), std::strerror(block.error));
    tape.damaged = true;
  } else if (block.data.empty()) {
    found.mark = true;
  } else {
    found.label = ReadLabel(block.data, tape.in_words());
    tape.early_block.assign(block.data.begin(), block.data.end());
    tape.has_early_block = !found.label;
  }
  return found;
}

Header GiveUp(int error) {
  errno = error;
  return Header::kGiveUp;
}

// What a tape is whose labels end before the HDR1: wrong when a certain volume is expected. What
// stands in the place of the `wanted` label is data then; what could not be read whole is read
// again.
Header WithoutHdr1(TapeIo& tape, const Found& found, const char* wanted) {
  if (found.error != 0 && found.error != ENOMEM) return GiveUp(found.error);
  if (tape.is_later_volume) {
    PrintOutput("You have mounted a tape without labels. Expecting tape number %d.\n",
                tape.volume_number);
    return Header::kWrongVolume;
  }
  if (found.error == ENOMEM || (tape.has_early_block && tape.drive->gives_parts())) {
    tape.has_early_block = false;
    return tape.drive->TakeMounted() ? Header::kReady : Header::kGiveUp;
  }
  if (found.label) {
    PrintWarning("'%s' has a %s label where %s belongs; from there on all is read as data.\n",
                 tape.device.c_str(), LabelField(*found.label, label::kName).c_str(), wanted);
    tape.has_early_block = true;
  }
  return Header::kReady;
}

// Reads on to the tape mark behind the header labels and steps over it. Further labels are passed
// over; a data block where the mark should be is the first one.
Header PassHeaderMark(TapeIo& tape, Found found) {
  while (found.label) found = ReadTapeLabel(tape);
  if (found.error != 0) return GiveUp(found.error);
  if (found.mark) return tape.drive->Reopen() ? Header::kReady : Header::kGiveUp;
  PrintWarning("There is no tape mark behind the labels of '%s'.\n", tape.device.c_str());
  return Header::kReady;
}

Header ReadTapeHeader(TapeIo& tape) {
  tape.has_early_block = false;
  Found found = ReadTapeLabel(tape);
  if (found.mark) {
    TRACE_LINE("#No tape header %s\n", std::strerror(found.error));
    return WithoutHdr1(tape, found, "");
  }
  const char* wanted = "VOL1 or HDR1";
  if (found.label && LabelIs(*found.label, "VOL1")) {
    TakeVol1(tape, *found.label);
    found = ReadTapeLabel(tape);
    wanted = "HDR1";
  }
  if (!found.label || !LabelIs(*found.label, "HDR1")) {
    TRACE_LINE("#readHdr: did not find VOL or HDR\n");
    return WithoutHdr1(tape, found, wanted);
  }
  if (!TakeHdr1(tape, *found.label)) return Header::kWrongVolume;
  found = ReadTapeLabel(tape);
  if (found.label && LabelIs(*found.label, "HDR2")) TakeSizes(tape, *found.label);
  return PassHeaderMark(tape, found);
}

int ReadTapeLabels(TapeIo& tape) {
  for (;;) {
    const Header header = ReadTapeHeader(tape);
    if (header != Header::kWrongVolume) return header == Header::kReady ? 1 : 0;
    if (ChangeVolume(*tape.drive, tape.device, tape.volume_number)) continue;
    errno = ECANCELED;
    return 0;
  }
}

// The next volume. 1 when its data comes next.
int processNextVol(TapeIo& tape) {
  TRACE_FRAME();
  if (!tape.names.no_rewind.empty()) {
    PrintOutput("Attempting to rewind tape...   \n");
    (void)tape.drive->Rewind();  // whoever changes the tape sees to it
  }
  PrintOutput("\nReached End of Volume on tape number %d \n", tape.volume_number);
  ++tape.volume_number;
  tape.is_later_volume = true;
  if (!ChangeVolume(*tape.drive, tape.device, tape.volume_number) || ReadTapeLabels(tape) == 0) {
    tape.damaged = true;
    return 0;
  }
  tape.end_of_file = false;
  tape.passed_end = false;
  tape.counted_from = tape.blocks_read;
  tape.block = {};
  return 1;
}

// An unlabelled tape ends at its first mark. Whether more follows is not asked where the next run
// goes on.
void LookBehindMark(TapeIo& tape) {
  if (!tape.drive->rewinds()) return;
  const Drive::Block block = tape.drive->ReadBlock(MostBytes(tape));
  if (block.error != 0 || !block.data.empty())
    PrintWarning(
        "More stands behind the tape mark that ends '%s'; only what is before it is read.\n",
        tape.device.c_str());
}

}  // namespace

bool ChangeVolume(Drive& drive, const std::string& device, std::int32_t number) {
  if (drive.LoadNextVolume()) return true;
  while (AskForTape(number)) {
    if (drive.TakeMounted()) return true;
    PrintError("Opening '%s': %s\n", device.c_str(), std::strerror(errno));
  }
  return false;
}

int readHdr(TapeIo& tape) {
  TRACE_FRAME();
  if (tape.is_tape()) return ReadTapeLabels(tape);
  ReadFileLabels(tape);
  return 1;
}

int readEof(TapeIo& tape) {
  TRACE_FRAME();
  if (tape.damaged || std::exchange(tape.passed_end, true)) return 0;
  if (!tape.is_tape()) {
    CheckFileTrailer(tape);
    return 0;
  }
  if (!tape.labelled) {
    LookBehindMark(tape);
    return 0;
  }
  const Found first = ReadTapeLabel(tape);
  const bool ends_file = first.label && LabelIs(*first.label, "EOF1");
  const bool ends_volume = first.label && LabelIs(*first.label, "EOV1");
  if (!ends_file && !ends_volume) {
    PrintWarning("'%s' ends without trailer labels.\n", tape.device.c_str());
    tape.damaged = true;
    return 0;
  }
  CheckBlockCount(tape, *first.label);
  const Found second = ReadTapeLabel(tape);
  if (ends_volume || (second.label && LabelIs(*second.label, "EOV2"))) return processNextVol(tape);
  if (second.label) (void)tape.drive->ReadBlock(MostBytes(tape));  // the closing tape mark
  return 0;
}

}  // namespace tolvane
