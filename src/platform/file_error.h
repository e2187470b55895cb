// The words for what the system says of a file.
#pragma once

#include <string>

namespace tolvane {

// Prints the message for a system error number met while opening, reading or writing `name`; none
// for 0.
void processError(int error, const std::string& name);

}  // namespace tolvane
