#include "convert/id_is.h"

#include "convert/conditions.h"
#include "copybook/expression.h"
#include "platform/console.h"

namespace tolvane {

using copybook::TokenKind;

namespace {

constexpr const char* kIdentifierExpected = "Expecting identifier(s), NOT an expression.\n";

int Fail(const char* text) {
  PrintError("%s", text);
  return 0;
}

class IdIs {
 public:
  IdIs(const copybook::SymbolTable& table, CopybookReader& reader, MaskListBuilder& builder)
      : table_(table), reader_(reader), lexer_(reader.lexer), builder_(builder) {}

  int LoadAll();

 private:
  int LoadIdIsOption();
  int ReadCondition(MaskItem& item);
  int ReadRecordNumber(MaskItem& item);
  int ReadUse(std::vector<copybook::Identifier>& used);

  const copybook::SymbolTable& table_;
  CopybookReader& reader_;
  copybook::Lexer& lexer_;
  MaskListBuilder& builder_;
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
  if (builder_.EndSegment() == 0) return 0;
  FieldPlace place, other;
  for (const copybook::Identifier& name : used)
    if (getSubLoc(name, &name == &used.front() ? place : other) == 0) return 0;
  item.condition_start = place.location;
  item.condition_end = place.location + used.front().field->length;
  item.name = used.front().field->name;
  for (const copybook::Identifier& name : used) item.used.push_back(name.field);
  builder_.BeginGroup(std::move(item));
  for (const copybook::Identifier& name : used)
    if (builder_.AddUsed(*name.field) == 0) return Fail("Adding sub items\n");
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
  item.op = RelationOf(lexer_.GetToken());
  if (item.op == nullptr) return Fail("Unknown syntax: Expecting one of <,<=,>,>=,<>,= \n");
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

}  // namespace

int LoadIdIs(const copybook::SymbolTable& table, CopybookReader& reader, MaskListBuilder& builder) {
  return IdIs(table, reader, builder).LoadAll();
}

}  // namespace tolvane
