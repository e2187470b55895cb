#include "driver/grammar.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>

#include "convert/copybook_mask.h"
#include "copybook/words.h"
#include "dates/date_is.h"
#include "driver/grammar_reader.h"
#include "platform/console.h"
#include "platform/trace.h"

namespace tolvane {

using copybook::EqualsIgnoreCase;
using copybook::TokenKind;

const Grammar::Statement Grammar::kStatements[] = {
    {"BACKUP", &Grammar::Backup},
    {"INPUT", &Grammar::Input},
    {"OUTPUT", &Grammar::Output},
    {"KEY", &Grammar::Key, true},
    {"ZORVA", &Grammar::Zorva},
    {"COPYBOOK", &Grammar::Copybook},
    {"COMPILER", &Grammar::CompilerIs},
    {"TRANSLATE", &Grammar::Translate},
    {"RECORD", &Grammar::Record},
    {"BLOCK", &Grammar::Block},
    {"PROCESS", &Grammar::Process},
    {"SKIP", &Grammar::Skip},
    {"ADD", &Grammar::Add},
    {"READ", &Grammar::Read},
    {"DUPS", &Grammar::Dups},
    {"RAW", &Grammar::Raw},
    {"RELAXED", &Grammar::Relaxed},
    {"MASKFILE", &Grammar::Maskfile},
    {"LABEL", &Grammar::Label},
    {"VOL", &Grammar::Vol},
    {"LBL", &Grammar::Lbl},
    {"CASE", &Grammar::Case},
    {"DEFINE", &Grammar::Define},
    {"VALIDATE", &Grammar::Validate},
    {"EXPLODE", &Grammar::Explode},
    {"ANALYZE", &Grammar::Analyze},
    {"FIELD", &Grammar::Field},
    {"DATE", &Grammar::DateIs},
    {"AGE", &Grammar::Age},
    {"TEST", &Grammar::TestDate},
    {"FILE", &Grammar::FileDate},
};

const Grammar::SwitchStatement Grammar::kSwitchStatements[] = {
    {"CREATE", &OptionSet::sw_create},
    {"DELETE", &OptionSet::sw_delete},
    {"RESTORE", &OptionSet::sw_restore},
    {"MATCH", &OptionSet::sw_matchId, "ID"},
    {"AUTOMATIC", &OptionSet::sw_automatic, "ANSWER"},
};

Grammar::Outcome Grammar::Stop(const char* format, ...) {
  va_list values;
  va_start(values, format);
  VPrintError(format, values);
  va_end(values);
  return Outcome::kStop;
}

Grammar::Outcome Grammar::Reject(const char* format, ...) {
  va_list values;
  va_start(values, format);
  VPrintError(format, values);
  va_end(values);
  PrintWarning("Line %u of '%s': this statement rejects the file.\n", statement_.line,
               FileOf(statement_).c_str());
  return Outcome::kReject;
}

Grammar::Outcome Grammar::Invalid() {
  return Stop("INVALID syntax at '%s'\n", token().text.c_str());
}

int Grammar::ParseOptionsFile() {
  TRACE_FRAME();
  opt.rawfield.clear();
  copybooks = {};
  if (!reader_.lexer.InitLex(name_, copybook::Reading::kFree)) {
    PrintError("Could not open '%s'.\n", name_.c_str());
    return 0;
  }
  while (Next().kind == TokenKind::kWord) {
    const Outcome outcome = ReadStatement();
    if (outcome == Outcome::kReject) return 0;
    // A literal without its closing quote is a statement error too.
    if (outcome == Outcome::kNext && reader_.diagnostics.errors() == 0) continue;
    PrintWarning("Line %u of '%s': the rest of the file was not read.\n", reader_.lexer.line(),
                 FileOf(token().span.begin).c_str());
    return EndOfReading();
  }
  at_end_ = token().kind == TokenKind::kEnd;
  if (!at_end_)
    PrintWarning("Line %u of '%s': '%s' begins no statement; the rest of the file was not read.\n",
                 reader_.lexer.line(), FileOf(token().span.begin).c_str(), token().text.c_str());
  return EndOfReading();
}

Grammar::Outcome Grammar::ReadStatement() {
  const std::string& word = token().text;
  statement_ = token().span.begin;
  if (token().copied) {
    reader_.diagnostics.Error(statement_, "expected ID IS or the end of the copied text", word);
    return Outcome::kReject;
  }
  for (const SwitchStatement& statement : kSwitchStatements) {
    if (!token().Is(statement.word)) continue;
    opt.*statement.target = 1;
    if (statement.noise != nullptr) (void)Accept(statement.noise);
    return Outcome::kNext;
  }
  for (const Statement& statement : kStatements) {
    if (!Begins(word, statement.word)) continue;
    const std::string rest = word.substr(statement.word.size());
    const bool is_number = rest.find_first_not_of("0123456789") == std::string::npos;
    if (rest.empty() || (statement.numbered && is_number)) return (this->*statement.handler)();
  }
  return Stop("Unrecognized key word '%s'\n", token().text.c_str());
}

int Grammar::EndOfReading() {
  if (opt.sw_testdate != opt.sw_filedate) {
    statement_ = run_date_;
    (void)Reject("%s DATE not specified.\n", opt.sw_testdate != 0 ? "FILE" : "TEST");
    return 0;
  }
  reader_.lexer.CloseLex();
  const bool names_fields =
      !opt.rawfield.empty() ||
      std::any_of(opt.keyDescr.begin(), opt.keyDescr.end(), [](const KeyEntry& key) {
        return !key.name.empty() && key.name != kKeyByPosition;
      });
  const bool copybook_outdated = copybooks.basis && *copybooks.basis != CurrentBasis();
  if ((!at_end_ && names_fields) || copybook_outdated) {
    PrintError("End of Grammar NOT detected. COPYBOOK must be last statement.\n");
    return 0;
  }
  // Names may stand behind or before the copybook.
  if (copybooks.csid != nullptr && validateKeys(*copybooks.csid) == 0) return 0;
  return ResolveDates();
}

// DATE IS and FIELD name data items.
int Grammar::ResolveDates() {
  copybook::SymbolTable none;
  copybook::SymbolTable& table = copybooks.csid != nullptr ? *copybooks.csid : none;
  if (SaveDateIsFields(table) == 0) return 0;
  for (const std::string& name : date_statements.fields) {
    if (table.GetSymHashSubStr(name).matches > 0) continue;
    PrintError("Syntax error. %s is undefined.\n", name.c_str());
    return 0;
  }
  // TEST DATE less FILE DATE is added to every age.
  for (AgeEntry& entry : date_statements.pAgeStruct)
    entry.age += date_statements.test_date - date_statements.file_date;
  return 1;
}

// ---- words

std::optional<std::int64_t> LeadingNumber(const std::string& text) {
  constexpr std::size_t kMostDigits = 18;
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  if (digits == 0 || digits > kMostDigits) return std::nullopt;
  return std::strtoll(text.substr(0, digits).c_str(), nullptr, 10);  // NOLINT: decimal
}

std::optional<std::int32_t> LeadingSize(const std::string& text) {
  const auto number = LeadingNumber(text);
  if (!number || *number > INT32_MAX) return std::nullopt;
  return static_cast<std::int32_t>(*number);
}

bool Begins(const std::string& word, std::string_view letters) {
  return word.size() >= letters.size() &&
         EqualsIgnoreCase(std::string_view(word).substr(0, letters.size()), letters);
}

const Choice* FindChoice(std::span<const Choice> choices, const copybook::Token& token) {
  const auto found = std::find_if(choices.begin(), choices.end(),
                                  [&](const Choice& choice) { return token.Is(choice.word); });
  return found == choices.end() ? nullptr : &*found;
}

// ---- tokens

bool Grammar::AcceptBeforePath(const char* word) {
  if (Next().Is(word)) {
    const char behind = reader_.lexer.CharBehind();
    if (behind == '\0' || behind == '=' || copybook::IsBlank(behind)) return true;
  }
  PutBack();
  return false;
}

void Grammar::ProcessIsEqual() {
  (void)Accept("IS");
  (void)Accept("=");
}

std::string Grammar::NextPathValue() {
  (void)AcceptBeforePath("IS");
  (void)Accept("=");
  return NextPath();
}

const copybook::Token& Grammar::NextValue() {
  ProcessIsEqual();
  return Next();
}

std::string Grammar::NextPath() {
  const copybook::Token& path = reader_.lexer.GetPath();
  return path.kind == TokenKind::kEnd ? std::string() : path.text;
}

int ParseOptionsFile(const std::string& name) { return Grammar(name).ParseOptionsFile(); }

int SettleLateOptions() {
  // The copybook of -C takes the place of the grammar file's, and is read by all options.
  if (copybooks.csid == nullptr || !opt.copyfile.empty()) return 1;
  const char* const late = CopybookOutdatedBy();
  if (late == nullptr) return validateKeys(*copybooks.csid);
  PrintError("Option %s must stand before -G: the copybook was read without it.\n", late);
  return 0;
}

}  // namespace tolvane
