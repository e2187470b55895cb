// A backup volume being written: records packed into fixed or variable blocks or text lines,
// between labels when the volume has a serial and a label. On a disk file labels are blocks like
// any other and there are no tape marks.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "datarep/byte_order.h"
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
  std::int32_t blocks_written = 0;
  std::int32_t volume_number = 1;
  bool fixed_blocked = false;
  bool msdos_text = false;
  bool unix_text = false;
  bool labelled = false;
  std::string device;
  std::string volume_serial;
  std::string file_label;

  OutputStream stream{"Block"};
  Byte* block = nullptr;   // the block being filled, in the stream's room; null: none begun
  std::size_t filled = 0;  // its bytes, its descriptor included

  [[nodiscard]] bool is_variable() const { return !fixed_blocked && !is_text(); }
  [[nodiscard]] bool is_text() const { return msdos_text || unix_text; }
};

// Creates the volume and writes its header labels. Null after a message with the reason.
[[nodiscard]] std::unique_ptr<TapeOut> openTapeOut(const TapeOutRequest& request);

// Adds one record of record_size bytes. A block that it completes may fail to be written: the
// stream reports and counts that.
void putTapeOut(TapeOut& tape, const Byte* record);

// Writes the last block and the trailer labels and closes. Returns the number of blocks written;
// `lost`, when given, receives the number of blocks that could not be.
std::int32_t closeTapeOut(TapeOut& tape, std::int64_t* lost = nullptr);

}  // namespace tolvane
