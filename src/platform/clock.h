// Date and time of day, as messages and records show them. The clock is `sys.time`.
#pragma once

#include <ctime>
#include <string>

namespace tolvane {

// The local time now.
[[nodiscard]] std::tm LocalNow();

// The local date and time now: "2026/11/21 04:05:06".
[[nodiscard]] std::string GetDateString();

}  // namespace tolvane
