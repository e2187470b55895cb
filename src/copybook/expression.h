// Conditions and data names as ID IS statements hold them: the expression parser.
//
//   ExpressionParser parser(lexer, table, diagnostics);
//   std::unique_ptr<Expression> condition = parser.getExpr();   // null after an error
//
// Grammar: OR binds weaker than AND, AND weaker than NOT; parentheses; every spelling of a
// comparison ([IS] [NOT] = EQUAL [TO] EQUALS < LESS [THAN] > GREATER [THAN] <= >= <> EXCEEDS, LESS
// THAN OR EQUAL TO, UNEQUAL [TO]); abbreviated conditions (A = 1 OR 2, A > 1 AND < 9), which repeat
// subject and operator. NOT is carried out on the spot: NOT (A = 1 AND B = 2) becomes
// A NE 1 OR B NE 2, so that trees hold comparisons, AND and OR only.
//
// Operands are literals (literal.h) and data names with OF/IN, subscripts and reference
// modification. Names are looked up: an undefined or an ambiguous one is an error, and so is the
// name of a level 88 entry. Whether a literal suits its field is left to the caller.
//
// A plain identifier or literal is an expression too; getExpr leaves the token after the
// expression, which it has put back, as the current one.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "copybook/diagnostics.h"
#include "copybook/lexer.h"
#include "copybook/literal.h"
#include "copybook/symbol_table.h"

namespace tolvane::copybook {

enum class Operator { kEq, kNe, kGt, kLe, kLt, kGe, kAnd, kOr };

// "EQ", "NE", "GT", "GE", "LT", "LE", "AND", "OR".
[[nodiscard]] const char* OperatorName(Operator op);

struct Subscript {
  Literal literal;   // kind 'N' for a number; kind 0 for anything else
  std::string text;  // as written
};

struct Identifier {
  const Field* field = nullptr;    // of the table; never null in a tree that getExpr gave
  std::vector<std::string> names;  // the name and its qualifiers
  std::vector<Subscript> subscripts;
  bool reference_modified = false;
};

struct Expression {
  enum class Kind { kIdentifier, kLiteral, kBinary };
  Kind kind = Kind::kBinary;
  Operator op = Operator::kEq;              // kBinary
  std::unique_ptr<Expression> left, right;  // kBinary
  Identifier identifier;
  Literal literal;
  Place place;       // of its first token; abbreviated conditions share that of their subject
  std::string word;  // that token's text
};

class ExpressionParser {
 public:
  // All three must outlive the parser; the trees point into the table.
  ExpressionParser(Lexer& lexer, const SymbolTable& table, Diagnostics& diagnostics)
      : lexer_(lexer), table_(table), diagnostics_(diagnostics) {}

  // The expression that the next token begins; null after an error, which has been reported. What
  // follows the expression is the lexer's next token.
  [[nodiscard]] std::unique_ptr<Expression> getExpr();

 private:
  using Node = std::unique_ptr<Expression>;

  // A comparison without its right side, for abbreviated conditions.
  struct Relation {
    bool found = false;
    Operator op = Operator::kEq;
  };

  Node ParseOr();
  Node ParseAnd();
  Node ParseNot();
  Node ParseComparison();
  Node ParseOperand();
  Node Compare(Node left, Operator op, Node right);
  bool ReadRelation(Relation& relation);
  bool ReadIdentifier(Identifier& identifier);
  bool ReadParentheses(Identifier& identifier);
  bool LookUp(Identifier& identifier, const Place& place);

  const Token& token() const { return lexer_.token(); }
  bool Fail(std::string_view expected);
  static Node Join(Node left, Operator op, Node right);
  static void Negate(Expression& node);
  static Node Copy(const Expression& operand);

  Lexer& lexer_;
  const SymbolTable& table_;
  Diagnostics& diagnostics_;
  const Expression* subject_ = nullptr;  // of the last comparison
  Operator operator_ = Operator::kEq;
  std::size_t comparisons_ = 0;
  int parentheses_ = 0;
};

}  // namespace tolvane::copybook
