#include "copybook/lexer.h"

#include <gtest/gtest.h>

#include "support.h"

namespace tolvane::copybook::test {
namespace {

// The tokens of a text, and the messages after them.
std::string Tokens(const std::string& text, Reading reading) {
  std::string messages;
  const Files files{{"T", text}};
  Diagnostics diagnostics([&](const Diagnostic& found) { messages += found.Text() + "\n"; });
  Lexer lexer(Opener(files), diagnostics);
  if (!lexer.InitLex("T", reading)) return "not opened";
  const std::string tokens = DumpTokens(lexer);  // before the messages that it brings
  return tokens + messages;
}

TEST(Lexer, TellsTheKindsOfTokens) {
  EXPECT_EQ(Tokens("KEY1 IS 0,10 1.5 .5 1.5E-3 1ST-KEY <= <> :TAG:-NO A(1:2)", Reading::kFree),
            "1:1 W KEY1\n1:6 W IS\n1:9 N 0\n1:10 P ,\n1:11 N 10\n1:14 N 1.5\n1:18 N .5\n"
            "1:21 N 1.5E-3\n1:28 W 1ST-KEY\n1:36 P <=\n1:39 P <>\n1:42 W :TAG:-NO\n"
            "1:51 W A\n1:52 P (\n1:53 N 1\n1:54 P :\n1:55 N 2\n1:56 P )\n");
  EXPECT_EQ(Tokens("x'0A' H\"1f\" O'17' N'n' NX'00' G'g' 'it''s' \"a *> b\" 0-10 *> gone\nX\n",
                   Reading::kFree),
            "1:1 X 0A\n1:7 H 1f\n1:13 O 17\n1:19 G n\n1:24 G 00\n1:31 G g\n1:36 S it's\n"
            "1:44 S a *> b\n1:53 N 0\n1:54 P -\n1:55 N 10\n2:1 W X\n");
  EXPECT_EQ(Tokens("VALUE 'AB\nX", Reading::kFree),
            "1:1 W VALUE\n1:7 S AB\n2:1 W X\nT:1:7: error: expected a closing quote, found 'AB'\n");
}

struct FormatCase {
  const char* name;
  const char* text;
  const char* tokens;
};

TEST(Lexer, TellsFixedFromFreeFormatByTheText) {
  const FormatCase cases[] = {
      {"sequence numbers and identification",
       "000100 01 A.                                                            IDENT001\n"
       "000200* comment\n000300D    debug\n000400/\n",
       "1:8 N 01\n1:11 W A\n1:12 P .\n"},
      {"columns 1 to 6 blank, a comment in column 7", "      * c\n       01 A.\r\n",
       "2:8 N 01\n2:11 W A\n2:12 P .\n"},
      {"a change mark before an entry", "AB12   01 A.\n000200 05 B.\n",
       "1:8 N 01\n1:11 W A\n1:12 P .\n2:8 N 05\n2:11 W B\n2:12 P .\n"},
      {"a tab over the sequence area", "\t01 A.\n      *\n", "1:2 N 01\n1:5 W A\n1:6 P .\n"},
      {"text from column 1", "* c\n01 A.\n  05 B.\n",
       "2:1 N 01\n2:4 W A\n2:5 P .\n3:3 N 05\n3:6 W B\n3:7 P .\n"},
      {"indented text that crosses column 72",
       "        05 A                                                      PIC X(100).\n",
       "1:9 N 05\n1:12 W A\n1:67 W PIC\n1:71 W X\n1:72 P (\n1:73 N 100\n1:76 P )\n1:77 P .\n"},
      {"six letters in column 1 are no sequence number", "01 A.\nFILLER PIC X.\n",
       "1:1 N 01\n1:4 W A\n1:5 P .\n2:1 W FILLER\n2:8 W PIC\n2:12 W X\n2:13 P .\n"},
      {"a directive", ">>SOURCE FORMAT IS FREE\n      * c\n       05 A\n", "3:8 N 05\n3:11 W A\n"},
      {"form feed, tab and end of text mark", "\f01\tA.\n\x1A\x1A\n",
       "1:2 N 01\n1:5 W A\n1:6 P .\n"},
  };
  for (const FormatCase& test : cases)
    EXPECT_EQ(Tokens(test.text, Reading::kCopybook), test.tokens) << test.name;
}

TEST(Lexer, JoinsContinuationLines) {
  // A word goes on at the first character, a literal after a repeated quote; an open literal
  // reaches to column 72.
  EXPECT_EQ(
      Tokens("000100 05 CUST-\n000200-    NAME VALUE 'AB\n000300* between\n000400-    'CD'.\n",
             Reading::kCopybook),
      "1:8 N 05\n1:11 W CUST-NAME\n2:17 W VALUE\n2:23 S AB" + std::string(47, ' ') +
          "CD\n4:16 P .\n");
}

TEST(Lexer, ReadsAPushedBackTokenInAnotherWay) {
  const Files files{{"T", "IN = $DATA/in.bak 'a b' PIC 9(3).99, X(5). -9.\n"}};
  Diagnostics diagnostics;
  Lexer lexer(Opener(files), diagnostics);
  ASSERT_TRUE(lexer.InitLex("T", Reading::kFree));
  EXPECT_EQ(lexer.GetToken().text, "IN");
  EXPECT_EQ(lexer.GetToken().text, "=");
  EXPECT_EQ(lexer.GetToken().text, "$DATA");
  lexer.UngetToken();
  EXPECT_EQ(lexer.GetPath().text, "$DATA/in.bak");
  EXPECT_EQ(lexer.GetPath().text, "a b");
  EXPECT_EQ(lexer.GetToken().text, "PIC");
  EXPECT_EQ(lexer.GetPicture().text, "9(3).99");
  EXPECT_EQ(lexer.GetToken().text, ",");
  EXPECT_EQ(lexer.GetPicture().text, "X(5)");
  EXPECT_EQ(lexer.GetToken().text, ".");
  EXPECT_EQ(lexer.GetPicture().text, "-9");
  EXPECT_EQ(lexer.GetToken().text, ".");
  EXPECT_EQ(lexer.GetToken().kind, TokenKind::kEnd);
  EXPECT_EQ(lexer.GetToken().kind, TokenKind::kEnd);
}

}  // namespace
}  // namespace tolvane::copybook::test
