// Grammar statements, a description and ID IS statements read through one lexer.
#include <gtest/gtest.h>

#include "copybook/expression.h"
#include "support.h"

namespace tolvane::copybook::test {
namespace {

// A reader of the grammar's kind: prints the statements that it sees.
class GrammarReader {
 public:
  std::string Read(const Files& files) {
    Diagnostics diagnostics([this](const Diagnostic& found) { out_ += found.Text() + "\n"; });
    Lexer lexer(Opener(files), diagnostics);
    if (!lexer.InitLex("T", Reading::kFree)) return "not opened";
    Compiler compiler(lexer, table_, diagnostics, {});
    while (lexer.GetToken().kind == TokenKind::kWord) {
      if (lexer.token().Is("COPYBOOK") && lexer.GetToken().Is("IS")) {
        ReadCopybook(lexer, compiler);
      } else if (lexer.token().Is("ID") && lexer.GetToken().Is("IS")) {
        const auto condition = ExpressionParser(lexer, table_, diagnostics).getExpr();
        if (condition == nullptr) return out_;
        out_ += "ID " + DumpExpression(*condition) + "\n";
      } else if (lexer.token().Is("INPUT")) {
        out_ += "INPUT " + lexer.GetPath().text + "\n";
      } else {
        ReadWords(lexer);
      }
    }
    return out_ + (lexer.token().kind == TokenKind::kEnd ? "end\n" : "stopped\n");
  }

 private:
  void ReadCopybook(Lexer& lexer, Compiler& compiler) {
    lexer.BeginDescription();
    const std::string first = lexer.GetToken().text;  // looked at before the compiler reads it
    lexer.UngetToken();
    out_ += "COPYBOOK " + first + (compiler.CompileRecords() ? "\n" : " failed\n");
    out_ += DumpLayout(table_) + "next " + lexer.token().text + "\n";
  }

  // A word and the numbers, signs and full stops after it.
  void ReadWords(Lexer& lexer) {
    do out_ += lexer.token().text + " ";
    while (lexer.GetToken().kind != TokenKind::kWord && lexer.token().kind != TokenKind::kEnd);
    lexer.UngetToken();
    out_.back() = '\n';
  }

  SymbolTable table_;
  std::string out_;
};

constexpr const char* kLayoutAB = "RECORD A length 1\n    0     1 G 01 A\n    0     1 C   05 B\n";

TEST(GrammarText, GoesOnAfterTheDescriptionWithTheNextStatement) {
  const struct {
    const char* name;
    const char* text;
    const char* before;
    const char* after;
  } cases[] = {
      {"fixed format",
       "INPUT $DATA/in-1.bak KEY1 0,10\nCOPYBOOK IS\n"
       "000100 01 A.                                                            IDENT\n"
       "000200*  c\n000300   05 B PIC X.\nID IS B = 'X' OR 'Y' USE A.\n",
       "INPUT $DATA/in-1.bak\nKEY1 0 , 10\nCOPYBOOK 01\n",
       "next ID\nID ((B EQ 'X') OR (B EQ 'Y'))\nUSE\nA .\nend\n"},
      {"free format",
       "COPYBOOK IS\n01 A.\n05 B PIC X.\nID IS (B OF A = X'C1') USE A.\nID IS B > 1\n",
       "COPYBOOK 01\n", "next ID\nID (B EQ X'C1')\nUSE\nA .\nID (B GT 1)\nend\n"},
      {"on the statement's line", "COPYBOOK IS 01 A.\n            05 B PIC X.\nKEY1 5\n",
       "COPYBOOK 01\n", "next KEY1\nKEY1 5\nend\n"},
      {"all on one line", "COPYBOOK IS 01 A. 05 B PIC X. SKIP 1 RECORDS", "COPYBOOK 01\n",
       "next SKIP\nSKIP 1\nRECORDS\nend\n"},
      {"an indented statement after it", "COPYBOOK IS\n      *\n       01 A. 05 B PIC X.\n  SKIP 1",
       "COPYBOOK 01\n", "next SKIP\nSKIP 1\nend\n"},
      {"copied, with a full stop", "COPYBOOK IS COPY AB.\nKEY1 0 1", "COPYBOOK COPY\n",
       "next KEY1\nKEY1 0 1\nend\n"},
      {"copied by path, no full stop", "COPYBOOK IS COPY \"/u/d/ab.cpy\"\n\nID IS B = 5 USE",
       "COPYBOOK COPY\n", "next ID\nID (B EQ 5)\nUSE\nend\n"},
      {"last in the file", "COPYBOOK IS COPY /u/d/ab.cpy", "COPYBOOK COPY\n", "next \nend\n"},
  };
  const std::string fixed = "      * In fixed format.\n000100 01 A.\n000200 05 B PIC X.\n";
  for (const auto& test : cases) {
    const Files files{{"T", test.text}, {"AB", fixed}, {"/u/d/ab.cpy", fixed}};
    EXPECT_EQ(GrammarReader().Read(files), std::string(test.before) + kLayoutAB + test.after)
        << test.name;
  }
}

TEST(GrammarText, TellsThePlaceOfAnErrorInTheRightFile) {
  EXPECT_EQ(GrammarReader().Read({{"T", "SKIP 1\nCOPYBOOK IS COPY C.\nID IS NOPE = 1"},
                                  {"C", "01 A.\n 05 B PIC Q.\n"}}),
            "SKIP 1\nC:2:11: error: expected a picture symbol, found 'Q'\nCOPYBOOK COPY failed\n"
            "RECORD A length 0\n    0     0 G 01 A\n    0     0 G   05 B\nnext ID\n"
            "T:3:7: error: expected the name of a data item, found 'NOPE'\n");
}

}  // namespace
}  // namespace tolvane::copybook::test
