// Explosion of fields: a packed field becomes unpacked digits, and signed fields get, on request, a
// byte of their own for the sign. Works on converted records.
//
// A signed field without a byte for its sign keeps it in the zone of its last digit, in the form of
// the target compiler.
#pragma once

#include <cstdint>
#include <span>

#include "convert/mask.h"
#include "datarep/byte_order.h"

namespace tolvane {

// Bytes by which records grow, computed once; with warnings of redefinitions that grow differently.
// Redefinitions of one place grow to the largest of them.
[[nodiscard]] std::int32_t explodeSize();

// Bytes of one occurrence after the explosion; 0 for a field that is not exploded.
[[nodiscard]] std::size_t ExplodedWidth(const MaskItem& item);

// Whether the sign of an exploded field stands in a byte behind its digits.
[[nodiscard]] bool HasSignBehind(const MaskItem& item);

// Explodes one occurrence into `out`, of ExplodedWidth bytes. With `ebcdic` the record is EBCDIC.
void ExplodeField(std::span<const Byte> field, const MaskItem& item, bool ebcdic,
                  std::span<Byte> out);

}  // namespace tolvane
