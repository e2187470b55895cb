// The mask list as a command line: what -F and MASKFILE write.
#pragma once

namespace tolvane {

// Writes opt.maskfile; nothing happens when it cannot be opened, and a warning tells.
void WriteMaskFile();

}  // namespace tolvane
