// The state of one restore or backup: counters, settled sizes, the volume in use. Reset by
// assignment at its start.
#pragma once

#include <cstdint>
#include <string>

namespace tolvane {

struct TapeIo;

struct Run {
  std::int64_t nCurrInputRec = 0;    // records read
  std::int64_t nCurrOutputRec = 0;   // records handed to the output
  std::int64_t nCurrSkippedRec = 0;  // SDF records skipped
  bool sw_a2e = false;               // records are translated from ASCII to EBCDIC
  std::string report_name;           // the side files' name without suffix; empty: opt.outfile
};

extern Run run;

// Settled while the run is prepared.
struct Sizes {
  std::int32_t gblCpySize = 0;     // record size of the copybook, bytes
  std::int32_t gblExpRecSize = 0;  // after explosion or date expansion
};

extern Sizes sizes;

// The open backup volume; null while none is.
extern TapeIo* pTapeIo;

// The invocation name.
extern const char* progName;

}  // namespace tolvane
