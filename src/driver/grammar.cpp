#include "driver/grammar.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string_view>

#include "convert/copybook_mask.h"
#include "copybook/words.h"
#include "dates/date_is.h"
#include "driver/grammar_reader.h"
#include "platform/console.h"
#include "platform/trace.h"

namespace tolvane {

using copybook::EqualsIgnoreCase;
using copybook::TokenKind;

namespace {

// Leading digits of a text; nothing when there are none.
std::optional<std::int64_t> LeadingNumber(const std::string& text) {
  constexpr std::size_t kMostDigits = 18;
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  if (digits == 0 || digits > kMostDigits) return std::nullopt;
  return std::strtoll(text.substr(0, digits).c_str(), nullptr, 10);  // NOLINT: decimal
}

std::int32_t ToSize(std::int64_t value) {
  return static_cast<std::int32_t>(std::min<std::int64_t>(value, INT32_MAX));
}

// Whether a word begins with some letters, in any case.
bool Begins(const std::string& word, std::string_view letters) {
  return word.size() >= letters.size() &&
         EqualsIgnoreCase(std::string_view(word).substr(0, letters.size()), letters);
}

// A value of an optional word and what it sets.
struct Choice {
  const char* word;
  Switch OptionSet::*target;
};

const Choice* FindChoice(const Choice* begin, const Choice* end, const copybook::Token& token) {
  return std::find_if(begin, end, [&](const Choice& choice) { return token.Is(choice.word); });
}

}  // namespace

const Grammar::Statement Grammar::kStatements[] = {
    {"CREATE", &Grammar::Create},
    {"DELETE", &Grammar::Delete},
    {"RESTORE", &Grammar::Restore},
    {"BACKUP", &Grammar::Backup},
    {"INPUT", &Grammar::Input},
    {"OUTPUT", &Grammar::Output},
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
    {"MATCH", &Grammar::Match},
    {"AUTOMATIC", &Grammar::Automatic},
    {"VALIDATE", &Grammar::Validate},
    {"EXPLODE", &Grammar::Explode},
    {"ANALYZE", &Grammar::Analyze},
    {"FIELD", &Grammar::Field},
    {"DATE", &Grammar::DateIs},
    {"AGE", &Grammar::Age},
    {"TEST", &Grammar::TestDate},
    {"FILE", &Grammar::FileDate},
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
  return Outcome::kReject;
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
    if (outcome == Outcome::kNext) continue;
    PrintWarning("Line %u of '%s': the rest of the file was not read.\n", reader_.lexer.line(),
                 name_.c_str());
    return EndOfReading();
  }
  at_end_ = token().kind == TokenKind::kEnd;
  if (!at_end_)
    PrintWarning("Line %u of '%s': '%s' begins no statement; the rest of the file was not read.\n",
                 reader_.lexer.line(), name_.c_str(), token().text.c_str());
  return EndOfReading();
}

Grammar::Outcome Grammar::ReadStatement() {
  for (const Statement& statement : kStatements)
    if (token().Is(statement.word)) return (this->*statement.handler)();
  if (Begins(token().text, "KEY")) return Key();
  return Stop("Unrecognized key word '%s'\n", token().text.c_str());
}

