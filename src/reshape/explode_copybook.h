// The copybook of the records that explosion and date expansion make: the copybook's own lines, in
// which only the clauses change that must. Columns, comments and sequence numbers stay.
#pragma once

namespace tolvane {

// Writes it beside the copybook, with ".EXP" added to its name, and the same for a member that it
// copies and whose fields change. Of a copybook inside a grammar file only its lines are written.
// 1, or 0 after a message.
[[nodiscard]] int writeExpCopybook();

}  // namespace tolvane
