#include "convert/copybook_mask.h"

#include <algorithm>
#include <cctype>
#include <unordered_map>

#include "convert/comp1100.h"
#include "convert/conditions.h"
#include "convert/mask.h"
#include "copybook/table_index.h"
#include "copybook/words.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {

using copybook::Field;
using copybook::SymbolTable;
using copybook::TokenKind;

namespace {

constexpr std::int64_t kMostItems = 1000000;  // of the list
constexpr const char* kIdentifierExpected = "Expecting identifier(s), NOT an expression.\n";

int Fail(const char* text) {
  PrintError("%s", text);
  return 0;
}

// Unconditional items by what makes them equal; those that an ID IS group takes over are unlinked.
std::unordered_map<std::string, std::size_t> unconditional;

std::string Identity(const MaskItem& item) {
  return item.type + std::to_string(item.location) + ":" + std::to_string(item.length);
}

// Notes the items before the first condition; the first of equal ones counts.
void NoteUnconditional() {
  unconditional.clear();
  for (std::size_t i = 0; i < mask_list.size() && !mask_list[i].is_condition(); ++i) {
    const MaskItem& item = mask_list[i];
    // Deliberate: binary and packed items are kept beside those of a group.
    if (item.type != mask_type::kBinary && item.type != mask_type::kPacked)
      unconditional.emplace(Identity(item), i);
  }
}

void Unlink(const MaskItem& item) {
  const auto found = unconditional.find(Identity(item));
  if (found == unconditional.end()) return;
  mask_list[found->second].type = 0;
  unconditional.erase(found);
}

MaskItem ItemOf(const Field& field, char type) {
  MaskItem item;
  item.type = type;
  item.length = field.length;
  item.digits = static_cast<std::int16_t>(field.digits);
  item.is_signed = field.is_signed;
  item.sign_leading = field.sign == copybook::SignPlace::kLeading;
  item.has_sign_nibble = field.kind != copybook::Usage::kPackedNoSign;
  item.usage = field.usage;
  item.name = field.filler ? "" : field.name;
  return item;
}

// One item for each occurrence of the field; only the first carries its usage.
int AddSymbolToMaskTable(const Field& field, char type) {
  copybook::TableIndex index(field);
  if (index.Count() > kMostItems - static_cast<std::int64_t>(mask_list.size()))
    return Fail("Allocating memory for mask table.\n");
  MaskItem item = ItemOf(field, type);
  bool first = true;
  do {
    item.location = static_cast<std::int32_t>(index.CalcIdxOffset());
    item.expanded_location = index.CalcIdxAuxOffset();
    item.source_bit = static_cast<std::int8_t>(index.Bit());
    item.destination_bit = static_cast<std::int8_t>(index.AuxBit());
    if (first) Unlink(item);
    AddNewItemToMaskList(item);
    item.usage = 0;
    first = false;
  } while (index.CalcNextIdx());
  return 1;
}

// Bit fields that stay bits: the bytes that hold them, each once.
int AddBitBytes(const Field& field) {
  copybook::TableIndex index(field);
  if (index.Count() > kMostItems) return Fail("Allocating memory for mask table.\n");
  do {
    const std::int64_t begin = index.CalcIdxOffset();
    const std::int64_t end = begin + (index.Bit() + static_cast<unsigned>(field.digits) + 7) / 8;
    MaskItem* const last = mask_list.empty() ? nullptr : &mask_list.back();
    if (last != nullptr && last->usage == '1' && begin >= last->location && begin <= last->end()) {
      last->length = std::max(last->end(), end) - last->location;
      continue;
    }
    MaskItem item = ItemOf(field, mask_type::kBinary);
    item.location = static_cast<std::int32_t>(begin);
    item.expanded_location = index.CalcIdxAuxOffset();
    item.length = end - begin;
    AddNewItemToMaskList(std::move(item));
  } while (index.CalcNextIdx());
  return 1;
}

// The type for a signed unpacked field, by the COBOL compiler of the target; 0 when that is
// unknown.
char SignedUnpackedType() {
  if (opt.sw_mbp != 0) return mask_type::kMbpUnpacked;
  return opt.sw_mf != 0 ? mask_type::kMfUnpacked : '\0';
}

bool HasOverpunch(const Field& field) {
  return field.usage == 'D' && field.is_signed && !field.sign_separate;
}

// Whether conversion treats the field as text.
bool IsPlain(const Field& field) {
  return field.filler || (opt.sw_interchange != 0 && field.usage != 'D');
}

// The type of the items for a field; 0 when it gets none.
char MaskTypeOf(const Field& field) {
  if (IsPlain(field)) return 0;
  if (IsRawField(field.name)) return mask_type::kBinary;
  switch (field.usage) {
    case '1':
      return opt.sw_1toX != 0 || IsWordData() ? mask_type::kBit : mask_type::kBinary;
    case 'B':
      return mask_type::kBinary;
    case 'P':
    case 'S':
      return mask_type::kPacked;
    case 'R':
      return mask_type::kFloat;
    case 'D':
      if (HasOverpunch(field)) return SignedUnpackedType();
      return field.is_signed ? '\0' : mask_type::kUnsigned;  // a sign of its own is text
    default:
      return 0;
  }
}

// The first item from `field` on that is no redefinition, nor below one. Standalone items are no
// part of a record.
const Field* SkipRedefinitions(const Field* field) {
  while (field != nullptr &&
         (field->redefines != nullptr || field->level == 1 || field->IsStandalone())) {
    TRACE_LINE("Skipping %02d  %s (REDEFINES item)\n", field->level, field->name.c_str());
    const int level = field->level;
    do field = field->next;
    while (field != nullptr && field->level > level);
  }
  return field;
}

int WalkItems(const SymbolTable& table) {
  const Field* field = table.First();
  while (field != nullptr && field->IsStandalone()) field = field->next;
  for (; field != nullptr; field = SkipRedefinitions(field->next))
    if (ProcessMaskListCandidate(*field) == 0) return Fail("Processing mask list candidates\n");
  return 1;
}

bool IsOnList(const Field& field) {
  return std::any_of(mask_list.begin(), mask_list.end(), [&field](const MaskItem& item) {
    return item.type == mask_type::kBinary && item.location == field.offset &&
           item.length == field.length;
  });
}

// The item of a record that alone has the name; null: none.
const Field* FindItem(const SymbolTable& table, const std::string& name) {
  const Field* const field = table.GetSymHashSubStr(name).Unique();
  return field == nullptr || field->IsStandalone() ? nullptr : field;
}

int AddRawFields(const SymbolTable& table) {
  for (const std::string& name : opt.rawfield) {
    const Field* const field = FindItem(table, name);
    if (field == nullptr) {
      PrintError("Can not find unique field %s ", name.c_str());
      return Fail("Adding RAW fields to the mask table\n");
    }
    if (IsWordData() && field->length > static_cast<std::int64_t>(kMostCompQuarters))
      return Fail("Can not handle raw fields longer than 7 bytes!!\n");
    if (!IsOnList(*field) && AddSymbolToMaskTable(*field, mask_type::kBinary) == 0) return 0;
  }
  return 1;
}

// The copybook's record size against the one supplied.
int SettleRecordSize(const SymbolTable& table) {
  std::int64_t longest = 0, size = 0;
  for (const copybook::RecordDescription& record : table.records()) {
    if (record.first->IsStandalone()) continue;
    longest = std::max(longest, record.length);
    size = std::max(size, record.aux_length);
  }
  if (size == 0) return 1;
  // What a backup to 36-bit words reads are converted records.
  const bool reads_converted = opt.sw_backup != 0 && IsWordData();
  if (opt.gblRecSize == 0)
    opt.gblRecSize = static_cast<std::int32_t>(reads_converted ? size : longest);
  sizes.gblCpySize = static_cast<std::int32_t>(size);
  if (sizes.gblCpySize == opt.gblRecSize) return 1;
  PrintWarning("Copy Book record size : (%d)", sizes.gblCpySize);
  PrintWarning("Input record size     : (%d)\n", opt.gblRecSize);
  const std::string answer = Ask({"Do you wish to continue (Y/N)  : ",
                                  "\nAuto answer assuming Yes. Processing continues.\n", "Y", "N"},
                                 opt.sw_automatic != 0);
  if (Answers(answer, 'n')) return 0;
  sizes.sw_use_booksize = true;
  return 1;
}

// ---- ID IS

class IdIs {
 public:
  IdIs(const SymbolTable& table, CopybookReader& reader)
      : table_(table), reader_(reader), lexer_(reader.lexer) {}

