// The backup pipeline: the records of a platform file go to a backup volume.
#pragma once

#include "pipeline/job.h"

namespace tolvane {

// Backs opt.infile up to opt.outfile. 1, or 0 on failure after its messages.
[[nodiscard]] int BackUp(const Job& job);

}  // namespace tolvane
