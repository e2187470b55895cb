// Whether a copybook describes fields that a plain translation would damage.
#pragma once

#include <string>

#include "copybook/field.h"

namespace tolvane {

// Reports on a copybook, in one line with `summary`. 1 when it was read, whatever was found; 0 when
// it could not be opened.
[[nodiscard]] int SearchCopyBookForBinaryFields(const std::string& path, bool summary);

// Whether it is such a field: binary, floating-point, packed or signed unpacked.
[[nodiscard]] bool IsFieldOfInterest(const copybook::Field& field);

}  // namespace tolvane
