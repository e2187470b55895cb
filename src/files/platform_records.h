// The output file's records in the platform's own files: zorsys (system), zorsec (security) and
// zorcatlg (catalogue), which stand in the directory `zorvafiles`. One table of fields per record
// serves writer and reader.
//
// Each of the three additions returns 1 when the platform file could be opened, whatever then
// became of the record, and 0 when it could not; messages tell.
#pragma once

#include <string>

namespace tolvane {

// The platform's types of files.
enum class SystemFileType { kSequential = 5, kIndexed = 8, kRelative = 9 };

[[nodiscard]] int AddRecordToSystemFile(SystemFileType type);
[[nodiscard]] int AddRecordToSecurityFile();
[[nodiscard]] int AddRecordToZorCatLg();

// What -g takes from the system file: finds the record of a logical file name and settles the file
// type, sizes and keys in the option set. `path` receives the file's path, as far as the record
// tells. 0 when there is no such record, -1 after a message when the file could not be read.
[[nodiscard]] int ReadSystemRecord(const std::string& logical_name, std::string& path);

}  // namespace tolvane
