// A platform file being read for a backup, record by record, whatever its organisation.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "datarep/byte_order.h"

namespace tolvane {

class PlatformFile {
 public:
  virtual ~PlatformFile() = default;

  // The next record that is present, valid until the next call; nothing at the end or on an error.
  [[nodiscard]] virtual std::optional<std::span<const Byte>> Next() = 0;
  // Prints the message for the error that ended the records and returns true; false at a plain
  // end.
  [[nodiscard]] virtual bool Failed() = 0;
  // Deleted records passed over so far.
  [[nodiscard]] virtual std::int64_t deleted() const { return 0; }
};

// Opens opt.infile as a relative or sequential file of records of `record_size` bytes; null after
// a message. `before_wait` is called before a read that may block.
[[nodiscard]] std::unique_ptr<PlatformFile> OpenFlatFile(std::int32_t record_size, bool relative,
                                                         void (*before_wait)());

}  // namespace tolvane
