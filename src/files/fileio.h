// The output file before the first record: its name, the questions about it, and its creation.
//
// Reads and settles the option set (outfile, sizes, keys). Every operation prints its own messages
// and returns 1, or 0 when the run must stop. In automatic mode questions are answered as their
// texts say; end of input counts as the quitting answer.
#pragma once

#include <string>

namespace tolvane {

// Settles a name in place: asks for it when it is blank and the run needs it, and with -g takes
// path, type, sizes and keys from the platform's system file. A blank name of an SDF backup is made
// from the names on the volume. An absolute path is cut at its first blank, with a warning.
[[nodiscard]] int VerifyZorFileName(std::string& name);
// The same for a file that is used as it is: a name that needs none of this is taken to the letter.
[[nodiscard]] int SettleZorFileName(std::string& name);

// Checks the output file's name and creates the file.
[[nodiscard]] int CreateOutFile();

// Asks for what the options left open and creates the file.
[[nodiscard]] int CreateZorFile();

// Creates a relative or sequential file, empty.
[[nodiscard]] int createRelSeq();

}  // namespace tolvane
