// The mask list as a command line: what -F and MASKFILE write.
#pragma once

namespace tolvane {

// Writes opt.maskfile; a warning tells when it cannot be written. 0, after a message, when it is a
// file that the run reads.
[[nodiscard]] int WriteMaskFile();

}  // namespace tolvane
