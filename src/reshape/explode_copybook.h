// The copybook of the records that explosion and date expansion make: the copybook's own lines, in
// which only the clauses change that must. Columns, comments and sequence numbers stay.
//
// What no clause can say is an entry more: slack bytes and unused bits become a FILLER, and where
// the layouts of a place do not reach its size, a FILLER that redefines it does. SYNCHRONIZED is
// taken out, as the slack bytes stay what they were.
//
// Before it is written the copybook is compiled and held against the records, field by field, so
// that it never describes others.
#pragma once

namespace tolvane {

// Writes it beside the copybook, with ".EXP" added to its name, and the same for a member that it
// copies and whose fields change. Of a copybook inside a grammar file only its lines are written.
// 1, or 0 after a message.
[[nodiscard]] int writeExpCopybook();

}  // namespace tolvane
