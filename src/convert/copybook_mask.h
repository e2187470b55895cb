// The mask list from a copybook: its packed, binary, unpacked, floating-point and bit fields, the
// RAW fields, and groups of fields that apply to the records of an ID IS condition. The key table's
// field names are resolved on the way.
//
// All operations return 1, or 0 after messages.
#pragma once

#include "convert/copybook_source.h"

namespace tolvane {

// Compiles opt.copyfile, with the ID IS statements that may follow in it, and loads the list.
[[nodiscard]] int LoadMaskList();

// Loads the list from a compiled table. `reader` stands behind the description, where ID IS
// statements may follow; it is left at the token that is none.
[[nodiscard]] int LoadMaskList(const copybook::SymbolTable& table, CopybookReader& reader);

// Resolves the field names of the key table: such a key lies where its field lies in the converted
// record.
[[nodiscard]] int validateKeys(const copybook::SymbolTable& table);

}  // namespace tolvane
