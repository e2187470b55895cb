// The mask list from a copybook: its packed, binary, unpacked, floating-point and bit fields, the
// RAW fields, and groups of fields that apply to the records of an ID IS condition. The key table's
// field names are resolved on the way.
//
// All operations return 1, or 0 after messages.
#pragma once

#include "convert/copybook_source.h"
#include "convert/mask.h"

namespace tolvane {

// Compiles opt.copyfile, with the ID IS statements that may follow in it, and loads the list.
[[nodiscard]] int LoadMaskList();

// Loads the list from a compiled table. `reader` stands behind the description, where ID IS
// statements may follow; it is left at the token that is none.
[[nodiscard]] int LoadMaskList(const copybook::SymbolTable& table, CopybookReader& reader);

// Resolves the field names of the key table.
[[nodiscard]] int validateKeys(const copybook::SymbolTable& table);

// Whether a RAW statement names the field.
[[nodiscard]] bool IsRawField(const std::string& name);

// The item that conversion makes for one occurrence of a field, without its place; type 0: none.
[[nodiscard]] MaskItem MaskItemOf(const copybook::Field& field);

// Adds a field to the list, if its usage asks for it.
[[nodiscard]] int ProcessMaskListCandidate(const copybook::Field& field);

}  // namespace tolvane
