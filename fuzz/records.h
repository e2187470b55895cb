// The records of a volume under test.
#pragma once

#include <algorithm>
#include <cstdlib>

#include "media/tape_io.h"

namespace tolvane::fuzz {

// Reads them all, every byte of each. They must keep within the record size or, when they are
// variable, the capacity, and a volume of `bytes` bytes can not hold more records than that.
inline void ReadRecords(TapeIo& tape, std::int32_t capacity, std::size_t bytes) {
  for (std::size_t records = 0;; ++records) {
    const TapeRecord record = getTapeIn(tape, capacity);
    if (record.length == 0) return;
    const auto most = static_cast<std::size_t>(tape.variable_blocked ? capacity : tape.record_size);
    if (record.data.size() > most || records == bytes) std::abort();
    volatile Byte seen = 0;  // so that the reads happen
    for (const Byte byte : record.data) seen = byte;
    (void)seen;
  }
}

}  // namespace tolvane::fuzz
