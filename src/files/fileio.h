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
// from the names on the volume.
[[nodiscard]] int VerifyZorFileName(std::string& name);

// 1 when a backup volume is none of the files of the platform file `name` and, of a restore, none
// of the reports beside it; 0 after a message.
[[nodiscard]] int CheckApart(const std::string& volume, const std::string& name);

// Checks the output file's name and creates the file.
[[nodiscard]] int CreateOutFile();

// Asks for what the options left open and creates the file.
[[nodiscard]] int CreateZorFile();

// 1 when a flat file may be written as `name`; 0, after a message, when that name is the data file
// of an indexed one.
[[nodiscard]] int CheckNoIndexedFile(const std::string& name);

// Creates a relative or sequential file, empty.
[[nodiscard]] int createRelSeq();

}  // namespace tolvane
