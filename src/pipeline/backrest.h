// The single entry of every backup, restore and analysis run.
#pragma once

namespace tolvane {

// Decides the input kind and the conversion from the options and runs the job. Works on the
// option set; prints its own messages. 1, or 0 on failure.
[[nodiscard]] int PrepareBackupRestoreOper();

}  // namespace tolvane
