// The restore pipeline: the records of a backup volume become records of a platform file.
#pragma once

#include "pipeline/job.h"

namespace tolvane {

// Restores opt.infile to opt.outfile, or only looks at its records when an analysis is all that is
// asked for. Settles the sizes of the option set with the user; uses `run` for its counters. A
// record that cannot be written does not stop the run; one that cannot be converted ends it, and
// the totals are printed all the same. 1, or 0 on failure.
[[nodiscard]] int PrepareRestoreOper(const Job& job);

}  // namespace tolvane
