// Widens one display date: its year of one or two digits becomes one of four.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "datarep/byte_order.h"

namespace tolvane {

// Writes the widened date, in the character set of `date` and `century`, to `to` and returns its
// length, at most 8; 0, and nothing is written, for a layout that is not widened. `century` is two
// characters (three for YMMDD), or a single fill character that is repeated in its place.
std::size_t ExpandDateField(std::span<const Byte> date, char layout, std::string_view century,
                            Byte* to);

}  // namespace tolvane
