// The restore pipeline: the records of a backup volume become records of a platform file.
#pragma once

#include <cstdint>

#include "media/tape_io.h"
#include "pipeline/backrest.h"

namespace tolvane {

struct RestoreRequest {
  std::int32_t block_size = 0;
  std::int32_t record_size = 0;
  InputKind kind = InputKind::kTape;
  Conversion conversion = Conversion::kNone;
  std::int64_t stop_count = 0;  // output records after which it ends
};

// Restores opt.infile to opt.outfile. A record that cannot be written does not stop the run; one
// that cannot be converted ends it, and the totals are printed all the same. 1, or 0 on failure.
[[nodiscard]] int PrepareRestoreOper(const RestoreRequest& request);

}  // namespace tolvane
