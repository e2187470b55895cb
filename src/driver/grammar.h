// The grammar file: statements that fill the option set, with the copybook among them. Two kinds
// of error exist, deliberately: most end the reading, and what was read so far stands; some reject
// the file.
#pragma once

#include <string>

namespace tolvane {

// 1 when the file was accepted, 0 when it was rejected; after messages.
[[nodiscard]] int ParseOptionsFile(const std::string& name);

}  // namespace tolvane
