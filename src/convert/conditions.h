// Match conditions: which group of mask items applies to a record. Evaluated on the unconverted
// record.
#pragma once

#include <span>
#include <string_view>

#include "convert/mask.h"
#include "datarep/byte_order.h"

namespace tolvane {

// Whether a three-way comparison (negative, zero, positive) satisfies an operator; false for
// anything but "EQ", "NE", "GT", "GE", "LT" and "LE".
[[nodiscard]] bool Satisfies(std::string_view op, int comparison);

[[nodiscard]] bool IsOperator(std::string_view op);

// Whether the condition item holds for the record. A record that ends inside the compared field
// compares as the shorter text.
[[nodiscard]] bool EvaluateMatchConditions(std::span<const Byte> record, const MaskItem& item);

// Translates the literal of a condition item to EBCDIC, once, before EBCDIC records are compared.
void ConvertIdIsConditionToEbcdic(MaskItem& item);

}  // namespace tolvane
