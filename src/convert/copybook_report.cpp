#include "convert/copybook_report.h"

#include "convert/copybook_source.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "state/options.h"

namespace tolvane {

using copybook::Field;

namespace {

constexpr const char* kDashes = "-----------------------------------------\n";

class Report {
 public:
  Report(const std::string& path, bool summary) : path_(path), summary_(summary) {}

  void Walk(const copybook::SymbolTable& table) {
    const Field* field = table.First();
    while (field != nullptr && field->IsStandalone()) field = field->next;
    const Field* const first = field;
    while (field != nullptr) {
      const bool opens = field->redefines != nullptr || (field->level == 1 && field != first);
      if (!opens) {
        Note(*field);
        field = field->next;
        continue;
      }
      const int redef_level = field->level;
      do {
        if (IsFieldOfInterest(*field)) return EndAtRedefinition();
        field = field->next;
      } while (field != nullptr && field->level > redef_level);
    }
    End("");
  }

 private:
  void Note(const Field& field) {
    if (!IsFieldOfInterest(field)) return;
    if (opt.sw_first_time != 0 && !summary_) {
      PrintWarning("Found binary sensitive fields!\n");
      PrintWarning("Requires COPYBOOK IS statement to process data.\n");
    }
    opt.sw_first_time = 0;
    found_ = true;
    if (!summary_) PrintOutput("Found field : %s\n", field.name.c_str());
  }

  void EndAtRedefinition() {
    if (!summary_) {
      PrintWarning("Found REDEFINES containing binary sensitive fields!\n");
      PrintWarning("Requires ID IS statement to process data.\n");
    }
    End(" REDEFINES");
  }

  void End(const char* redefines) {
    if (summary_) {
      PrintOutput("'%8.8s':%s%s\n", path_.c_str(), found_ ? " BINARY" : "", redefines);
    } else {
      PrintOutput("%s", kDashes);
    }
  }

  const std::string& path_;
  bool summary_;
  bool found_ = false;
};

}  // namespace

bool IsFieldOfInterest(const Field& field) {
  switch (field.usage) {
    case 'B':
    case 'R':
    case 'P':
    case 'S':
      return true;
    case 'D':
      return field.is_signed;
    default:
      return false;
  }
}

int SearchCopyBookForBinaryFields(const std::string& path, bool summary) {
  TRACE_FRAME();
  CopybookReader reader;
  if (!reader.lexer.InitLex(path, copybook::Reading::kCopybook)) {
    PrintError("Could not open '%s'.\n", path.c_str());
    return 0;
  }
  if (summary) {
    PrintOutput("Processing COBOL copybook ...\n");
  } else {
    PrintOutput("%s", kDashes);
    PrintOutput("Processing copybook file '%s'\n", path.c_str());
  }
  copybook::SymbolTable table;
  copybook::Compiler compiler(reader.lexer, table, reader.diagnostics, CopybookSettings());
  if (!compiler.CompileFirstRecord())
    PrintWarning("The report covers only what could be read of '%s'.\n", path.c_str());
  Report(path, summary).Walk(table);
  return 1;
}

}  // namespace tolvane
