// The statements about the data: its form, its treatment, and the copybook that describes it.

#include <fstream>

#include "convert/copybook_mask.h"
#include "convert/mask.h"
#include "copybook/words.h"
#include "driver/grammar_reader.h"
#include "platform/console.h"

namespace tolvane {

using copybook::TokenKind;

// ---- form of the data

Grammar::Outcome Grammar::CompilerIs() {
  if (NextValue().kind == TokenKind::kEnd) return Invalid();
  // Deliberate: any other word is MBP.
  (token().Is("MF") ? opt.sw_mf : opt.sw_mbp) = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Translate() {
  static constexpr Choice kTargets[] = {{"ASCII", &OptionSet::sw_ascii},
                                        {"EBCDIC", &OptionSet::sw_ebcdic},
                                        {"ASCII-SIGNS", &OptionSet::sw_ascii_sign}};
  (void)Accept("TO");
  const copybook::Token& target = Next();
  const Choice* const found = FindChoice(kTargets, target);
  if (found == nullptr)
    return Stop("Can only translate to EBCDIC or ASCII; not '%s'\n", target.text.c_str());
  opt.sw_ascii = opt.sw_ebcdic = 0;
  opt.*found->target = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Record() { return processRecBlock("Record", opt.gblRecSize); }

Grammar::Outcome Grammar::Block() { return processRecBlock("Block", opt.gblBlkSize); }

Grammar::Outcome Grammar::processRecBlock(const char* what, std::int32_t& size) {
  constexpr std::int32_t kVariableBlock = 32767;
  if (!Next().Is("SIZE"))
    return Stop("Expecting keyword SIZE.  Found '%s'\n", token().text.c_str());
  const std::string value = copybook::ToUpper(NextValue().text);
  if (value.find('V') != std::string::npos) {
    opt.sw_fixedBR = 0;
    opt.gblBlkSize = kVariableBlock;
    opt.gblRecSize = 0;
    return Outcome::kNext;
  }
  opt.sw_fixedBR = 1;
  const auto number = LeadingSize(value);
  if (!number) return Stop("%s size NOT found!\n", what);
  size = *number;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Process() { return ReadCount(opt.nEndRec); }

Grammar::Outcome Grammar::Skip() { return ReadCount(opt.nBegRec); }

Grammar::Outcome Grammar::ReadCount(std::int64_t& count) {
  const auto number = LeadingNumber(Next().text);
  if (!number) return Invalid();
  count = *number;
  (void)Accept("RECORDS");
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Raw() {
  const std::string name = Next().text.substr(0, kRawNameWidth);
  if (name.empty()) return Invalid();
  // The text names another number than the one that is accepted, deliberately.
  if (opt.rawfield.size() == kRawNames)
    return Stop("The maximum of 10 RAW fields has been exceeded.\n");
  opt.rawfield.push_back(name);
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Relaxed() {
  opt.sw_relaxed = 1;
  if (Accept("SIGNED")) opt.sw_relaxed_sign = 1;
  if (!Accept("FILL")) return Outcome::kNext;
  const copybook::Token& fill = NextValue();
  if (fill.Is("SPACES") || fill.Is("SPACE")) {
    opt.relaxedFillChar = ' ';
  } else if (fill.Is("LOW-VALUES") || fill.Is("LOW-VALUE")) {
    opt.relaxedFillChar = 0;
  } else {
    return Stop("RELAXED fill character NOT understood '%s'\n", fill.text.c_str());
  }
  opt.sw_relaxed_fill = 1;
  return Outcome::kNext;
}

// ---- treatment

Grammar::Outcome Grammar::Validate() {
  if (!Next().Is("NUMERIC")) return Reject("Invalid keyword after VALIDATE.\n");
  opt.sw_validate = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Explode() {
  opt.sw_explode = 1;
  if (!Accept("SIGN")) return Outcome::kNext;
  const bool leading = Next().Is("LEADING");
  if (!leading && !token().Is("TRAILING")) return Reject("Invalid keyword after SIGN.\n");
  opt.sw_expLeading = leading;
  opt.sw_expTrailing = !leading;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Analyze() {
  opt.sw_analyze = 1;
  lasting.sw_dates_only = Accept("DATES");
  if (lasting.sw_dates_only != 0 && !Next().Is("ONLY"))
    return Reject("Invalid keyword after DATES.\n");
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Maskfile() {
  opt.maskfile = NextPath().substr(0, kNameWidth);
  if (opt.maskfile.empty()) return Invalid();
  opt.sw_print_mask = opt.sw_mask_file = 1;
  return Outcome::kNext;
}

// ---- the copybook

Grammar::Outcome Grammar::Copybook() {
  const std::string which = copybook::ToUpper(Next().text);
  const unsigned line = reader_.lexer.line();
  if (which != "IS" && which != "IN" && which != "OUT")
    return Reject("Line %u: Missing required 'IS' keyword in COPYBOOK statement.\n", line);
  reader_.lexer.BeginDescription();
  const copybook::Token& first = Next();
  if (first.kind == TokenKind::kEnd)
    return Reject("Line %u: Invalid copybook name in COPYBOOK statement.\n", reader_.lexer.line());
  if (first.kind != TokenKind::kNumber && !first.Is("COPY"))
    return Reject("Line %u: Missing required 'COPY' keyword in COPYBOOK statement.\n",
                  reader_.lexer.line());
  PutBack();
  return CompileCopybook(which);
}

Grammar::Outcome Grammar::CompileCopybook(const std::string& which) {
  auto table = std::make_unique<copybook::SymbolTable>();
  PrintOutput("Processing Cobol Copybook ...\n");
  copybook::Compiler compiler(reader_.lexer, *table, reader_.diagnostics, CopybookSettings());
  if (!compiler.CompileRecords()) return Outcome::kReject;
  if (opt.sw_savesym != 0) {
    std::ofstream file("TOLVANE.sym", std::ios::binary);
    file << table->Save();
    if (!file.flush()) PrintWarning("Could not write the symbol table to 'TOLVANE.sym'.\n");
  }
  return KeepTable(which, std::move(table));
}

Grammar::Outcome Grammar::KeepTable(const std::string& which,
                                    std::unique_ptr<copybook::SymbolTable> table) {
  auto& place = which == "IS" ? copybooks.csid : which == "IN" ? copybooks.csin_ : copybooks.csout;
  place = std::move(table);
  if (copybooks.csid != nullptr && (copybooks.csin_ != nullptr || copybooks.csout != nullptr))
    return Reject("Invalid Syntax: COPYBOOK IN/OUT exclude use of COPYBOOK IS\n");
  if (which == "OUT") opt.sw_data_reorg = 1;
  if (which != "IS") return Outcome::kNext;
  opt.bCopyBookFlag = 1;
  MaskListEmpty();
  if (LoadMaskList(*copybooks.csid, reader_) == 0) return Outcome::kReject;
  copybooks.basis = CurrentBasis();
  return Outcome::kNext;
}

}  // namespace tolvane
