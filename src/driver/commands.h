// The dispatch of one run's operations.
#pragma once

namespace tolvane {

// Runs the operations that the option set asks for, in their fixed order. 1 when the run is done,
// also after an operation that reported its own error and stopped without harm; 0 on failure.
int ExecuteCommandLine();

}  // namespace tolvane
