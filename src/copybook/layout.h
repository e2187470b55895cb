// Layout: from the clauses of a record's items to usage, offset and length.
//
// Going down the record, an item takes over USAGE, SIGN and SYNCHRONIZED from its group; its
// picture is analysed; its length follows from the table of usages in layout.cpp. Items follow one
// another from offset 0. A redefinition begins where the item that it redefines begins, and may be
// longer: what follows then begins after the longer of the two.
//
// SYNCHRONIZED: binary items of 2 bytes lie at even offsets, longer ones, COMP-1, INDEX and POINTER
// at multiples of 4, COMP-2 at multiples of 8; slack bytes stand before the item, and before the
// groups that begin with it; after the last item of a table's element that holds such items, so
// that all elements are aligned alike. In 36-bit data the units are half-words (2 quarter-words)
// and words (4). No slack bytes stand before a redefinition.
//
// Bit fields follow one another bit by bit, occurrences too; other items and groups begin on a
// byte.
//
// The auxiliary record has the same items in the same order, each of the same length, but:
// - with keep_aux_locations, binary items have 2 bytes for 1 to 4 digits, 4 for 5 to 9, 8 for more;
// - bit fields stand in bytes of 8 bits, or without bit_to_byte take a character per bit; the
//   unused bits at the end of a run then take characters too unless truncate_bits.
// Without these settings, auxiliary and source locations are the same.
#pragma once

#include "copybook/diagnostics.h"
#include "copybook/settings.h"
#include "copybook/symbol_table.h"

namespace tolvane::copybook {

// Fills in the fields of `record` and its lengths; errors go to the diagnostics.
void LayOut(RecordDescription& record, const Settings& settings, Diagnostics& diagnostics);

// Fills in a level 66 field from the fields that it renames.
void LayOutRenames(Field& field, Diagnostics& diagnostics);

}  // namespace tolvane::copybook