int Grammar::EndOfReading() {
  if (opt.sw_testdate != 0 && opt.sw_filedate == 0) {
    PrintError("FILE DATE not specified.\n");
    return 0;
  }
  if (opt.sw_filedate != 0 && opt.sw_testdate == 0) {
    PrintError("TEST DATE not specified.\n");
    return 0;
  }
  reader_.lexer.CloseLex();
  const bool names_fields =
      !opt.rawfield.empty() ||
      std::any_of(opt.keyDescr.begin(), opt.keyDescr.end(), [](const KeyEntry& key) {
        return !key.name.empty() && key.name != kKeyByPosition;
      });
  if (!at_end_ && names_fields) {
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
  for (const DateIsStatement& statement : date_statements.date_is)
    if (SaveDateIsField(table, statement) != 0) return 0;
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

// ---- tokens

// Takes the next token if it is the word.
bool Grammar::Accept(const char* word) {
  if (Next().Is(word)) return true;
  PutBack();
  return false;
}

// Passes over an optional IS and an optional =.
void Grammar::ProcessIsEqual() {
  (void)Accept("IS");
  (void)Accept("=");
}

const copybook::Token& Grammar::NextValue() {
  ProcessIsEqual();
  return Next();
}

// The text up to the next blank: names and paths.
std::string Grammar::NextPath() {
  const copybook::Token& path = reader_.lexer.GetPath();
  return path.kind == TokenKind::kEnd ? std::string() : path.text;
}

// ---- operations

Grammar::Outcome Grammar::Create() {
  opt.sw_create = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Delete() {
  opt.sw_delete = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Restore() {
  opt.sw_restore = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Backup() {
  if (Accept("FILE")) return BackupFile();
  opt.sw_backup = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::BackupFile() {
  static constexpr Choice kForms[] = {{"DOS", &OptionSet::sw_msdos},
                                      {"UNIX", &OptionSet::sw_unix},
                                      {"INTERCHANGE", &OptionSet::sw_interchange},
                                      {"OS3", &OptionSet::sw_os3},
                                      {"COPYG", &OptionSet::sw_sdf},
                                      {"SDF", &OptionSet::sw_sdf},
                                      {"COPOUT", &OptionSet::sw_eltfile},
                                      {"FLAT", nullptr}};
  const copybook::Token& form = NextValue();
  const Choice* const found = FindChoice(std::begin(kForms), std::end(kForms), form);
  if (found == std::end(kForms))
    return Stop("Unrecognized backup file type '%s'\n", form.text.c_str());
  if (found->target != nullptr) opt.*found->target = 1;
  if (form.Is("COPYG")) lasting.bCopyGFlag = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Input() { return LoadInputOutputOptions(opt.infile); }

Grammar::Outcome Grammar::Output() { return LoadInputOutputOptions(opt.outfile); }

Grammar::Outcome Grammar::LoadInputOutputOptions(std::string& path) {
  (void)Accept("FILE");
  ProcessIsEqual();
  std::string written = NextPath();
  opt.holdenvpath = written.substr(0, kNameWidth);
  if (written.starts_with('$')) {
    const std::size_t slash = std::min(written.find('/'), written.size());
    const std::string variable = written.substr(1, slash - 1);
    const char* const value = std::getenv(variable.c_str());
    if (value == nullptr) return Stop("Specified ENV variable '%s' not found.\n", variable.c_str());
    path = value;
    if (slash == written.size()) return Outcome::kNext;
    if (!path.ends_with('/')) path += '/';
    path += written.substr(slash + 1);
    return Outcome::kNext;
  }
  if (written.size() > kNameWidth) {
    PrintPlainError("WARNING: Path %s too long. Truncated.\n", written.c_str());
    written.resize(kNameWidth);
  }
  path = written;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Zorva() {
  static constexpr Choice kTypes[] = {{"INDEXED", &OptionSet::sw_indexed},
                                      {"RELATIVE", &OptionSet::sw_relative},
                                      {"SEQUENTIAL", &OptionSet::sw_sequential}};
  if (!Accept("FILE")) return Stop("Expecting ZORVA FILE IS (INDEXED,RELATIVE,SEQUENTIAL)\n");
  const copybook::Token& type = NextValue();
  const Choice* const found = FindChoice(std::begin(kTypes), std::end(kTypes), type);
  if (found == std::end(kTypes))
    return Stop("Zorva file type NOT understood '%s'\n", type.text.c_str());
  opt.*found->target = 1;
  return Outcome::kNext;
}

// ---- keys

Grammar::Outcome Grammar::Key() {
  const auto number = LeadingNumber(token().text.substr(std::string_view("KEY").size()));
  if (!number || *number < 1 || *number > kKeys)
    return Stop("INVALID syntax at '%s'\n", token().text.c_str());
  lasting.nKeysNo = static_cast<std::int32_t>(*number);
  KeyEntry& key = KeyOf(lasting.nKeysNo);
  const copybook::Token& value = NextValue();
  opt.sw_indexed = 1;
  opt.sw_sequential = opt.sw_relative = 0;
  if (LeadingNumber(value.text)) {
    const Outcome outcome = KeyByPosition(key);
    if (outcome != Outcome::kNext) return outcome;
  } else if (value.kind == TokenKind::kWord) {
    key.name = value.text.substr(0, kFieldNameWidth);
  } else {
    return Stop("INVALID syntax at '%s'\n", value.text.c_str());
  }
  return KeyAttributes(key, lasting.nKeysNo);
}

// From the location, which is the current token.
Grammar::Outcome Grammar::KeyByPosition(KeyEntry& key) {
  key.location = ToSize(*LeadingNumber(token().text));
  if (!LeadingNumber(Next().text)) Next();  // a separator
  const auto length = LeadingNumber(token().text);
  if (!length)
    return Stop("INVALID syntax at '%s'. Missing length for KEY.\n", token().text.c_str());
  key.length = ToSize(*length);
  key.name = kKeyByPosition;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::KeyAttributes(KeyEntry& key, std::int32_t number) {
  bool duplicates_given = false, changes_given = false, prime = false;
  const auto is_one_of = [this](auto... words) { return (token().Is(words) || ...); };
  for (;;) {
    if (Next().Is("PRIME")) {
      // Deliberate: the key behind the old prime key, counted from 0, gets both flags.
      if (opt.nPrimeKeyNo < kKeys) {
        KeyEntry& old = opt.keyDescr[static_cast<std::size_t>(opt.nPrimeKeyNo)];
        old.duplicates = old.changes = true;
      }
      opt.nPrimeKeyNo = number;
      key.duplicates = key.changes = false;
      prime = true;
    } else if (is_one_of("DUPS", "DUP", "NODUPS", "NDUP") &&
               !reader_.lexer.FollowedBy("COUNTER")) {  // which would be the next statement
      if (duplicates_given) return Stop("INVALID syntax at '%s'\n", token().text.c_str());
      duplicates_given = true;
      key.duplicates = Begins(token().text, "DUP");
      if (prime && key.duplicates) key.changes = true;
    } else if (is_one_of("CHANGES", "CHG", "NOCHANGES", "NCHG")) {
      if (changes_given) return Stop("INVALID syntax at '%s'\n", token().text.c_str());
      changes_given = true;
      key.changes = Begins(token().text, "CH");
    } else {
      PutBack();
      return Outcome::kNext;
    }
  }
}

// ---- form of the data

Grammar::Outcome Grammar::CompilerIs() {
  // Deliberate: any other word is MBP.
  (NextValue().Is("MF") ? opt.sw_mf : opt.sw_mbp) = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Translate() {
  static constexpr Choice kTargets[] = {{"ASCII", &OptionSet::sw_ascii},
                                        {"EBCDIC", &OptionSet::sw_ebcdic},
                                        {"ASCII-SIGNS", &OptionSet::sw_ascii_sign}};
  (void)Accept("TO");
  const copybook::Token& target = Next();
  const Choice* const found = FindChoice(std::begin(kTargets), std::end(kTargets), target);
  if (found == std::end(kTargets))
    return Stop("Can only translate to EBCDIC or ASCII; not '%s'\n", target.text.c_str());
  opt.sw_ascii = opt.sw_ebcdic = 0;
  opt.*found->target = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Record() { return processRecBlock(true); }

Grammar::Outcome Grammar::Block() { return processRecBlock(false); }

Grammar::Outcome Grammar::processRecBlock(bool record) {
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
  const auto size = LeadingNumber(value);
  if (!size) return Stop("%s size NOT found!\n", record ? "Record" : "Block");
  (record ? opt.gblRecSize : opt.gblBlkSize) = ToSize(*size);
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Process() {
  const auto count = LeadingNumber(Next().text);
  if (!count) return Stop("INVALID syntax at '%s'\n", token().text.c_str());
  opt.nEndRec = *count;
  (void)Accept("RECORDS");
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Skip() {
  const auto count = LeadingNumber(Next().text);
  if (!count) return Stop("INVALID syntax at '%s'\n", token().text.c_str());
  opt.nBegRec = *count;
  (void)Accept("RECORDS");
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Dups() {
  if (!Next().Is("COUNTER"))
    return Stop("'DUPS' expected keyword COUNTER; found '%s'\n", token().text.c_str());
  const copybook::Token& width = NextValue();
  if (width.Is("FULLWORD")) {
    opt.sw_dups_4 = 1;
  } else if (!width.Is("HALFWORD")) {
    return Stop("'DUPS' expected FULLWORD or HALFWORD; found '%s'\n", width.text.c_str());
  }
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Raw() {
  const std::string name = Next().text.substr(0, kRawNameWidth);
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

Grammar::Outcome Grammar::Maskfile() {
  opt.maskfile = NextPath().substr(0, kNameWidth);
  opt.sw_print_mask = opt.sw_mask_file = 1;
  return Outcome::kNext;
}

// ---- volumes

Grammar::Outcome Grammar::Label() {
  if (!Next().Is("RECORDS"))
    return Stop("Invalid syntax in LABEL statement '%s'!  Expecting RECORDS\n",
                token().text.c_str());
  (void)Accept("ARE");
  if (Next().Is("OMITTED")) {
    opt.vol = "NOLABEL";
  } else if (!token().Is("STANDARD")) {
    return Stop("Invalid syntax in LABEL statement '%s'!  Expecting OMITTED/STANDARD\n",
                token().text.c_str());
  }
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Vol() {
  ProcessIsEqual();
  opt.vol = NextPath().substr(0, kVolumeWidth);
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Lbl() {
  ProcessIsEqual();
  opt.lbl = NextPath().substr(0, kLabelWidth);
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Case() {
  const copybook::Token& kind = NextValue();
  if (!kind.Is("UPPER") && !kind.Is("LOWER"))
    return Stop("Invalid CASE type '%s'!  Expecting UPPER or LOWER\n", kind.text.c_str());
  opt.sw_upper_case = kind.Is("UPPER");
  return Outcome::kNext;
}

// ---- the platform's records

Grammar::Outcome Grammar::Add() {
  constexpr std::size_t kLogicalNameWidth = 9;
  opt.sw_overwrite = 0;
  const bool lfn = Accept("LFN");
  opt.addsysfile.clear();
  const bool named = !Next().Is("TO") && !(lfn && token().Is("ZORVA"));
  if (!named && !lfn)
    return Stop("Expecting file name to add to catalogue. Found: '%s'\n", token().text.c_str());
  if (named) opt.addsysfile = token().text.substr(0, kLogicalNameWidth);
  if (!named) PutBack();
  opt.sw_addsys = 1;
  (void)Accept("TO");
  if (!Next().Is("ZORVA")) return Stop("Expecting ZORVA, found '%s'\n", token().text.c_str());
  if (!Begins(Next().text, "CAT")) PutBack();
  if (Begins(Next().text, "OVER")) {
    opt.sw_overwrite = 1;
  } else {
    PutBack();
  }
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Read() {
  if (!Next().Is("ZORVA")) return Stop("Expecting READ ZORVA CATALOGUE\n");
  if (!Begins(Next().text, "CAT")) PutBack();
  opt.sw_read_cat = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Define() {
  constexpr std::size_t kVolume = 8, kLabel = 44;
  opt.hmvsn = NextPath().substr(0, kVolume);
  opt.hmlbl = NextPath().substr(0, kLabel);
  if (!Next().Is("TO")) return Stop("Invalid syntax '%s'!  Expecting TO\n", token().text.c_str());
  if (!Next().Is("ZORCATLG"))
    return Stop("Invalid syntax '%s'!  Expecting ZORCATLG\n", token().text.c_str());
  opt.sw_addcatlg = 1;
  return Outcome::kNext;
}

// ---- switches with an optional second word

Grammar::Outcome Grammar::Match() {
  (void)Accept("ID");
  opt.sw_matchId = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Automatic() {
  (void)Accept("ANSWER");
  opt.sw_automatic = 1;
  return Outcome::kNext;
}

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
  return LoadMaskList(*copybooks.csid, reader_) != 0 ? Outcome::kNext : Outcome::kReject;
}

int ParseOptionsFile(const std::string& name) { return Grammar(name).ParseOptionsFile(); }

}  // namespace tolvane
