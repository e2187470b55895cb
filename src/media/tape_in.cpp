#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <utility>

#include "media/tape_io.h"
#include "platform/console.h"
#include "platform/interrupt.h"
#include "platform/paths.h"
#include "platform/trace.h"

namespace tolvane {
namespace {

constexpr std::size_t kFileLabelWidth = 17;
constexpr Byte kControlZ = 0x1A;

// Reports what is wrong and ends the input for good. 0.
[[gnu::format(printf, 2, 3)]] std::size_t GiveUp(TapeIo& tape, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  VPrintError(format, values);
  va_end(values);
  tape.damaged = true;
  tape.end_of_file = true;
  tape.block = {};
  return 0;
}

void TraceEnd(const TapeIo& tape, int error) {
  if (!tape.variable_blocked) TRACE_LINE("#tapein: End of fix tape (%d) %d\n", -1, error);
}

// Reports a read error once the stream has ended in one.
void ReportReadError(TapeIo& tape) {
  if (tape.stream.error() == 0 || tape.damaged) return;
  TRACE_LINE("#tapein: fread size: %d ret: %d; %s\n", tape.block_size, -1,
             std::strerror(tape.stream.error()));
  TraceEnd(tape, tape.stream.error());
  GiveUp(tape, "Reading '%s' after block %ld: %s\n", tape.device.c_str(), tape.blocks_read,
         std::strerror(tape.stream.error()));
}

// Takes `length` bytes that the stream has shown as the block at hand.
std::size_t TakeBlock(TapeIo& tape, std::span<const Byte> shown, std::size_t length) {
  tape.block = shown.first(length);
  tape.stream.Skip(length);
  if (length > 0) ++tape.blocks_read;
  return length;
}

// Drops the descriptor of the variable block at hand, which a tape gave whole.
std::size_t DropDescriptor(TapeIo& tape) {
  const std::size_t got = tape.block.size();
  const int length = got < kDescriptorWidth ? 0 : LoadBig<std::int16_t>(tape.block.data());
  if (length <= static_cast<int>(kDescriptorWidth) || static_cast<std::size_t>(length) > got) {
    return GiveUp(tape, "Block %ld of '%s' has %zu bytes and an impossible length: %d.\n",
                  tape.blocks_read, tape.device.c_str(), got, length);
  }
  if (static_cast<std::size_t>(length) < got && !tape.warned_of_tail) {
    PrintWarning("Block %ld of '%s' has %zu bytes behind its %d; such tails are passed over.\n",
                 tape.blocks_read, tape.device.c_str(), got - static_cast<std::size_t>(length),
                 length);
    tape.warned_of_tail = true;
  }
  tape.block_size = length;
  tape.block =
      tape.block.subspan(kDescriptorWidth, static_cast<std::size_t>(length) - kDescriptorWidth);
  return tape.block.size();
}

// Reads a block of a tape, or takes the one that stood where a label was looked for.
Drive::Block ReadTapeBlock(TapeIo& tape) {
  constexpr std::size_t kLeastCapacity = 32768;
  const bool of_any_size = tape.variable_blocked || tape.is_text() || tape.in_words();
  const auto size = static_cast<std::size_t>(std::max(tape.block_size, 1));
  const std::size_t most = of_any_size ? std::max(size, kLeastCapacity) : size + Drive::kMore;
  Drive::Block block = std::exchange(tape.has_early_block, false)
                           ? Drive::Block{.data = tape.early_block}
                       : of_any_size ? tape.drive->ReadBlock(most)
                                     : tape.drive->ReadFixedBlock(size);
  if (block.data.size() > most) block.error = ENOMEM;
  return block;
}

// Says why a block could not be read, and ends the input. 0.
std::size_t ReportBlock(TapeIo& tape, const Drive::Block& block) {
  TraceEnd(tape, block.error);
  if (block.error != ENOMEM)
    return GiveUp(tape, "Block %ld of '%s': %s\n", tape.blocks_read + 1, tape.device.c_str(),
                  std::strerror(block.error));
  const std::string length = block.data.empty()
                                 ? "is longer"
                                 : "has " + std::to_string(block.data.size()) + " bytes, more";
  return GiveUp(
      tape, "Block %ld of '%s' %s than the block size %d (of BLOCK SIZE IS or the HDR2 label).\n",
      tape.blocks_read + 1, tape.device.c_str(), length.c_str(), tape.block_size);
}

// The next block of a tape; 0 at a tape mark, at the end, and after an error.
std::size_t GetTapeBlock(TapeIo& tape) {
  if (tape.passed_end) return 0;
  const Drive::Block read = ReadTapeBlock(tape);
  if (read.error != 0) return ReportBlock(tape, read);
  tape.block = read.data;
  if (!read.data.empty()) {
    ++tape.blocks_read;
    return tape.variable_blocked ? DropDescriptor(tape) : read.data.size();
  }
  TRACE_LINE("#tapein: tape mark %s tape\n", tape.variable_blocked ? "var" : "fix");
  if (tape.labelled && !tape.drive->Reopen()) {
    GiveUp(tape, "Stepping over a tape mark of '%s': %s\n", tape.device.c_str(),
           std::strerror(errno));
  }
  return 0;
}

void WarnOfRest(TapeIo& tape, std::int64_t block, std::size_t bytes) {
  if (!std::exchange(tape.warned_of_rest, true))
    PrintWarning(
        "Block %ld of '%s' ends in %zu bytes that are no whole record of %d; such rests are "
        "passed over.\n",
        block, tape.device.c_str(), bytes, tape.record_size);
}

// Takes bytes of a file of fixed blocks, of which it knows by their number which block they are of.
std::size_t TakePiece(TapeIo& tape, std::span<const Byte> shown, std::size_t length) {
  tape.block = shown.first(length);
  tape.stream.Skip(length);
  tape.bytes_read += static_cast<std::int64_t>(length);
  tape.blocks_read = (tape.bytes_read + tape.block_size - 1) / tape.block_size;
  return length;
}

// Whole records of the fixed blocks of a file: many from a file, from a pipe as many as there are.
// The rest of a block that is no whole record is passed over when something follows it, else it is
// a record cut short.
std::size_t GetFixedBlock(TapeIo& tape) {
  constexpr std::size_t kPiece = std::size_t{64} << 10;
  const auto block_size = static_cast<std::size_t>(tape.block_size);
  const std::size_t record_size = std::min(static_cast<std::size_t>(tape.record_size), block_size);
  const std::size_t rest = block_size % record_size;
  const std::size_t left =
      block_size - static_cast<std::size_t>(tape.bytes_read) % block_size - rest;
  if (rest > 0 && left == 0) {
    const auto shown = tape.stream.Peek(rest + 1);
    if (shown.size() <= rest) return TakePiece(tape, shown, shown.size());
    (void)TakePiece(tape, shown, rest);
    WarnOfRest(tape, tape.blocks_read, rest);
    return GetFixedBlock(tape);
  }
  const std::size_t piece = std::max(kPiece, record_size);
  const std::size_t most = rest > 0 ? std::min(left, piece) : piece;
  const auto shown = tape.stream.Peek(tape.stream.is_regular() ? most : record_size);
  const std::size_t length = std::min(shown.size(), most);
  return TakePiece(tape, shown, length > record_size ? length - length % record_size : length);
}

std::size_t GetVariableBlock(TapeIo& tape) {
  const auto head = tape.stream.Peek(kDescriptorWidth);
  if (head.empty()) return 0;
  if (head.size() < kDescriptorWidth) {
    return GiveUp(tape, "'%s' ends inside the descriptor of block %ld: %zu of %zu bytes.\n",
                  tape.device.c_str(), tape.blocks_read + 1, head.size(), kDescriptorWidth);
  }
  const int length = LoadBig<std::int16_t>(head.data());
  if (length <= static_cast<int>(kDescriptorWidth)) {
    return GiveUp(tape, "Block %ld of '%s' has an impossible length: %d.\n", tape.blocks_read + 1,
                  tape.device.c_str(), length);
  }
  tape.stream.Skip(kDescriptorWidth);
  const auto wanted = static_cast<std::size_t>(length) - kDescriptorWidth;
  const auto shown = tape.stream.Peek(wanted);
  if (shown.size() < wanted) {
    PrintWarning("Incomplete V.B. with size=%d at E-O-F\n", length);
    PrintWarning("'%s' ends inside block %ld: %zu of %zu bytes.\n", tape.device.c_str(),
                 tape.blocks_read + 1, shown.size(), wanted);
    tape.damaged = true;
  }
  tape.block_size = length;
  return TakeBlock(tape, shown, std::min(shown.size(), wanted));
}

// The line at the stream's front with its line feed, or its first `most` bytes.
std::span<const Byte> PeekLine(InputStream& stream, std::size_t most) {
  for (std::size_t seen = 0;;) {
    const auto shown = stream.Peek(seen + 1);
    const auto line = shown.first(std::min(shown.size(), most));
    const auto feed = std::find(line.begin() + static_cast<std::ptrdiff_t>(std::min(seen, most)),
                                line.end(), Byte{'\n'});
    if (feed != line.end()) return line.first(static_cast<std::size_t>(feed - line.begin()) + 1);
    if (line.size() == most || shown.size() <= seen) return line;
    seen = shown.size();
  }
}

// The same for a tape, whose blocks follow each other as text.
std::span<const Byte> PeekTapeLine(TapeIo& tape, std::size_t most) {
  for (std::size_t searched = 0;;) {
    const auto begin = tape.text.begin() + static_cast<std::ptrdiff_t>(searched);
    const auto feed = std::find(begin, tape.text.end(), Byte{'\n'});
    const auto ended = static_cast<std::size_t>(feed - tape.text.begin());
    if (feed != tape.text.end() && ended < most) return std::span(tape.text).first(ended + 1);
    if (tape.text.size() >= most) return std::span(tape.text).first(most);
    searched = tape.text.size();
    while (GetTapeBlock(tape) == 0)
      if (InterruptScope::Pending() != 0 || readEof(tape) == 0) return tape.text;
    tape.text.insert(tape.text.end(), tape.block.begin(), tape.block.end());
  }
}

// A Ctrl-Z ends a text; what stands behind its line is told when it can be seen without waiting.
void WarnBehindControlZ(TapeIo& tape, std::size_t line) {
  constexpr std::size_t kLookAhead = 4096;
  if (!tape.stream.is_regular()) return;
  const auto shown = tape.stream.Peek(line + kLookAhead);
  const bool text =
      std::any_of(shown.begin() + static_cast<std::ptrdiff_t>(line), shown.end(),
                  [](Byte b) { return b != kControlZ && b != '\r' && b != '\n' && b != 0; });
  if (text)
    PrintWarning("'%s' has text behind the Ctrl-Z in line %ld; it is not read.\n",
                 tape.device.c_str(), tape.blocks_read + 1);
}

// One line, without its end, padded with spaces to the record size. A line of more than a
// record's bytes goes on in the next record.
std::size_t GetLine(TapeIo& tape) {
  const auto record_size = static_cast<std::size_t>(tape.record_size);
  const bool is_msdos = tape.kind == InputKind::kMsdosText;
  const std::size_t end_width = is_msdos ? 2 : 1;
  const std::size_t most = record_size + end_width;
  const auto shown = tape.is_tape() ? PeekTapeLine(tape, most) : PeekLine(tape.stream, most);
  if (shown.empty()) return 0;

  std::size_t taken = shown.size();
  std::span<const Byte> line = shown;
  if (line.back() == '\n') line = line.first(line.size() - 1);
  const bool ended = line.size() < shown.size() || shown.size() < most;  // or the input ends
  if (ended && is_msdos && !line.empty() && line.back() == '\r') line = line.first(line.size() - 1);
  if (line.size() < 3 && !line.empty() && line.front() == kControlZ) {
    WarnBehindControlZ(tape, shown.size());
    return 0;
  }
  if (line.size() > record_size) {
    line = line.first(record_size);
    taken = record_size;
    if (!tape.warned_of_split)
      PrintWarning(
          "Line %ld of '%s' is longer than the record size %d; it goes on in the next "
          "record.\n",
          tape.blocks_read + 1, tape.device.c_str(), tape.record_size);
    tape.warned_of_split = true;
  }
  tape.assembled.assign(line.begin(), line.end());
  tape.assembled.resize(record_size, ' ');
  if (tape.is_tape()) {
    tape.text.erase(tape.text.begin(), tape.text.begin() + static_cast<std::ptrdiff_t>(taken));
  } else {
    TakeBlock(tape, shown, taken);
  }
  tape.block = tape.assembled;
  return record_size;
}

// The next block, on the next volume if this one is at its end; 0 when there is none.
std::size_t NextBlock(TapeIo& tape) {
  std::size_t length = getBlk(tape);
  while (length == 0 && InterruptScope::Pending() == 0 && readEof(tape) != 0) length = getBlk(tape);
  return length;
}

// The header of a COPYG volume stands in a block of its own, the head of the first block perhaps
// with it. False when it does not.
bool CheckCopygHeader(TapeIo& tape) {
  constexpr std::size_t kWithHead = kCopygHeaderBytes + kCopygHeadBytes;
  const std::size_t got = tape.block.size();
  if (got == kCopygHeaderBytes || got == kWithHead) return true;
  GiveUp(tape, "Block 1 of '%s' has %zu bytes; the header of a COPYG volume has %zu or %zu.\n",
         tape.device.c_str(), got, kCopygHeaderBytes, kWithHead);
  return false;
}

// The next block of a tape of words. A block of another size, but for the last, would shift all
// words behind it.
std::size_t NextWordBlock(TapeIo& tape) {
  const bool is_header = tape.kind == InputKind::kCopyg && tape.blocks_read == 0;
  const std::size_t got = NextBlock(tape);
  if (!tape.word_blocks() || got == 0) return got;
  if (is_header) return CheckCopygHeader(tape) ? got : 0;
  const std::size_t last = std::exchange(tape.last_word_block, got);
  if (last == kCopygBlockBytes) return got;
  return GiveUp(tape, "Block %ld of '%s' has %zu bytes and is not the last; whole ones have %zu.\n",
                tape.blocks_read - 1, tape.device.c_str(), last, kCopygBlockBytes);
}

// What a block leaves when its size is no multiple of the record size is passed over, unless the
// input ends there: then it is a record cut short.
bool PassRest(TapeIo& tape) {
  tape.rest.assign(tape.block.begin(), tape.block.end());
  if (NextBlock(tape) == 0) {
    tape.block = tape.rest;
    return !tape.block.empty();
  }
  if (!tape.rest.empty()) WarnOfRest(tape, tape.blocks_read - 1, tape.rest.size());
  return true;
}

TapeRecord GetFixedRecord(TapeIo& tape) {
  const auto record_size = static_cast<std::size_t>(tape.record_size);
  if (tape.block.size() < record_size && !PassRest(tape)) return {};
  const std::size_t length = std::min(record_size, tape.block.size());
  const TapeRecord record{tape.block.first(length), static_cast<std::int32_t>(length)};
  if (length < record_size)
    PrintWarning("'%s' ends inside record %ld: %zu of %zu bytes.\n", tape.device.c_str(),
                 tape.records + 1, length, record_size);
  tape.block = tape.is_text() ? std::span<const Byte>{} : tape.block.subspan(length);
  return record;
}

// A record whose descriptor promises more than its block holds goes on at the front of the blocks
// behind it. Deliberate: it is handed out whole, however short these are; what was left of it there
// would be taken for descriptors.
TapeRecord CompleteFromNextBlocks(TapeIo& tape, std::size_t length) {
  PrintWarning("Record %ld of '%s' runs past the end of block %ld.\n", tape.records + 1,
               tape.device.c_str(), tape.blocks_read);
  const std::size_t wanted = length - kDescriptorWidth;
  std::vector<Byte>& record = tape.assembled;
  record.assign(tape.block.begin() + kDescriptorWidth, tape.block.end());
  while (record.size() < wanted && NextBlock(tape) != 0) {
    const auto piece = tape.block.first(std::min(wanted - record.size(), tape.block.size()));
    record.insert(record.end(), piece.begin(), piece.end());
    tape.block = tape.block.subspan(piece.size());
  }
  if (record.size() < wanted) {
    PrintWarning("'%s' ends inside record %ld: %zu of %zu bytes.\n", tape.device.c_str(),
                 tape.records + 1, record.size(), wanted);
    tape.damaged = true;
  }
  return {record, static_cast<std::int32_t>(record.size() + kDescriptorWidth)};
}

int DescribedLength(std::span<const Byte> at) {
  return at.size() < kDescriptorWidth ? 0 : LoadBig<std::int16_t>(at.data());
}

// Up to four bytes are no record, unless they are the descriptor of an empty one.
bool HoldsNoRecord(std::span<const Byte> rest) {
  return rest.size() <= kDescriptorWidth && DescribedLength(rest) != int{kDescriptorWidth};
}

TapeRecord GetVariableRecord(TapeIo& tape, std::int32_t capacity) {
  if (HoldsNoRecord(tape.block) && NextBlock(tape) == 0) return {};
  const int length = DescribedLength(tape.block);
  if (length < static_cast<int>(kDescriptorWidth)) {
    GiveUp(tape, "Record %ld of '%s' (block %ld) has an impossible length: %d.\n", tape.records + 1,
           tape.device.c_str(), tape.blocks_read, length);
    return {};
  }
  tape.record_size = length;
  if (length - static_cast<int>(kDescriptorWidth) > capacity) {
    PrintError("Variable Rec-Size=%d > Booksize=%d\n", length, capacity);
    tape.damaged = true;
    return {};
  }
  const auto size = static_cast<std::size_t>(length);
  if (size > tape.block.size()) {
    const TapeRecord record = CompleteFromNextBlocks(tape, size);
    tape.record_size = record.length;
    return record;
  }
  const TapeRecord record{tape.block.subspan(kDescriptorWidth, size - kDescriptorWidth), length};
  tape.block = tape.block.subspan(size);
  return record;
}

// The next variable record of words that has any; none at the end.
std::span<const Byte> NextWordRecord(TapeIo& tape) {
  for (;;) {
    const TapeRecord record = GetVariableRecord(tape, INT32_MAX);
    if (record.length == 0 || !record.data.empty()) return record.data;
  }
}

// Settles what the kind of the input says of its blocks.
void SetKind(TapeIo& tape, const TapeInRequest& request) {
  tape.kind = request.kind;
  if (tape.is_text()) {
    tape.volume_serial = tape.kind == InputKind::kUnixText ? "UNIX" : "MSDOS";
    tape.block_size = request.record_size;
  } else if (tape.word_blocks()) {
    tape.block_size = static_cast<std::int32_t>(kCopygBlockBytes);
  }
  tape.variable_blocked = !request.fixed && !tape.is_text() && !tape.word_blocks();
}

}  // namespace

std::span<const Byte> getCopygSdfBlk(TapeIo& tape, std::size_t most) {
  std::span<const Byte> shown;
  if (!tape.is_tape() && !tape.variable_blocked) {
    shown = tape.stream.Peek(most);
    shown = shown.first(std::min(most, shown.size()));
    tape.stream.Skip(shown.size());
    if (!shown.empty()) return shown;
    ReportReadError(tape);
    (void)readEof(tape);  // a file has no further volume
    return {};
  }
  if (tape.words_left.empty())
    tape.words_left = tape.variable_blocked      ? NextWordRecord(tape)
                      : NextWordBlock(tape) != 0 ? std::exchange(tape.block, {})
                                                 : std::span<const Byte>{};
  shown = tape.words_left.first(std::min(most, tape.words_left.size()));
  tape.words_left = tape.words_left.subspan(shown.size());
  return shown;
}

std::unique_ptr<TapeIo> openTapeIn(const TapeInRequest& request) {
  TRACE_FRAME();
  auto tape = std::make_unique<TapeIo>();
  tape->names = NamesOfVolume(request.path);
  tape->device = tape->names.rewind;
  OpenedDrive opened =
      OpenDrive({.names = tape->names, .use = DriveUse::kRead, .before_wait = request.before_wait});
  if (opened.is_drive && opened.drive == nullptr) return nullptr;
  tape->drive = std::move(opened.drive);
  tape->record_size = request.record_size;
  tape->block_size = request.block_size < 1 ? request.record_size : request.block_size;
  tape->file_label = BaseName(tape->device).substr(0, kFileLabelWidth);
  SetKind(*tape, request);
  tape->stream.before_wait = request.before_wait;
  if (!tape->is_tape() && !tape->stream.Open(tape->device)) return nullptr;
  errno = 0;
  if (readHdr(*tape) == 0) return nullptr;
  if (!tape->is_tape() && !tape->labelled && tape->stream.Peek(1).empty()) {
    errno = tape->stream.error();
    return nullptr;
  }
  if (tape->in_words() && !OpenWords(*tape)) return nullptr;
  return tape;
}

void closeTapeIn(TapeIo& tape) {
  TRACE_FRAME();
  if (tape.is_tape() && !tape.drive->Close())
    PrintWarning("'%s' could not be rewound.\n", tape.device.c_str());
  tape.drive.reset();
}

std::size_t getBlk(TapeIo& tape) {
  tape.block = {};
  if (tape.end_of_file) return 0;
  const std::size_t length = tape.is_text()          ? GetLine(tape)
                             : tape.is_tape()        ? GetTapeBlock(tape)
                             : tape.variable_blocked ? GetVariableBlock(tape)
                                                     : GetFixedBlock(tape);
  if (length == 0) {
    ReportReadError(tape);
    tape.end_of_file = true;
  }
  return length;
}

TapeRecord getTapeIn(TapeIo& tape, std::int32_t capacity) {
  const TapeRecord record =
      tape.variable_blocked ? GetVariableRecord(tape, capacity) : GetFixedRecord(tape);
  if (record.length > 0) ++tape.records;
  return record;
}

}  // namespace tolvane
