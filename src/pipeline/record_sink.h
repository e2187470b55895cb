// Where restored records go: a flat file, an indexed file, or nowhere (an analysis). A record is
// built in the sink's own room, so that a flat one goes from block to file in one pass.
//
// A record that cannot be written is reported with its number; the run goes on and `lost` counts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "datarep/byte_order.h"

namespace tolvane {

class RecordSink {
 public:
  virtual ~RecordSink() = default;

  // Room for one record of at most `bytes` bytes and a few more behind it, valid until the next
  // call of Room. `descriptor_length` is the length that a variable record's descriptor says.
  [[nodiscard]] virtual Byte* Room(std::size_t bytes, std::int32_t descriptor_length) = 0;
  // The record in the room is complete with `size` bytes; `number` counts from 1.
  virtual void Put(std::size_t size, std::int64_t number) = 0;
  // Makes what was put visible to those who look.
  virtual void Flush() {}
  // Writes out what is held back. False after a message.
  [[nodiscard]] virtual bool Close() { return true; }
  // Records that could not be written, duplicates not among them.
  [[nodiscard]] virtual std::int64_t lost() const { return 0; }
};

// opt.outfile as a relative or sequential file; with `variable` records keep their own lengths.
// Null after a message.
[[nodiscard]] std::unique_ptr<RecordSink> OpenFlatSink(bool variable);
// opt.outfile as an indexed file, locked exclusively. Null after a message.
[[nodiscard]] std::unique_ptr<RecordSink> OpenIndexedSink();
// Records are built and dropped.
[[nodiscard]] std::unique_ptr<RecordSink> OpenNullSink();

}  // namespace tolvane
