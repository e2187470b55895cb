// Which description of a record's bytes applies to a record. The record descriptions of a copybook,
// and a field and its redefinitions, describe the same bytes: the first description applies, unless
// an ID IS condition holds whose USE names another one or a field inside it.
#pragma once

#include "convert/mask.h"
#include "copybook/symbol_table.h"

namespace tolvane {

// The description that applies when `condition` holds (null: none does); null in an empty table.
[[nodiscard]] const copybook::RecordDescription* ActiveRecord(const copybook::SymbolTable& table,
                                                              const MaskItem* condition);

// The same for a field that redefines nothing and the redefinitions of it.
[[nodiscard]] const copybook::Field& ActiveLayout(const copybook::Field& base,
                                                  const MaskItem* condition);

// The next field at the same level that is no redefinition; null at the end.
[[nodiscard]] const copybook::Field* NextBase(const copybook::Field& base);

// Whether the field is part of the description that applies when `condition` holds.
[[nodiscard]] bool Applies(const copybook::SymbolTable& table, const copybook::Field& field,
                           const MaskItem* condition);

// Whether it is so for some condition of the mask list, or without one.
[[nodiscard]] bool AppliesToSome(const copybook::SymbolTable& table, const copybook::Field& field);

}  // namespace tolvane
