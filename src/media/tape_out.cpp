#include "media/tape_out.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "media/tape_image.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/file_error.h"
#include "platform/trace.h"

namespace tolvane {
namespace {

constexpr const char* kNoLabels = "NOLABEL";

bool IsBlank(const std::string& text) { return text.find_first_not_of(' ') == std::string::npos; }

// Bytes that a record takes in its block.
std::size_t RoomOfRecord(const TapeOut& tape) {
  const auto size = static_cast<std::size_t>(tape.record_size);
  if (tape.kind == InputKind::kMsdosText) return size + 2;
  if (tape.kind == InputKind::kUnixText) return size + 1;
  return tape.is_variable() ? size + kDescriptorWidth : size;
}

constexpr std::int32_t kLargestInLabel = 99999;

// A length that has no room in the label is not told: only a COPYG volume has records that long,
// and is read without.
BlockFormat FormatOf(const TapeOut& tape) {
  return {tape.is_variable() ? 'V' : 'F', tape.block_size,
          tape.record_size > kLargestInLabel ? 0 : tape.record_size};
}

bool putLabel(TapeOut& tape, const Label& ebcdic) {
  const Label label = tape.copyg != nullptr ? InWords(ebcdic) : ebcdic;
  if (tape.is_tape()) return tape.drive->WriteLabel(label);
  std::copy(label.begin(), label.end(), tape.stream.Room(label.size()));
  tape.stream.Commit(label.size());
  return true;
}

bool putTapeMark(TapeOut& tape) { return !tape.is_tape() || tape.drive->WriteMark(); }

// Sends out what is held back. False with errno set when something is missing on the volume, which
// has been reported.
bool IsWhole(TapeOut& tape) {
  FlushTapeOut(tape);
  if (LostBlocks(tape) == 0) return true;
  errno = EIO;
  return false;
}

bool addTapeLabel(TapeOut& tape) {
  return putLabel(tape, MakeVol1(tape.volume_serial)) &&
         putLabel(tape,
                  MakeHdr1(tape.file_label, tape.volume_serial, tape.volume_number, LocalNow())) &&
         putLabel(tape, MakeHdr2("HDR2", FormatOf(tape))) && putTapeMark(tape) && IsWhole(tape);
}

// The mark behind the data and, on a labelled volume, the labels: "EOF" at the end of the file,
// "EOV" at the end of a volume. They would make what is missing look whole: then there are none.
bool EndData(TapeOut& tape, const std::string& kind) {
  if (!IsWhole(tape) || !putTapeMark(tape)) return false;
  if (!tape.labelled) return true;
  const std::string first = kind + "1", second = kind + "2";
  return putLabel(tape, MakeEof1(first.c_str(), tape.file_label, tape.volume_serial,
                                 tape.blocks_on_volume, LocalNow())) &&
         putLabel(tape, MakeHdr2(second.c_str(), FormatOf(tape))) && putTapeMark(tape) &&
         IsWhole(tape);
}

// Makes the block size what blocks will have: whole records, and at least one.
void SettleBlockSize(TapeOut& tape) {
  const auto room = static_cast<std::int64_t>(RoomOfRecord(tape));
  const std::int64_t head = tape.is_variable() ? kDescriptorWidth : 0;
  std::int64_t size = tape.is_text() ? room : tape.block_size;
  if (!tape.is_variable()) size -= size % room;
  tape.block_size = static_cast<std::int32_t>(std::min<std::int64_t>(
      std::max(size, room + head), std::numeric_limits<std::int32_t>::max()));
}

// Whether the sizes fit the descriptors, labels and images that must hold them.
bool SizesFit(const TapeOut& tape) {
  constexpr std::int32_t kLargestDescriptor = 32767;
  const std::int64_t block = std::max<std::int64_t>(
      tape.block_size,
      static_cast<std::int64_t>(RoomOfRecord(tape) + (tape.is_variable() ? kDescriptorWidth : 0)));
  const std::int64_t most = tape.is_variable() ? kLargestDescriptor
                            : tape.labelled    ? kLargestInLabel
                            : ParseImagePath(tape.device).is_image
                                ? static_cast<std::int64_t>(kMostOnImage)
                                : std::numeric_limits<std::int32_t>::max();
  if (tape.record_size > 0 && block <= most) return true;
  PrintError("Blocks of %ld bytes with records of %d can not be written to '%s': the most is %ld\n",
             block, tape.record_size, tape.device.c_str(), most);
  return false;
}

void BeginBlock(TapeOut& tape) {
  const std::size_t room =
      std::max(static_cast<std::size_t>(tape.block_size), RoomOfRecord(tape) + kDescriptorWidth);
  if (tape.is_tape()) {
    tape.buffer.resize(room);
    tape.block = tape.buffer.data();
  } else {
    tape.block = tape.stream.Room(room);
  }
  tape.filled = tape.is_variable() ? kDescriptorWidth : 0;
}

// Ends the full volume and begins the next one. False when there is none.
bool NextVolume(TapeOut& tape) {
  if (!EndData(tape, "EOV")) return false;
  PrintOutput("\nReached End of Volume on tape number %d \n", tape.volume_number);
  if (!ChangeVolume(*tape.drive, tape.device, tape.volume_number + 1)) return false;
  ++tape.volume_number;
  tape.blocks_on_volume = 0;
  return addTapeLabel(tape);
}

// False when the tape takes no more.
bool WriteToTape(TapeOut& tape, std::span<const Byte> block) {
  for (bool tried = false;; tried = true) {
    if (tape.drive->WriteBlock(block)) return true;
    const int error = errno;
    if (!tried && error == ENOSPC && tape.labelled && NextVolume(tape)) continue;
    if (LostBlocks(tape) == 0)
      PrintError("Block %d could not be written to '%s': %s\n", tape.blocks_written + 1,
                 tape.device.c_str(), std::strerror(error));
    ++tape.lost;
    return false;
  }
}

// Writes a block that was built elsewhere than in the room for one.
bool WriteBlock(TapeOut& tape, std::span<const Byte> block) {
  if (tape.is_tape()) return WriteToTape(tape, block);
  std::copy(block.begin(), block.end(), tape.stream.Room(block.size()));
  tape.stream.Commit(block.size());
  return true;
}

// Takes the header from its file, which stands beside the volume.
bool PrepareCopyg(TapeOut& tape) {
  tape.copyg = std::make_unique<CopygBlocks>();
  tape.block_size = static_cast<std::int32_t>(kCopygBlockBytes);
  return tape.copyg->ReadHeaderFile(NameOfVolume(tape.device) + ".hdr");
}

// Writes the block being filled, unless it holds no record.
bool putBlk(TapeOut& tape) {
  if (tape.block == nullptr) return true;
  const bool has_record = tape.filled > (tape.is_variable() ? kDescriptorWidth : 0);
  if (has_record && tape.is_variable()) {
    StoreBig(tape.block, static_cast<std::uint16_t>(tape.filled));
    StoreBig<std::uint16_t>(tape.block + 2, 0);
  }
  const std::span<const Byte> block(tape.block, tape.filled);
  tape.block = nullptr;
  if (!has_record) return true;
  TRACE_LINE("#Write Tape %s Block %d\n", tape.is_variable() ? "Var" : "Fix",
             tape.blocks_written + 1);
  if (!tape.is_tape()) {
    tape.stream.Commit(block.size());
  } else if (!WriteToTape(tape, block)) {
    return false;
  }
  ++tape.blocks_written;
  ++tape.blocks_on_volume;
  return true;
}

// Opens the drive or the file. False after a message.
bool OpenMedium(TapeOut& tape, const DeviceNames& names) {
  OpenedDrive opened = OpenDrive({.names = names, .use = DriveUse::kWrite});
  tape.drive = std::move(opened.drive);
  if (opened.is_drive ? !tape.is_tape() : !tape.stream.Open(tape.device)) {
    if (!tape.device.empty())
      PrintOutput("Error %d '%s' opening %s\n", errno, std::strerror(errno), tape.device.c_str());
    return false;
  }
  if (!tape.labelled || !tape.is_tape() || tape.drive->keeps_place()) return true;
  PrintError(
      "A labelled backup to '%s' needs the device's name that does not rewind, in ZORTAPENRWD.\n",
      tape.device.c_str());
  return false;
}

}  // namespace

std::unique_ptr<TapeOut> openTapeOut(const TapeOutRequest& request) {
  TRACE_FRAME();
  auto tape = std::make_unique<TapeOut>();
  const DeviceNames names = NamesOfVolume(request.path);
  tape->device = names.rewind;
  tape->volume_serial = request.volume_serial;
  tape->file_label = request.file_label;
  tape->kind = request.kind;
  tape->fixed = request.fixed;
  tape->record_size = request.record_size;
  tape->block_size = request.block_size < 1 ? request.record_size : request.block_size;
  tape->labelled = !IsBlank(tape->volume_serial) && !IsBlank(tape->file_label) &&
                   tape->volume_serial != kNoLabels;
  if (request.kind == InputKind::kCopyg) {
    if (!PrepareCopyg(*tape)) return nullptr;
  } else {
    if (tape->record_size > 0) SettleBlockSize(*tape);
    if (!SizesFit(*tape)) return nullptr;
  }

  if (!OpenMedium(*tape, names)) return nullptr;
  if (tape->labelled && !addTapeLabel(*tape)) {
    if (LostBlocks(*tape) > 0) return nullptr;
    PrintError("Writing labels to '%s': %s\n", tape->device.c_str(), std::strerror(errno));
    return nullptr;
  }
  if (tape->copyg != nullptr && !WriteBlock(*tape, tape->copyg->header())) return nullptr;
  return tape;
}

bool putCopygBlk(TapeOut& tape, std::span<const std::uint16_t> record) {
  const auto put = [&tape](std::span<const Byte> block) {
    if (!WriteBlock(tape, block)) return false;
    ++tape.blocks_written;
    ++tape.blocks_on_volume;
    return true;
  };
  return record.empty() ? tape.copyg->Finish(put) : tape.copyg->AddRecord(record, put);
}

bool putTapeOut(TapeOut& tape, const Byte* record) {
  if (tape.copyg != nullptr) {
    tape.quarters.assign(record, record + tape.record_size);
    return putCopygBlk(tape, tape.quarters);
  }
  const std::size_t room = RoomOfRecord(tape);
  if (tape.block != nullptr && tape.filled + room > static_cast<std::size_t>(tape.block_size) &&
      !putBlk(tape))
    return false;
  if (tape.block == nullptr) BeginBlock(tape);
  const auto size = static_cast<std::size_t>(tape.record_size);
  Byte* to = tape.block + tape.filled;
  if (tape.is_variable()) {
    StoreBig(to, static_cast<std::uint16_t>(size + kDescriptorWidth));
    StoreBig<std::uint16_t>(to + 2, 0);
    to += kDescriptorWidth;
  }
  std::memcpy(to, record, size);
  if (tape.kind == InputKind::kMsdosText) to[size] = '\r';
  if (tape.is_text()) to[room - 1] = '\n';
  tape.filled += room;
  return true;
}

std::int32_t closeTapeOut(TapeOut& tape) {
  TRACE_FRAME();
  // A failure has been reported and counted.
  (void)(tape.copyg != nullptr && tape.lost == 0 ? putCopygBlk(tape, {}) : putBlk(tape));
  const bool ended = EndData(tape, "EOF");
  const bool closed = tape.is_tape() ? tape.drive->Close() : tape.stream.Close();
  if (LostBlocks(tape) == 0 && (!ended || !closed)) processError(errno, tape.device);
  return tape.blocks_written;
}

std::int64_t LostBlocks(const TapeOut& tape) {
  return tape.lost + (tape.is_tape() ? tape.drive->lost() : tape.stream.lost());
}

void FlushTapeOut(TapeOut& tape) {
  if (tape.is_tape()) {
    tape.drive->Flush();
  } else {
    tape.stream.Flush();
  }
}

}  // namespace tolvane
