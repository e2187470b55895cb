#include "state/options.h"
#include "state/run.h"

namespace tolvane {

OptionSet opt;
LastingOptions lasting;
Run run;
Sizes sizes;
TapeIo* pTapeIo = nullptr;
const char* progName = "";

}  // namespace tolvane
