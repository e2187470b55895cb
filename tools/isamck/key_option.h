// A key as written on the command line.
#pragma once

#include <optional>
#include <string>

#include "index_file.h"

namespace isamck {

// "START,LENGTH[,TYPE][,desc][+START,LENGTH...][,dups][,flags=N]". Nothing when it is not that, or
// when the engine would not take such a key.
[[nodiscard]] std::optional<Key> ParseKeyOption(const std::string& text);

}  // namespace isamck
