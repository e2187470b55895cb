#include "convert/copybook_mask.h"

#include "convert/id_is.h"
#include "convert/mask.h"
#include "convert/mask_list_builder.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {

using copybook::Field;
using copybook::RecordDescription;
using copybook::SymbolTable;
using copybook::TokenKind;

namespace {

int Fail(const char* text) {
  PrintError("%s", text);
  return 0;
}

// The copybook's record size against the one supplied.
int SettleRecordSize(const SymbolTable& table) {
  const std::int64_t size = table.LongestRecord(&RecordDescription::aux_length);
  if (size == 0) return 1;
  // What a backup to 36-bit words reads are converted records.
  const bool reads_converted = opt.sw_backup != 0 && IsWordData();
  if (opt.gblRecSize == 0)
    opt.gblRecSize = static_cast<std::int32_t>(
        reads_converted ? size : table.LongestRecord(&RecordDescription::length));
  sizes.gblCpySize = static_cast<std::int32_t>(size);
  if (sizes.gblCpySize == opt.gblRecSize) return 1;
  PrintWarning("Copy Book record size : (%d)", sizes.gblCpySize);
  PrintWarning("Input record size     : (%d)\n", opt.gblRecSize);
  return AskToContinue("Do you wish to continue (Y/N)  : ", opt.sw_automatic != 0) ? 1 : 0;
}

}  // namespace

int validateKeys(const SymbolTable& table) {
  for (std::size_t i = 0; i < opt.keyDescr.size(); ++i) {
    KeyEntry& key = opt.keyDescr[i];
    if (key.name.find_first_not_of(' ') == std::string::npos) {
      if (key.length > 0) continue;  // given by position
      break;
    }
    if (key.name == kKeyByPosition) continue;
    const Field* const field = FindItem(table, key.name);
    if (field == nullptr) {
      PrintError("Can not find unique field %s for key # %zu", key.name.c_str(), i);
      return Fail("Validating key fields\n");
    }
    // Keys are those of the converted record.
    key.location = static_cast<std::int32_t>(field->aux_offset);
    key.length = static_cast<std::int32_t>(field->aux_length);
  }
  return 1;
}

int LoadMaskList(const SymbolTable& table, CopybookReader& reader) {
  TRACE_FRAME();
  MaskListBuilder builder(table);
  if (SettleRecordSize(table) == 0 || builder.AddRecords() == 0 || builder.AddRawFields() == 0 ||
      validateKeys(table) == 0)
    return 0;
  if (builder.EndSegment() == 0) return Fail("Sorting mask list\n");
  if (LoadIdIs(table, reader, builder) == 0 || builder.Finish() == 0) return 0;
  MaskListDump("Mask list");
  return 1;
}

int LoadMaskList() {
  TRACE_FRAME();
  CopybookReader reader;
  if (!reader.lexer.InitLex(opt.copyfile, copybook::Reading::kCopybook)) {
    PrintError("Could not open '%s'.\n", opt.copyfile.c_str());
    return 0;
  }
  PrintOutput("Processing Cobol copybook ...\n");
  auto table = std::make_unique<SymbolTable>();
  copybook::Compiler compiler(reader.lexer, *table, reader.diagnostics, CopybookSettings());
  if (!compiler.CompileFile()) return 0;
  if (LoadMaskList(*table, reader) == 0) return 0;
  if (reader.lexer.GetToken().kind != TokenKind::kEnd)
    PrintWarning("Line %u of '%s': '%s' and what follows it was not read.\n", reader.lexer.line(),
                 reader.diagnostics.FileOf(reader.lexer.token().span.begin).c_str(),
                 reader.lexer.token().text.c_str());
  copybooks.csid = std::move(table);
  return 1;
}

}  // namespace tolvane
