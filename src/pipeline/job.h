// What a run of the pipelines is to do, as DecideJob works it out from the options. Names, sizes
// and counts of records stay in the option set.
#pragma once

#include "media/tape_io.h"

namespace tolvane {

// How characters are converted.
enum class Conversion : int {
  kNone = -1,
  kToAscii = 0,   // EBCDIC to ASCII
  kToEbcdic = 1,  // ASCII to EBCDIC
};

struct Job {
  InputKind kind = InputKind::kTape;  // the form of the backup
  Conversion conversion = Conversion::kNone;
};

}  // namespace tolvane
