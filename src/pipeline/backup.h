// The backup pipeline: the records of a platform file go to a backup volume.
#pragma once

#include "media/tape_io.h"
#include "pipeline/backrest.h"

namespace tolvane {

struct BackupRequest {
  InputKind kind = InputKind::kTape;
  Conversion conversion = Conversion::kNone;
};

// Backs opt.infile up to opt.outfile. 1, or 0 on failure after its messages.
[[nodiscard]] int BackUp(const BackupRequest& request);

}  // namespace tolvane
