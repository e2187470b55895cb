// A backup being written: records packed into fixed or variable blocks or text lines, between
// labels when it has a volume serial and a file label. On a tape each block is one write, and a
// labelled backup goes on on the next volume when one is full. On a disk file labels are blocks
// like any other and there are no tape marks.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "datarep/byte_order.h"
#include "media/copyg_blocks.h"
#include "media/drive.h"
#include "media/labels.h"
#include "media/output_stream.h"
#include "media/tape_io.h"

namespace tolvane {

struct TapeOutRequest {
  std::string path{};
  std::int32_t block_size = 0;  // below 1: the record size
  std::int32_t record_size = 0;
  std::string volume_serial{};
  std::string file_label{};
  InputKind kind = InputKind::kTape;
  bool fixed = true;
};

struct TapeOut {
  std::int32_t block_size = 0;
  std::int32_t record_size = 0;
  std::int32_t blocks_written = 0;  // on all volumes
  std::int32_t blocks_on_volume = 0;
  std::int32_t volume_number = 1;  // the one being written
  InputKind kind = InputKind::kTape;
  bool fixed = true;  // blocks of one size, if the kind does not say so
  bool labelled = false;
  std::unique_ptr<CopygBlocks> copyg;  // a COPYG volume; null for others
  std::string device;
  std::string volume_serial;
  std::string file_label;

  std::unique_ptr<Drive> drive;         // a tape; null for a file
  OutputStream stream{"Block"};         // a file
  std::vector<Byte> buffer;             // a tape's block being filled
  std::int64_t lost = 0;                // blocks that the drive refused
  std::vector<std::uint16_t> quarters;  // a COPYG record
  Byte* block = nullptr;   // the block being filled, in the buffer or the stream's room; or null
  std::size_t filled = 0;  // its bytes, its descriptor included

  [[nodiscard]] bool is_variable() const {
    return !fixed && !is_text() && kind != InputKind::kCopyg;
  }
  [[nodiscard]] bool is_text() const { return IsText(kind); }
  [[nodiscard]] bool is_tape() const { return drive != nullptr; }
};

// Creates the volume and writes its header labels; of a COPYG volume also the header, from the file
// named like the volume with ".hdr" added. Null after a message with the reason.
[[nodiscard]] std::unique_ptr<TapeOut> openTapeOut(const TapeOutRequest& request);

// Adds one record of record_size bytes. False when a tape is full and no further volume came: the
// record and those of its block are not on the backup then. A block that a file did not take is
// reported and counted by the stream, and the run goes on.
[[nodiscard]] bool putTapeOut(TapeOut& tape, const Byte* record);

// Adds one record of 9-bit quarter-words to a COPYG volume; none ends the file. Fails as putTapeOut
// does, which on such a volume makes a quarter-word of each byte.
[[nodiscard]] bool putCopygBlk(TapeOut& tape, std::span<const std::uint16_t> record);

// Writes the last block, the trailer labels and tape marks, rewinds a device and closes. A volume
// on which something is missing gets no trailer. Returns the number of blocks written; LostBlocks
// then knows all those that could not be.
std::int32_t closeTapeOut(TapeOut& tape);

// Blocks that could not be written, as far as that is known.
[[nodiscard]] std::int64_t LostBlocks(const TapeOut& tape);

// Makes what was written so far visible to those who look.
void FlushTapeOut(TapeOut& tape);

}  // namespace tolvane
