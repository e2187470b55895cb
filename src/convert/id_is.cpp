#include "convert/id_is.h"

#include <memory>
#include <optional>

#include "convert/conditions.h"
#include "copybook/expression.h"
#include "copybook/words.h"
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
  using Node = std::unique_ptr<copybook::Expression>;

  int LoadIdIsOption();
  int ReadCondition(MaskItem& item);
  int ReadRecordNumber(MaskItem& item);
  int ReadUse(std::vector<Node>& used);
  [[nodiscard]] bool BeginsIdIs() const;
  int Blame(const copybook::Expression& operand);
  void TellPlace();

  // The word of the statement that is wrong.
  struct Spot {
    copybook::Place place;
    std::string word;
  };

  const copybook::SymbolTable& table_;
  CopybookReader& reader_;
  copybook::Lexer& lexer_;
  MaskListBuilder& builder_;
  std::optional<Spot> blamed_;  // nothing: the current token
};

int IdIs::LoadAll() {
  const std::size_t errors = reader_.diagnostics.errors();
  while (lexer_.GetToken().Is("ID")) {
    if (LoadIdIsOption() != 0 && reader_.diagnostics.errors() == errors) continue;
    PrintError("Loading 'ID IS' statement\n");
    // The diagnostics of the copybook compiler have places of their own.
    if (reader_.diagnostics.errors() == errors) TellPlace();
    return 0;
  }
  lexer_.UngetToken();
  return 1;
}

int IdIs::Blame(const copybook::Expression& operand) {
  blamed_ = Spot{operand.place, operand.word};
  return 0;
}

void IdIs::TellPlace() {
  const copybook::Token& token = lexer_.token();
  if (!blamed_)
    blamed_ = Spot{token.span.begin, token.kind == TokenKind::kEnd ? "end of text" : token.text};
  const copybook::Place& place = blamed_->place;
  PrintWarning("Line %u, column %u of '%s': the ID IS statement is wrong at '%s'.\n", place.line,
               place.column, reader_.diagnostics.FileOf(place).c_str(), blamed_->word.c_str());
}

// From the word ID to the full stop, which is then the current token.
int IdIs::LoadIdIsOption() {
  if (!lexer_.GetToken().Is("IS")) return Fail("Unknown syntax: Expecting 'IS' after 'ID'\n");
  MaskItem item;
  item.type = mask_type::kCondition;
  item.length = -1;
  item.occurs = 0;
  std::vector<Node> used;
  if (ReadCondition(item) == 0 || ReadUse(used) == 0) return 0;
  if (builder_.EndSegment() == 0) return 0;
  FieldPlace place, other;
  for (const Node& name : used)
    if (getSubLoc(name->identifier, &name == &used.front() ? place : other) == 0)
      return Blame(*name);
  const copybook::Field& first = *used.front()->identifier.field;
  item.condition_start = place.location;
  item.condition_end = place.location + first.length;
  item.name = first.name;
  for (const Node& name : used) item.used.push_back(name->identifier.field);
  builder_.BeginGroup(std::move(item));
  for (const Node& name : used) {
    if (builder_.AddUsed(*name->identifier.field) != 0) continue;
    (void)Fail("Adding sub items\n");
    return Blame(*name);
  }
  return 1;
}

int IdIs::ReadCondition(MaskItem& item) {
  if (lexer_.GetToken().Is("RECORD")) return ReadRecordNumber(item);
  lexer_.UngetToken();
  const auto condition = copybook::ExpressionParser(lexer_, table_, reader_.diagnostics).getExpr();
  if (condition == nullptr) return 0;
  std::unique_ptr<ConditionNode> tree;
  const copybook::Expression* wrong = nullptr;
  if (saveConditions(*condition, tree, wrong) != 0) {
    (void)Fail("Saving conditions\n");
    return Blame(*wrong);
  }
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

// Whether the current token begins an ID IS statement.
bool IdIs::BeginsIdIs() const {
  return lexer_.token().Is("ID") && copybook::EqualsIgnoreCase(lexer_.WordBehind(), "IS");
}

// USE and its data names, up to the full stop.
int IdIs::ReadUse(std::vector<Node>& used) {
  if (!lexer_.GetToken().Is("USE")) return Fail("Unknown syntax: Expecting 'USE' after 'ID IS'\n");
  while (lexer_.GetToken().kind == TokenKind::kWord) {
    if (!used.empty() && BeginsIdIs()) break;
    lexer_.UngetToken();
    Node name = copybook::ExpressionParser(lexer_, table_, reader_.diagnostics).getExpr();
    if (name == nullptr) return 0;
    const bool is_item = name->kind == copybook::Expression::Kind::kIdentifier &&
                         name->identifier.field->IsInRecord();
    if (!is_item) {
      (void)Fail(kIdentifierExpected);
      return Blame(*name);
    }
    used.push_back(std::move(name));
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
