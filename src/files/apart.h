// What a run must leave alone: nothing that it writes or removes may be one of the files that it
// reads, be it the other end of the transfer, a copybook or the grammar file, and no flat file may
// take the place of one half of an indexed one.
//
// Reads the option set and the run's copybooks. Every check returns 1, or 0 after a message that
// names the file.
#pragma once

#include <string>

namespace tolvane {

// Before a restore of a backup volume into the platform file `name`, with the reports beside it.
[[nodiscard]] int CheckRestoreApart(const std::string& volume, const std::string& name);

// Before a backup of the platform file `name` to a volume.
[[nodiscard]] int CheckBackupApart(const std::string& name, const std::string& volume);

// Before opt.outfile is deleted in a run that goes on to restore or to back up.
[[nodiscard]] int CheckDeletionApart();

// Before a text, such as the mask file, is written.
[[nodiscard]] int CheckTextApart(const std::string& path);

// Before a flat file is written: `path` is no data or index file of an indexed file.
[[nodiscard]] int CheckNoIndexedFile(const std::string& path);

}  // namespace tolvane
