#include "copybook/expression.h"

#include <gtest/gtest.h>

#include "support.h"

namespace tolvane::copybook::test {
namespace {

constexpr const char* kRecord =
    "01 R. 05 A PIC 9. 05 B PIC X(4). 88 B-YES VALUE 'Y'. 05 T OCCURS 3. 10 U PIC X OCCURS 2.\n"
    "05 G. 10 X PIC X. 05 H. 10 X PIC X.\n";

// The expression that a text begins with, a bar and the token after it; or the messages.
std::string Parse(const std::string& text) {
  const Compilation compilation(kRecord);
  const Files files{{"E", text}};
  std::string messages;
  Diagnostics diagnostics([&](const Diagnostic& found) { messages += found.Text(); });
  Lexer lexer(Opener(files), diagnostics);
  if (!lexer.InitLex("E", Reading::kFree)) return "not opened";
  const auto expression = ExpressionParser(lexer, compilation.table, diagnostics).getExpr();
  if (expression == nullptr) return messages;
  return DumpExpression(*expression) + "|" + lexer.GetToken().text;
}

TEST(Expression, ReadsEverySpellingOfAComparison) {
  const struct {
    const char* name;
    const char* spellings[6];
  } cases[] = {
      {"EQ", {"=", "IS =", "EQUAL", "IS EQUAL TO", "equals", "NOT <>"}},
      {"NE", {"<>", "NOT =", "IS NOT EQUAL TO", "IS UNEQUAL TO", "not equals", "is not ="}},
      {"GT", {">", "IS GREATER THAN", "GREATER", "EXCEEDS", "NOT LESS THAN OR EQUAL TO", "NOT <="}},
      {"LT", {"<", "IS LESS THAN", "LESS", "NOT >=", "IS <", "NOT GREATER OR EQUAL TO"}},
      {"GE",
       {">=", "NOT <", "IS NOT LESS THAN", "GREATER THAN OR\n EQUAL TO", "GREATER OR EQUAL",
        "IS >="}},
      {"LE",
       {"<=", "NOT >", "IS NOT GREATER THAN", "LESS THAN OR EQUAL TO", "LESS OR EQUAL",
        "NOT EXCEEDS"}},
  };
  for (const auto& test : cases)
    for (const char* spelling : test.spellings)
      EXPECT_EQ(Parse(std::string("A ").append(spelling).append(" 1 USE")),
                std::string("(A ").append(test.name).append(" 1)|USE"))
          << spelling;
}

TEST(Expression, BuildsTreesOfComparisons) {
  const struct {
    const char* text;
    const char* tree;
  } cases[] = {
      {"A = 1 OR A = 2 AND B = 'X' USE", "((A EQ 1) OR ((A EQ 2) AND (B EQ 'X')))|USE"},
      {"(A = 1 OR A = 2) AND B > 'X'.", "(((A EQ 1) OR (A EQ 2)) AND (B GT 'X'))|."},
      {"NOT (A = 1 AND NOT B < 'X') USE", "((A NE 1) OR (B LT 'X'))|USE"},
      {"A = 1 OR 2 OR > 5 AND < 9 USE", "(((A EQ 1) OR (A EQ 2)) OR ((A GT 5) AND (A LT 9)))|USE"},
      {"A = -5 USE", "(A EQ -5)|USE"},
      {"B = SPACES OR ALL 'ab' OR LOW-VALUES OR ZERO USE",
       "((((B EQ ALL ' ') OR (B EQ ALL 'ab')) OR (B EQ ALL '\\x00')) OR (B EQ 0))|USE"},
      {"B = X'C1' OR H'0F' OR O'17' OR N'n' USE",
       "((((B EQ X'C1') OR (B EQ H'0F')) OR (B EQ O'17')) OR (B EQ G'n'))|USE"},
      {"U(1, 2) = 'X' USE", "(U(1,2) EQ 'X')|USE"},
      {"X OF G = X IN H USE", "(X EQ X)|USE"},
      {"B(1:2) = 'AB' USE", "(B(:) EQ 'AB')|USE"},
      {"G H.", "G|H"},
  };
  for (const auto& test : cases) EXPECT_EQ(Parse(test.text), test.tree) << test.text;
}

TEST(Expression, NamesWhatIsWrong) {
  const struct {
    std::string text;
    const char* message;
  } cases[] = {
      {"", "E:1:1: error: expected a data name or a literal, found 'end of text'"},
      {"A =", "E:1:4: error: expected a data name or a literal, found 'end of text'"},
      {"NOPE = 1", "E:1:1: error: expected the name of a data item, found 'NOPE'"},
      {"X = 1",
       "E:1:1: error: expected a name that one data item has; qualify it with OF, found 'X'"},
      {"B-YES",
       "E:1:1: error: expected the data item that the level 88 name belongs to, and its value, "
       "found 'B-YES'"},
      {"(A = 1 USE", "E:1:8: error: expected ')', found 'USE'"},
      {"A IS 1", "E:1:6: error: expected a comparison, found '1'"},
      {"NOT A USE", "E:1:5: error: expected a comparison after NOT"},
      {"= 1", "E:1:1: error: expected a data name before a comparison, found '='"},
      {"B = X'0G'", "E:1:5: error: expected hexadecimal digits, found '0G'"},
      {"T() = 1", "E:1:3: error: expected subscripts, found ')'"},
      {"U(1 2", "E:1:6: error: expected ')', found 'end of text'"},
      {"B = - 'A'", "E:1:7: error: expected a number, found 'A'"},
      {std::string(1000000, '('),
       "E:1:101: error: expected at most 100 open parentheses, found '('"},
  };
  for (const auto& test : cases)
    EXPECT_EQ(Parse(test.text), test.message) << test.text.substr(0, 40);
  std::string many = "A = 1";
  for (int i = 0; i < 100000; ++i) many += " OR A = 1";
  EXPECT_NE(Parse(many).find("expected at most 1000 comparisons"), std::string::npos);
  std::string abbreviated = "A = 1";
  for (int i = 0; i < 100000; ++i) abbreviated += " OR 1";
  EXPECT_NE(Parse(abbreviated).find("expected at most 1000 comparisons"), std::string::npos);
}

}  // namespace
}  // namespace tolvane::copybook::test