  // All statements that follow; the token that begins none comes next.
  int LoadAll();

 private:
  int LoadIdIsOption();
  int ReadCondition(MaskItem& item);
  int ReadRecordNumber(MaskItem& item);
  int ReadUse(std::vector<copybook::Identifier>& used);
  int AddGroup(const Field& group);
  int AddUsed(const Field& field);

  const SymbolTable& table_;
  CopybookReader& reader_;
  copybook::Lexer& lexer_;
  std::size_t segment_ = 0;  // the first item of the group being built
};

int IdIs::LoadAll() {
  const std::size_t errors = reader_.diagnostics.errors();
  while (lexer_.GetToken().Is("ID")) {
    const copybook::Place place = lexer_.token().span.begin;
    if (LoadIdIsOption() != 0 && reader_.diagnostics.errors() == errors) continue;
    PrintError("Loading 'ID IS' statement\n");
    PrintWarning("Line %u of '%s': the ID IS statement is wrong.\n", place.line,
                 reader_.diagnostics.FileOf(place).c_str());
    return 0;
  }
  lexer_.UngetToken();
  if (SortMaskList(segment_) == 0) return Fail("Sorting mask list\n");
  std::erase_if(mask_list, [](const MaskItem& item) { return item.type == 0; });
  return 1;
}

// From the word ID to the full stop, which is then the current token.
int IdIs::LoadIdIsOption() {
  if (!lexer_.GetToken().Is("IS")) return Fail("Unknown syntax: Expecting 'IS' after 'ID'\n");
  MaskItem item;
  item.type = mask_type::kCondition;
  item.length = -1;
  item.occurs = 0;
  std::vector<copybook::Identifier> used;
  if (ReadCondition(item) == 0 || ReadUse(used) == 0) return 0;
  if (SortMaskList(segment_) == 0) return 0;
  if (segment_ == 0) NoteUnconditional();
  FieldPlace place, other;
  for (const copybook::Identifier& name : used)
    if (getSubLoc(name, &name == &used.front() ? place : other) == 0) return 0;
  item.condition_start = place.location;
  item.condition_end = place.location + used.front().field->length;
  item.name = used.front().field->name;
  for (const copybook::Identifier& name : used) item.used.push_back(name.field);
  segment_ = mask_list.size();
  AddNewItemToMaskList(std::move(item));
  for (const copybook::Identifier& name : used)
    if (AddUsed(*name.field) == 0) return Fail("Adding sub items\n");
  return 1;
}

int IdIs::ReadCondition(MaskItem& item) {
  if (lexer_.GetToken().Is("RECORD")) return ReadRecordNumber(item);
  lexer_.UngetToken();
  const auto condition = copybook::ExpressionParser(lexer_, table_, reader_.diagnostics).getExpr();
  if (condition == nullptr) return 0;
  std::unique_ptr<ConditionNode> tree;
  if (saveConditions(*condition, tree) != 0) return Fail("Saving conditions\n");
  item.tree = std::move(tree);
  return 1;
}

int IdIs::ReadRecordNumber(MaskItem& item) {
  if (!lexer_.GetToken().Is("NUMBER")) return Fail("Unknown syntax: Expecting 'RECORD NUMBER'\n");
  constexpr struct {
    const char* sign;
    const char* op;
  } kSigns[] = {{"=", "EQ"}, {"<>", "NE"}, {">", "GT"}, {">=", "GE"}, {"<", "LT"}, {"<=", "LE"}};
  const copybook::Token& sign = lexer_.GetToken();
  const auto* const found = std::find_if(std::begin(kSigns), std::end(kSigns),
                                         [&](const auto& row) { return sign.Is(row.sign); });
  if (found == std::end(kSigns)) return Fail("Unknown syntax: Expecting one of <,<=,>,>=,<>,= \n");
  const copybook::Token& number = lexer_.GetToken();
  const bool is_number = number.kind == TokenKind::kNumber &&
                         number.text.find_first_not_of("0123456789") == std::string::npos;
  if (!is_number) return Fail("Must supply numeric value for ID IS RECORD NUMBER statement.\n");
  constexpr std::size_t kMostDigits = 9;
  if (number.text.size() > kMostDigits) {
    PrintError("Numeric literal %s exceeds 9 digits. Can not process.\n", number.text.c_str());
    return 0;
  }
  item.is_record_number = true;
  item.op = found->op;
  item.location = -std::stoi(number.text);
  lexer_.GetToken();
  lexer_.UngetToken();
  return 1;
}

// USE and its data names, up to the full stop.
int IdIs::ReadUse(std::vector<copybook::Identifier>& used) {
  if (!lexer_.GetToken().Is("USE")) return Fail("Unknown syntax: Expecting 'USE' after 'ID IS'\n");
  while (lexer_.GetToken().kind == TokenKind::kWord) {
    lexer_.UngetToken();
    auto name = copybook::ExpressionParser(lexer_, table_, reader_.diagnostics).getExpr();
    if (name == nullptr) return 0;
    const bool is_item = name->kind == copybook::Expression::Kind::kIdentifier &&
                         name->identifier.field->IsInRecord();
    if (!is_item) return Fail(kIdentifierExpected);
    used.push_back(std::move(name->identifier));
    if (!lexer_.GetToken().Is(",")) lexer_.UngetToken();
  }
  if (used.empty() || copybook::AtLiteral(lexer_)) return Fail(kIdentifierExpected);
  return lexer_.token().Is(".") ? 1 : Fail("Missing '.' as 'ID IS' terminator\n");
}

int IdIs::AddUsed(const Field& field) {
  return field.IsGroup() ? AddGroup(field) : ProcessMaskListCandidate(field);
}

int IdIs::AddGroup(const Field& group) {
  for (const Field* field = group.next; field != nullptr && field->level > group.level;
       field = SkipRedefinitions(field->next)) {
    TRACE_LINE("%02d  %s (GROUP item)\n", field->level, field->name.c_str());
    if (ProcessMaskListCandidate(*field) == 0) return 0;
  }
  return 1;
}

}  // namespace

bool IsRawField(const std::string& name) {
  return std::any_of(opt.rawfield.begin(), opt.rawfield.end(), [&name](const std::string& raw) {
    return copybook::EqualsIgnoreCase(raw, name);
  });
}

MaskItem MaskItemOf(const Field& field) { return ItemOf(field, MaskTypeOf(field)); }

int ProcessMaskListCandidate(const Field& field) {
  const char type = MaskTypeOf(field);
  if (type == mask_type::kBinary && field.usage == '1' && !IsRawField(field.name))
    return AddBitBytes(field);
  if (type != 0) return AddSymbolToMaskTable(field, type);
  if (IsPlain(field) || !HasOverpunch(field)) return 1;
  PrintError("COBOL compiler type unknown \n");
  PrintError("You must specify (MF or MBP) to convert signed numeric data.\n");
  return 0;
}

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
  unconditional.clear();
  if (SettleRecordSize(table) == 0 || WalkItems(table) == 0 || AddRawFields(table) == 0 ||
      validateKeys(table) == 0)
    return 0;
  if (SortMaskList(0) == 0) return Fail("Sorting mask list\n");
  if (IdIs(table, reader).LoadAll() == 0) return 0;
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
