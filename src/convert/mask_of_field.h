// What conversion makes of one field of a copybook, by its usage, its name and the options.
#pragma once

#include "convert/mask.h"
#include "copybook/field.h"

namespace tolvane {

// Whether a RAW statement names the field: it is binary then, whatever it is described as.
[[nodiscard]] bool IsRawField(const copybook::Field& field);

// Whether the field is a signed unpacked one, whose compiler must be known.
[[nodiscard]] bool NeedsCompiler(const copybook::Field& field);

// The item for one occurrence of a field, without its place; type 0: the field is text, or needs a
// compiler that the options do not tell.
[[nodiscard]] MaskItem MaskItemOf(const copybook::Field& field);

// The same with a type of the caller's choice.
[[nodiscard]] MaskItem MaskItemOf(const copybook::Field& field, char type);

}  // namespace tolvane
