// The engine's memory for nodes and records.
#pragma once

#include <cstddef>
#include <memory>

#include "datarep/byte_order.h"

namespace isam {

using Buffer = std::unique_ptr<tolvane::Byte[]>;

// Zero-filled; ends the process with the fatal message when memory runs out.
[[nodiscard]] Buffer is_malloc(std::size_t bytes);

}  // namespace isam
