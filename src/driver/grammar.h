// The grammar file: statements that fill the option set, with the copybook among them. Two kinds
// of error exist, deliberately: most end the reading, and what was read so far stands; some reject
// the file.
#pragma once

#include <string>

namespace tolvane {

// 1 when the file was accepted, 0 when it was rejected; after messages.
[[nodiscard]] int ParseOptionsFile(const std::string& name);

// Looks up the keys that options behind the grammar file name in its copybook. 1, or 0 after a
// message: a field is missing, or an option comes too late for how the copybook was read.
[[nodiscard]] int SettleLateOptions();

}  // namespace tolvane
