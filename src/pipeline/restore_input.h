// The backup volume of a restore, up to its first record: opened, and its sizes settled with the
// user. Reads and settles the option set (infile, record and block size).
#pragma once

#include <memory>

#include "media/tape_io.h"

namespace tolvane {

// Opens opt.infile, with a block size of its own choice where the options leave that open. Null
// after a message; of an empty input the output is created all the same, when that is asked for.
[[nodiscard]] std::unique_ptr<TapeIo> OpenRestoreInput(InputKind kind);

// Settles record and block size, and checks that fields given as options lie inside the records. 0
// after a message when the run must stop.
[[nodiscard]] int SettleRecordSize(TapeIo& tape);

}  // namespace tolvane
