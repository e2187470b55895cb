// Copybooks as this program reads them: where COPY finds its texts, how the compiler's messages are
// shown, the compiler settings that follow from the option set, and the compiled tables of the run.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "copybook/compiler.h"
#include "copybook/diagnostics.h"
#include "copybook/lexer.h"
#include "copybook/settings.h"
#include "copybook/symbol_table.h"
#include "state/options.h"

namespace tolvane {

// A lexer with its diagnostics; errors and warnings are printed as they are found.
struct CopybookReader {
  CopybookReader();
  CopybookReader(const CopybookReader&) = delete;
  CopybookReader& operator=(const CopybookReader&) = delete;

  copybook::Diagnostics diagnostics;
  copybook::Lexer lexer;
};

// Reads the text that COPY or a statement calls `path`: as it is called, or with a suffix of
// copybooks, in upper or lower case; `path` becomes the name found. False when there is none.
[[nodiscard]] bool OpenCopybook(std::string& path, std::string& text);

// How the compiler is to lay fields out, by the options as they stand: 8-bit data, or 36-bit data
// when the backup is in SDF or COPYG form; what becomes of bit fields.
[[nodiscard]] copybook::Settings CopybookSettings();

// What the layout and the mask list of a copybook follow from, so that an option that comes after
// it and would have made another list can be told.
struct CopybookBasis {
  std::vector<std::string> rawfield;
  Switch sw_sdf, bCopyGFlag, sw_interchange, sw_mf, sw_mbp, sw_1toX, sw_truncate1;
  std::int32_t record_size;
  bool operator==(const CopybookBasis&) const = default;
};
[[nodiscard]] CopybookBasis CurrentBasis();

// Tables of the run; null: none.
struct Copybooks {
  std::unique_ptr<copybook::SymbolTable> csid;   // COPYBOOK IS, -C
  std::unique_ptr<copybook::SymbolTable> csin_;  // COPYBOOK IN
  std::unique_ptr<copybook::SymbolTable> csout;  // COPYBOOK OUT
  std::optional<CopybookBasis> basis;            // of the COPYBOOK IS that was loaded
};
extern Copybooks copybooks;

// The option of the command line that has changed what COPYBOOK IS was loaded by; null: none.
[[nodiscard]] const char* CopybookOutdatedBy();

}  // namespace tolvane
