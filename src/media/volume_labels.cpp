// Labels of a volume being read: those at its front, those behind the data, and the change to the
// next volume.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "media/labels.h"
#include "media/tape_io.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "state/options.h"

namespace tolvane {
namespace {

constexpr std::size_t kLargestBlock = 65536;

// Asks for a tape. False when the user quits or nobody can be asked.
bool AskForTape(std::int32_t number) {
  const std::string question =
      "Please mount tape number " + std::to_string(number) + " and press <enter> OR 'Q' to Quit\n";
  const std::string answer =
      Ask({question.c_str(), "\nAuto answer assuming Quit.\n", "Q", "Q"}, opt.sw_automatic != 0);
  return !Answers(answer, 'q');
}

// Takes over the sizes of an HDR2, unless they make no sense.
void TakeSizes(TapeIo& tape, const std::string& hdr2) {
  const auto block = LabelNumber(hdr2, label::kBlockLength);
  const auto record = LabelNumber(hdr2, label::kRecordLength);
  if (!block || !record || *block < 1) {
    PrintWarning("The HDR2 label of '%s' has no usable lengths (block '%s', record '%s').\n",
                 tape.device.c_str(), LabelField(hdr2, label::kBlockLength).c_str(),
                 LabelField(hdr2, label::kRecordLength).c_str());
    return;
  }
  tape.block_size = *block;
  tape.record_size = *record;
  tape.variable_blocked = LabelField(hdr2, label::kFormat) == "V";
  tape.fixed_blocked = !tape.variable_blocked;
  TRACE_LINE("#%sBLK Tape VSN: %s; LBL: %s; BLKSZ: %d RCSZ: %d\n",
             tape.variable_blocked ? "VAR" : "FIX", tape.volume_serial.c_str(),
             tape.file_label.c_str(), tape.block_size, tape.record_size);
}

void TakeVol1(TapeIo& tape, const std::string& vol1) {
  tape.labelled = true;
  tape.volume_serial = LabelField(vol1, label::kVolumeSerialRead);
}

// ---- disk files: labels are blocks like any other and there are no tape marks

// The text of the label that comes next, when it is `name`; the label is then taken.
std::optional<std::string> TakeLabel(TapeIo& tape, const char* name) {
  auto text = ReadLabel(tape.stream.Peek(kLabelSize));
  if (!text || !LabelIs(*text, name)) return std::nullopt;
  tape.stream.Skip(kLabelSize);
  return text;
}

bool AreTrailerLabels(std::span<const Byte> bytes) {
  const auto first = ReadLabel(bytes), second = ReadLabel(bytes.subspan(kLabelSize));
  return first && second && LabelIs(*first, "EOF1") && LabelIs(*second, "EOF2");
}

// Looks no further than it must, because more of a pipe may be long in coming.
bool BeginsWithLabel(TapeIo& tape) {
  for (std::size_t count = 1; count <= label::kName.width; ++count) {
    const auto shown = tape.stream.Peek(count);
    if (shown.size() < count || !MayBeginVolume(shown.first(count))) return false;
  }
  return true;
}

// A file that has no labels is read from its first byte.
void ReadFileLabels(TapeIo& tape) {
  if (!BeginsWithLabel(tape)) {
    TRACE_LINE("#readHdr: did not find VOL or HDR\n");
    return;
  }
  if (const auto vol1 = TakeLabel(tape, "VOL1")) TakeVol1(tape, *vol1);
  if (const auto hdr1 = TakeLabel(tape, "HDR1")) {
    tape.labelled = true;
    tape.file_label = LabelField(*hdr1, label::kFileLabelRead);
    tape.volume_number = LabelNumber(*hdr1, label::kSequence).value_or(0);
    if (const auto hdr2 = TakeLabel(tape, "HDR2")) TakeSizes(tape, *hdr2);
  }
  if (tape.labelled) tape.stream.WithholdTrailer(2 * kLabelSize, AreTrailerLabels);
}

// ---- tapes

enum class Header { kReady, kWrongVolume, kGiveUp };

// The label that the next block is; nothing when it is none.
std::optional<std::string> ReadTapeLabel(TapeIo& tape, Drive::Block& block) {
  block = tape.drive->ReadBlock(kLabelSize);
  return ReadLabel(block.data);
}

// An unlabelled tape is read from its beginning.
Header StartUnlabelled(TapeIo& tape) {
  TRACE_LINE("#readHdr: did not find VOL or HDR\n");
  return tape.drive->Rewind() && tape.drive->TakeMounted() ? Header::kReady : Header::kGiveUp;
}

// False when the HDR1 is not that of the volume expected.
bool TakeHdr1(TapeIo& tape, const std::string& hdr1) {
  tape.labelled = true;
  tape.file_label = LabelField(hdr1, label::kFileLabelRead);
  const std::int32_t mounted = LabelNumber(hdr1, label::kSequence).value_or(0);
  if (tape.volume_number >= 1 && mounted != tape.volume_number) {
    PrintOutput("You have mounted tape number %d. Expecting tape number %d.\n", mounted,
                tape.volume_number);
    return false;
  }
  tape.volume_number = mounted;
  return true;
}

// Steps over the tape mark behind the header labels. Further labels are passed over; a block that
// is none, where the mark should be, is the first data block.
void PassHeaderMark(TapeIo& tape) {
  for (;;) {
    const Drive::Block block = tape.drive->ReadBlock(kLargestBlock);
    if (block.data.empty()) {
      ++tape.tape_marks;
      (void)tape.drive->Reopen();  // a failure shows in the next read
      return;
    }
    if (ReadLabel(block.data) || block.data.size() == kLabelSize) continue;
    PrintWarning("There is no tape mark behind the labels of '%s'.\n", tape.device.c_str());
    tape.assembled.assign(block.data.begin(), block.data.end());
    tape.has_early_block = true;
    return;
  }
}

Header ReadTapeHeader(TapeIo& tape) {
  Drive::Block block;
  auto text = ReadTapeLabel(tape, block);
  if (block.data.empty() && block.error != ENOMEM) {
    TRACE_LINE("#No tape header %s\n", std::strerror(block.error));
    return Header::kReady;
  }
  if (text && LabelIs(*text, "VOL1")) {
    TakeVol1(tape, *text);
    text = ReadTapeLabel(tape, block);
  }
  if (!text || !LabelIs(*text, "HDR1"))
    return tape.labelled && block.data.empty() ? Header::kReady : StartUnlabelled(tape);
  if (!TakeHdr1(tape, *text)) return Header::kWrongVolume;
  text = ReadTapeLabel(tape, block);
  if (text && LabelIs(*text, "HDR2")) TakeSizes(tape, *text);
  if (!block.data.empty() || block.error == ENOMEM) {
    PassHeaderMark(tape);
  } else {
    ++tape.tape_marks;
  }
  return Header::kReady;
}

int ReadTapeLabels(TapeIo& tape) {
  for (;;) {
    const Header header = ReadTapeHeader(tape);
    if (header != Header::kWrongVolume) return header == Header::kReady ? 1 : 0;
    if (!ChangeVolume(*tape.drive, tape.device, tape.volume_number)) return 0;
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
  if (!ChangeVolume(*tape.drive, tape.device, tape.volume_number) || ReadTapeLabels(tape) == 0) {
    tape.damaged = true;
    return 0;
  }
  tape.end_of_file = false;
  tape.block = {};
  return 1;
}

}  // namespace

bool ChangeVolume(Drive& drive, const std::string& device, std::int32_t number) {
  if (drive.LoadNextVolume()) return true;
  if (!AskForTape(number)) return false;
  if (drive.TakeMounted()) return true;
  PrintError("Opening '%s': %s\n", device.c_str(), std::strerror(errno));
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
  if (!tape.is_tape() || !tape.labelled || tape.damaged) return 0;
  Drive::Block block;
  const auto first = ReadTapeLabel(tape, block);
  if (!first || !(LabelIs(*first, "EOF1") || LabelIs(*first, "EOV1"))) {
    PrintWarning("'%s' ends without trailer labels.\n", tape.device.c_str());
    return 0;
  }
  const auto second = ReadTapeLabel(tape, block);
  if (second && LabelIs(*second, "EOV2")) return processNextVol(tape);
  if (second && LabelIs(*second, "EOF2")) {
    (void)tape.drive->ReadBlock(kLabelSize);  // the closing tape mark
    return 0;
  }
  return LabelIs(*first, "EOV1") ? processNextVol(tape) : 0;
}

}  // namespace tolvane
