#include "copybook/expression.h"

#include <algorithm>
#include <array>

#include "copybook/settings.h"
#include "copybook/words.h"

namespace tolvane::copybook {
namespace {

struct OperatorRow {
  Operator op;
  Operator opposite;
  const char* name;
};
constexpr std::array<OperatorRow, 8> kOperators{{{Operator::kEq, Operator::kNe, "EQ"},
                                                 {Operator::kNe, Operator::kEq, "NE"},
                                                 {Operator::kGt, Operator::kLe, "GT"},
                                                 {Operator::kLe, Operator::kGt, "LE"},
                                                 {Operator::kLt, Operator::kGe, "LT"},
                                                 {Operator::kGe, Operator::kLt, "GE"},
                                                 {Operator::kAnd, Operator::kOr, "AND"},
                                                 {Operator::kOr, Operator::kAnd, "OR"}}};

const OperatorRow& Row(Operator op) { return kOperators[static_cast<std::size_t>(op)]; }

// How a comparison begins, and the words that may follow.
struct RelationWord {
  std::string_view word;
  Operator op;
  std::string_view filler;  // THAN, TO
  Operator or_equal;        // with OR EQUAL TO; the same as `op` where that cannot follow
};
constexpr RelationWord kRelations[] = {
    {"=", Operator::kEq, "", Operator::kEq},
    {"<>", Operator::kNe, "", Operator::kNe},
    {"<=", Operator::kLe, "", Operator::kLe},
    {">=", Operator::kGe, "", Operator::kGe},
    {"<", Operator::kLt, "", Operator::kLt},
    {">", Operator::kGt, "", Operator::kGt},
    {"EQUAL", Operator::kEq, "TO", Operator::kEq},
    {"EQUALS", Operator::kEq, "TO", Operator::kEq},
    {"UNEQUAL", Operator::kNe, "TO", Operator::kNe},
    {"LESS", Operator::kLt, "THAN", Operator::kLe},
    {"GREATER", Operator::kGt, "THAN", Operator::kGe},
    {"EXCEEDS", Operator::kGt, "", Operator::kGt},
};

}  // namespace

const char* OperatorName(Operator op) { return Row(op).name; }

bool ExpressionParser::Fail(std::string_view expected) {
  const bool at_end = token().kind == TokenKind::kEnd;
  diagnostics_.Error(token().span.begin, expected, at_end ? "end of text" : token().text);
  return false;
}

std::unique_ptr<Expression> ExpressionParser::getExpr() {
  subject_ = nullptr;
  comparisons_ = 0;
  parentheses_ = 0;
  Node node = ParseOr();
  if (node == nullptr) return nullptr;
  lexer_.GetToken();
  lexer_.UngetToken();
  return node;
}

ExpressionParser::Node ExpressionParser::Join(Node left, Operator op, Node right) {
  if (left == nullptr || right == nullptr) return nullptr;
  Node node = std::make_unique<Expression>();
  node->op = op;
  node->place = left->place;
  node->word = left->word;
  node->left = std::move(left);
  node->right = std::move(right);
  return node;
}

ExpressionParser::Node ExpressionParser::ParseOr() {
  Node node = ParseAnd();
  while (node != nullptr && lexer_.Accept("OR"))
    node = Join(std::move(node), Operator::kOr, ParseAnd());
  return node;
}

ExpressionParser::Node ExpressionParser::ParseAnd() {
  Node node = ParseNot();
  while (node != nullptr && lexer_.Accept("AND"))
    node = Join(std::move(node), Operator::kAnd, ParseNot());
  return node;
}

ExpressionParser::Node ExpressionParser::ParseNot() {
  bool negated = false;
  while (lexer_.Accept("NOT")) negated = !negated;
  Node node;
  if (lexer_.Accept("(")) {
    if (++parentheses_ > kMaxParentheses) {
      Fail("expected at most 100 open parentheses");
      return nullptr;
    }
    node = ParseOr();
    if (node == nullptr) return nullptr;
    if (!lexer_.GetToken().Is(")")) {
      Fail("expected ')'");
      return nullptr;
    }
    --parentheses_;
  } else {
    node = ParseComparison();
  }
  if (node == nullptr || !negated) return node;
  if (node->kind != Expression::Kind::kBinary) {
    diagnostics_.Error(node->place, "expected a comparison after NOT");
    return nullptr;
  }
  Negate(*node);
  return node;
}

void ExpressionParser::Negate(Expression& node) {
  const bool comparison = node.op != Operator::kAnd && node.op != Operator::kOr;
  node.op = Row(node.op).opposite;
  if (comparison) return;
  Negate(*node.left);
  Negate(*node.right);
}

// A comparison, a plain operand, or what abbreviates a comparison.
ExpressionParser::Node ExpressionParser::ParseComparison() {
  Relation relation;
  if (!ReadRelation(relation)) return nullptr;
  if (relation.found) {
    if (subject_ == nullptr) {
      Fail("expected a data name before a comparison");
      return nullptr;
    }
    return Compare(Copy(*subject_), relation.op, ParseOperand());
  }
  Node left = ParseOperand();
  if (left == nullptr || !ReadRelation(relation)) return nullptr;
  if (relation.found) return Compare(std::move(left), relation.op, ParseOperand());
  if (subject_ == nullptr) return left;
  return Compare(Copy(*subject_), operator_, std::move(left));
}

ExpressionParser::Node ExpressionParser::Compare(Node left, Operator op, Node right) {
  if (++comparisons_ > kMaxConditions) {
    Fail("expected at most 1000 comparisons");
    return nullptr;
  }
  Node node = Join(std::move(left), op, std::move(right));
  if (node == nullptr) return nullptr;
  subject_ = node->left.get();
  operator_ = op;
  return node;
}

ExpressionParser::Node ExpressionParser::Copy(const Expression& operand) {
  Node node = std::make_unique<Expression>();
  node->kind = operand.kind;
  node->identifier = operand.identifier;
  node->literal = operand.literal;
  node->place = operand.place;
  node->word = operand.word;
  return node;
}

// [IS] [NOT] comparison. `found` stays false, and nothing is read, when none begins here.
bool ExpressionParser::ReadRelation(Relation& relation) {
  const bool is = lexer_.Accept("IS");
  const bool negated = lexer_.Accept("NOT");
  lexer_.GetToken();
  const auto* row =
      std::find_if(std::begin(kRelations), std::end(kRelations),
                   [this](const RelationWord& word) { return token().Is(word.word); });
  if (row == std::end(kRelations)) {
    if (is || negated) return Fail("expected a comparison");
    lexer_.UngetToken();
    return true;
  }
  relation.found = true;
  relation.op = row->op;
  if (!row->filler.empty()) (void)lexer_.Accept(row->filler);
  if (row->or_equal != row->op && lexer_.FollowedBy("OR EQUAL")) {
    lexer_.GetToken();
    lexer_.GetToken();
    (void)lexer_.Accept("TO");
    relation.op = row->or_equal;
  }
  if (negated) relation.op = Row(relation.op).opposite;
  return true;
}

ExpressionParser::Node ExpressionParser::ParseOperand() {
  lexer_.GetToken();
  Node node = std::make_unique<Expression>();
  node->place = token().span.begin;
  node->word = token().text;
  if (AtLiteral(lexer_)) {
    node->kind = Expression::Kind::kLiteral;
    if (!ReadLiteral(lexer_, diagnostics_, node->literal)) return nullptr;
    return node;
  }
  node->kind = Expression::Kind::kIdentifier;
  if (!ReadIdentifier(node->identifier)) return nullptr;
  return node;
}

bool ExpressionParser::ReadIdentifier(Identifier& identifier) {
  const Place place = token().span.begin;
  if (token().kind != TokenKind::kWord) return Fail("expected a data name or a literal");
  identifier.names.push_back(token().text);
  for (;;) {
    lexer_.GetToken();
    if (!token().Is("OF") && !token().Is("IN")) break;
    if (lexer_.GetToken().kind != TokenKind::kWord) return Fail("expected a group's name");
    identifier.names.push_back(token().text);
  }
  while (token().Is("(")) {
    if (!ReadParentheses(identifier)) return false;
    lexer_.GetToken();
  }
  lexer_.UngetToken();
  return LookUp(identifier, place);
}

// Subscripts, or with a colon a reference modification.
bool ExpressionParser::ReadParentheses(Identifier& identifier) {
  std::vector<Subscript> subscripts;
  bool modified = false;
  for (;;) {
    lexer_.GetToken();
    if (token().Is(")")) break;
    if (token().kind == TokenKind::kEnd || token().Is(".") || token().Is("("))
      return Fail("expected ')'");
    if (token().Is(",")) continue;
    if (token().Is(":")) modified = true;
    Subscript subscript;
    subscript.text = token().text;
    if (token().kind == TokenKind::kNumber) {
      subscript.literal.kind = 'N';
      subscript.literal.text = token().text;
    }
    if (subscripts.size() >= kMaxOccursDepth) return Fail("expected at most 7 subscripts");
    subscripts.push_back(std::move(subscript));
  }
  if (modified) {
    identifier.reference_modified = true;
  } else if (subscripts.empty() || !identifier.subscripts.empty()) {
    return Fail("expected subscripts");
  } else {
    identifier.subscripts = std::move(subscripts);
  }
  return true;
}

bool ExpressionParser::LookUp(Identifier& identifier, const Place& place) {
  const std::vector<std::string_view> names(identifier.names.begin(), identifier.names.end());
  const Lookup found = table_.GetSymHashSubStr(names);
  identifier.field = found.Unique();
  if (identifier.field != nullptr) return true;
  const std::string_view expected =
      found.matches > 0 ? "expected a name that one data item has; qualify it with OF"
      : table_.IsConditionName(names.front())
          ? "expected the data item that the level 88 name belongs to, and its value"
          : "expected the name of a data item";
  diagnostics_.Error(place, expected, names.front());
  return false;
}

}  // namespace tolvane::copybook
