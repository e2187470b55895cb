// The backup pipeline: the records of a platform file go to a backup volume.
#pragma once

#include "pipeline/job.h"

namespace tolvane {

// Backs opt.infile up to opt.outfile. The run ends at the first record that cannot be converted or
// that a tape does not take, and goes on behind a block that a file does not take; the volume is
// closed and the totals are printed all the same. Asks for a record size that is missing, and
// settles opt.gblRecSize and, for the device of the environment, opt.outfile. Uses `run` for its
// counters. 1, or 0 on failure.
[[nodiscard]] int BackUp(const Job& job);

}  // namespace tolvane
