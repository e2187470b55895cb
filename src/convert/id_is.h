// ID IS statements, which stand behind a copybook: a condition that a record may meet, and the
// fields that describe the record then.
//
//   ID IS condition USE name ... .
//   ID IS RECORD NUMBER sign number USE name ... .
#pragma once

#include "convert/copybook_source.h"
#include "convert/mask_list_builder.h"

namespace tolvane {

// Reads all statements that follow and hands their conditions and fields to the builder, up to the
// last group, which is left open; the token that begins no statement is the lexer's next one then.
// 1, or 0 after messages.
[[nodiscard]] int LoadIdIs(const copybook::SymbolTable& table, CopybookReader& reader,
                           MaskListBuilder& builder);

}  // namespace tolvane
