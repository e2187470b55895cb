// Explosion of fields: a packed field becomes unpacked digits, and signed fields get, on request, a
// byte of their own for the sign. Works on converted records.
//
// A signed field without a byte for its sign keeps it in the zone of its last digit, in the form of
// the target compiler. A field of blanks becomes blanks.
#pragma once

#include <cstdint>
#include <span>

#include "convert/mask.h"
#include "datarep/byte_order.h"

namespace tolvane {

// Warns of the groups of conditions that grow by more or less than what they replace.
void WarnOfUnequalGroups();

// Bytes of one occurrence after the explosion; 0 for a field that is not exploded.
[[nodiscard]] std::size_t ExplodedWidth(const MaskItem& item);

// Whether the sign of an exploded field stands in a byte behind its digits.
[[nodiscard]] bool HasSignBehind(const MaskItem& item);

// Explodes one occurrence into `out`, of ExplodedWidth bytes. With `ebcdic` the record is EBCDIC.
// False when a packed field was neither a number nor blank; what it holds is exploded all the same.
bool ExplodeField(std::span<const Byte> field, const MaskItem& item, bool ebcdic,
                  std::span<Byte> out);

}  // namespace tolvane
