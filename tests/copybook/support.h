// Compiles texts held in memory and keeps what came of it.
#pragma once

#include <map>
#include <string>

#include "copybook/compiler.h"
#include "copybook/dump.h"

namespace tolvane::copybook::test {

// Files by name; the one that is compiled is "T".
using Files = std::map<std::string, std::string>;

inline OpenText Opener(const Files& files) {
  return [&files](const std::string& path, std::string& text) {
    const auto found = files.find(path);
    if (found == files.end()) return false;
    text = found->second;
    return true;
  };
}

struct Compilation {
  explicit Compilation(const std::string& text, const Settings& settings = {},
                       const Files& others = {})
      : files(others) {
    files["T"] = text;
    Diagnostics diagnostics([this](const Diagnostic& found) { messages += found.Text() + "\n"; });
    Lexer lexer(Opener(files), diagnostics);
    Compiler compiler(lexer, table, diagnostics, settings);
    ok = lexer.InitLex("T", Reading::kCopybook) && compiler.CompileFile();
  }

  [[nodiscard]] std::string Layout() const { return DumpLayout(table); }
  [[nodiscard]] const Field& Get(std::string_view name) const {
    return *table.GetSymHashSubStr(name).field;
  }

  Files files;
  SymbolTable table;
  std::string messages;
  bool ok = false;
};

}  // namespace tolvane::copybook::test
