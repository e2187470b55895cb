#include "media/tape_out.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "platform/clock.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "reports/side_reports.h"

namespace tolvane {
namespace {

constexpr const char* kNoLabels = "NOLABEL";

bool IsBlank(const std::string& text) { return text.find_first_not_of(' ') == std::string::npos; }

// Bytes that a record takes in its block.
std::size_t RoomOfRecord(const TapeOut& tape) {
  const auto size = static_cast<std::size_t>(tape.record_size);
  if (tape.msdos_text) return size + 2;
  if (tape.unix_text) return size + 1;
  return tape.is_variable() ? size + kDescriptorWidth : size;
}

void putLabel(TapeOut& tape, const Label& label) {
  std::copy(label.begin(), label.end(), tape.stream.Room(label.size()));
  tape.stream.Commit(label.size());
}

BlockFormat FormatOf(const TapeOut& tape) {
  return {tape.is_variable() ? 'V' : 'F', tape.block_size, tape.record_size};
}

void addTapeLabel(TapeOut& tape) {
  putLabel(tape, MakeVol1(tape.volume_serial));
  putLabel(tape, MakeHdr1(tape.file_label, tape.volume_serial, tape.volume_number++, LocalNow()));
  putLabel(tape, MakeHdr2("HDR2", FormatOf(tape)));
}

void addTrailer(TapeOut& tape) {
  putLabel(tape, MakeEof1(tape.file_label, tape.volume_serial, tape.blocks_written, LocalNow()));
  putLabel(tape, MakeHdr2("EOF2", FormatOf(tape)));
}

// Whether the sizes fit the descriptors and labels that must hold them.
bool SizesFit(const TapeOut& tape) {
  constexpr std::int32_t kLargestDescriptor = 32767;
  constexpr std::int32_t kLargestInLabel = 99999;
  const std::int64_t block = std::max<std::int64_t>(
      tape.block_size,
      static_cast<std::int64_t>(RoomOfRecord(tape) + (tape.is_variable() ? kDescriptorWidth : 0)));
  const std::int64_t most = tape.is_variable() ? kLargestDescriptor
                            : tape.labelled    ? kLargestInLabel
                                               : std::numeric_limits<std::int32_t>::max();
  if (tape.record_size > 0 && block <= most) return true;
  PrintError("Blocks of %ld bytes with records of %d can not be written to '%s': the most is %ld\n",
             block, tape.record_size, tape.device.c_str(), most);
  return false;
}

void BeginBlock(TapeOut& tape) {
  tape.block = tape.stream.Room(
      std::max(static_cast<std::size_t>(tape.block_size), RoomOfRecord(tape) + kDescriptorWidth));
  tape.filled = tape.is_variable() ? kDescriptorWidth : 0;
}

// Writes the block being filled, unless it holds no record.
void putBlk(TapeOut& tape) {
  if (tape.block == nullptr) return;
  const bool has_record = tape.filled > (tape.is_variable() ? kDescriptorWidth : 0);
  if (has_record) {
    if (tape.is_variable()) {
      StoreBig(tape.block, static_cast<std::uint16_t>(tape.filled));
      StoreBig<std::uint16_t>(tape.block + 2, 0);
    }
    tape.stream.Commit(tape.filled);
    ++tape.blocks_written;
  }
  tape.block = nullptr;
}

}  // namespace

std::unique_ptr<TapeOut> openTapeOut(const TapeOutRequest& request) {
  TRACE_FRAME();
  auto tape = std::make_unique<TapeOut>();
  tape->device = request.path;
  tape->volume_serial = request.volume_serial;
  tape->file_label = request.file_label;
  tape->fixed_blocked = request.fixed;
  tape->record_size = request.record_size;
  tape->block_size = request.block_size < 1 ? request.record_size : request.block_size;
  tape->unix_text = request.kind == InputKind::kUnixText;
  tape->msdos_text = request.kind == InputKind::kMsdosText;
  if (tape->is_text()) tape->block_size = static_cast<std::int32_t>(RoomOfRecord(*tape));
  tape->labelled = !IsBlank(tape->volume_serial) && !IsBlank(tape->file_label) &&
                   tape->volume_serial != kNoLabels;
  if (!SizesFit(*tape)) return nullptr;
  if (!tape->stream.Open(request.path)) {
    PrintOutput("Error %d '%s' opening %s\n", errno, std::strerror(errno), request.path.c_str());
    return nullptr;
  }
  if (tape->labelled) addTapeLabel(*tape);
  return tape;
}

void putTapeOut(TapeOut& tape, const Byte* record) {
  const std::size_t room = RoomOfRecord(tape);
  if (tape.block != nullptr && tape.filled + room > static_cast<std::size_t>(tape.block_size))
    putBlk(tape);
  if (tape.block == nullptr) BeginBlock(tape);
  const auto size = static_cast<std::size_t>(tape.record_size);
  Byte* to = tape.block + tape.filled;
  if (tape.is_variable()) {
    StoreBig(to, static_cast<std::uint16_t>(size + kDescriptorWidth));
    StoreBig<std::uint16_t>(to + 2, 0);
    to += kDescriptorWidth;
  }
  std::memcpy(to, record, size);
  if (tape.msdos_text) to[size] = '\r';
  if (tape.is_text()) to[room - 1] = '\n';
  tape.filled += room;
}

std::int32_t closeTapeOut(TapeOut& tape, std::int64_t* lost) {
  TRACE_FRAME();
  putBlk(tape);
  if (tape.labelled) addTrailer(tape);
  if (!tape.stream.Close()) processError(errno, tape.device);
  if (lost != nullptr) *lost = tape.stream.lost();
  return tape.blocks_written;
}

}  // namespace tolvane
