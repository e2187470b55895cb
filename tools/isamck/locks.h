// The engine's advisory locks, as far as the checker takes them.
#pragma once

#include <string>

namespace isamck {

// A check keeps exclusive openers and updates out while it reads: false when the file is open
// exclusively elsewhere.
[[nodiscard]] bool LockForCheck(int fd);

// A rebuild needs the file for itself: false when anybody has it open, or when `name` no longer
// leads to it.
[[nodiscard]] bool LockForRebuild(int fd, const std::string& name);

}  // namespace isamck
