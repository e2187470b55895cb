// The texts of 36-bit volumes: print files, which become one file of text lines, and element files,
// each of whose symbolic elements becomes one. docs/tapes.md says what is assumed of their layout.
//
// An element is written when its whole text could be read, and skipped with a message when not.
#pragma once

#include "media/tape_io.h"

namespace tolvane {

// Restores the print file to opt.outfile. 1, or 0 after a message.
[[nodiscard]] int RestorePrintFile(TapeIo& tape);

// Restores the symbolic elements to the directory of opt.outfile. 1, or 0 after a message.
[[nodiscard]] int RestoreElements(TapeIo& tape);

}  // namespace tolvane
