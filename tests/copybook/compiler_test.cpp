#include "copybook/compiler.h"

#include <gtest/gtest.h>

#include "support.h"

namespace tolvane::copybook::test {
namespace {

struct ErrorCase {
  std::string text;
  const char* messages;
};

TEST(Compiler, NamesPlaceWordAndExpectation) {
  const ErrorCase cases[] = {
      {"",
       "T:1:1: error: expected a level number (01 to 49, 66, 77, 78 or 88), found 'end of text'\n"},
      {"CUST PIC X.",
       "T:1:1: error: expected a level number (01 to 49, 66, 77, 78 or 88), found 'CUST'\n"},
      {"PROCEDURE DIVISION.",
       "T:1:1: error: expected a level number (01 to 49, 66, 77, 78 or 88), found 'PROCEDURE'\n"},
      {"01 A PIC X.\nREPLACE ==A== BY ==B==.",
       "T:2:1: error: expected a data description; a REPLACE statement cannot be carried out, "
       "found "
       "'REPLACE'\n"},
      {"01 A PIC X.\nO5 B PIC X.",
       "T:2:1: error: expected a level number (01 to 49, 66, 77, 78 or 88), found 'O5'\n"},
      {"01 A.\n50 B PIC X.\n05 C PIC X.",
       "T:2:1: error: expected a level number (01 to 49, 66, 77, 78 or 88), found '50'\n"},
      {"01 A.\n05 B PIC X\n05 C PIC X.", "T:3:1: error: expected a full stop, found '05'\n"},
      {"01 R.\n05 A PIC X. 88 B VALUE 1\n05 C PIC X.",
       "T:3:1: error: expected a full stop, found '05'\n"},
      {"01 A.\n05 B PIC X(3", "T:2:13: error: expected a full stop, found 'end of text'\n"},
      {"01 A PIC X(3.", "T:1:11: error: expected a repeat count in parentheses, found '(3'\n"},
      {"01 A.\n05 B PC X.\n05 C PIC Y.\n05 D PIC X.",
       "T:2:6: error: expected a clause or a full stop, found 'PC'\n"
       "T:3:10: error: expected a picture symbol, found 'Y'\n"},
      {"01 A PIC X PIC X.", "T:1:12: error: expected each clause once, found 'PIC'\n"},
      {"01 A.\n05 B.\n05 C PIC X.",
       "T:2:1: error: expected a picture or items of a higher level, found 'B'\n"},
      {"01 A PIC X.\n05 B PIC X.",
       "T:2:1: error: expected no item below one that has a PICTURE, found '05'\n"},
      {"01 A PIC.", "T:1:9: error: expected a picture, found '.'\n"},
      {"01 ABCDEFGHIJKLMNOPQRSTUVWXYZ-12345 PIC X.",
       "T:1:4: error: expected a name of at most 30 characters, found "
       "'ABCDEFGHIJKLMNOPQRSTUVWXYZ-12345'\n"},
      {"01 R. 05 A PIC X. 05 B PIC X. 05 C REDEFINES A PIC X.",
       "T:1:46: error: expected the name of the item before at this level, found 'A'\n"},
      {"01 R. 05 A REDEFINES B PIC X.",
       "T:1:22: error: expected the name of the item before at this level, found 'B'\n"},
      {"01 R. 05 A PIC X COMP-3. 05 B COMP-1 PIC 9. 05 C PIC 9(19) COMP. 05 D PIC S9(7) COMP-X.",
       "T:1:16: error: expected a numeric picture with this usage, found 'X'\n"
       "T:1:42: error: expected no picture with this usage, found '9'\n"
       "T:1:54: error: expected at most 18 digits in a binary item, found '9(19)'\n"
       "T:1:75: error: expected other than 7 or 12 digits in a signed COMP-X item, whose bytes "
       "have no room for the sign, found 'S9(7)'\n"},
      {"01 R. 05 A PIC A COMP-X.",
       "T:1:16: error: expected a picture of 9, or of up to 8 X, with COMP-X, found 'A'\n"},
      {"01 R COMP-3. 05 A PIC 9 COMP.", "T:1:25: error: expected the usage of the group\n"},
      {"01 R. 05 A PIC 9 SIGN LEADING.",
       "T:1:18: error: expected a signed picture of usage DISPLAY with SIGN, found '9'\n"},
      {"01 R OCCURS 3 PIC X.",
       "T:1:6: error: expected no OCCURS at level 01 or 77, found 'OCCURS'\n"},
      {"01 R. 05 A OCCURS 5 TO 2 PIC X.", "T:1:24: error: expected more occurrences, found '2'\n"},
      {"01 R. 05 A OCCURS 0 TO X PIC X. 05 B PIC X.",
       "T:1:24: error: expected a number of occurrences, found 'X'\n"},
      {"01 R. 05 A OCCURS X PIC X.",
       "T:1:19: error: expected a number of occurrences, found 'X'\n"},
      {"01 R. 05 A OCCURS 99999999999999999999 PIC X.",
       "T:1:19: error: expected at most 2147483647 occurrences, found '99999999999999999999'\n"},
      {"01 R. 05 A OCCURS 70000. 10 B OCCURS 70000 PIC X.",
       "T:1:7: error: expected an item or table of at most 2147483647 bytes, found 'A'\n"},
      {"01 R. 05 A PIC X(2000000000). 05 B PIC X(2000000000).",
       "T:1:1: error: expected an item or table of at most 2147483647 bytes, found 'R'\n"},
      {"05 A PIC X(2000000000). 05 B PIC X(2000000000).",
       "T:1:1: error: expected a record of at most 2147483647 bytes\n"},
      {"01 R. 02 A OCCURS 2. 03 A1 OCCURS 2. 04 A2 OCCURS 2. 05 A3 OCCURS 2. 06 A4 OCCURS 2.\n"
       "07 A5 OCCURS 2. 08 A6 OCCURS 2. 09 A7 OCCURS 2 PIC X.",
       "T:2:33: error: expected at most 7 OCCURS within another, found 'A7'\n"},
      {"88 A VALUE 1.", "T:1:1: error: expected a data item before level 88, found '88'\n"},
      {"01 R PIC X. 88 A VALUE.", "T:1:23: error: expected a literal, found '.'\n"},
      {"01 R. 05 A PIC X. 05 B PIC X. 66 C RENAMES D.",
       "T:1:44: error: expected the name of one item of the record, found 'D'\n"},
      {"01 R. 05 A PIC X. 05 B PIC X. 66 C RENAMES B THRU A.",
       "T:1:31: error: expected RENAMES of items in their order, found 'C'\n"},
      {"01 R PIC X VALUE 'A.\n",
       "T:1:18: error: expected a closing quote, found 'A.'\n"
       "T:1:21: error: expected a full stop, found 'end of text'\n"},
      {"01 R. 05 A PIC X. 66 B RENAMES A. 88 C VALUE 1.",
       "T:1:35: error: expected a data item before level 88, found '88'\n"},
      {"01 R.\n05 A PIC 99 VALUE 1\n05 B PIC X.\n",
       "T:3:1: error: expected a full stop, found '05'\n"},
      {"01 R.\n05 A PIC 99.\n88 B VALUES 1 2\n88 C VALUE 3.\n",
       "T:4:1: error: expected a full stop, found '88'\n"},
      {"77 A PIC X.\n05 B PIC X.", "T:2:1: error: expected level 01, found '05'\n"},
      {"01 R PIC X. EXEC SQL DECLARE.\n",
       "T:1:13: error: expected a level number (01 to 49, 66, 77, 78 or 88), found 'EXEC'\n"},
      {"EXEC SQL DECLARE\n",
       "T:1:1: error: expected END-EXEC after EXEC\n"
       "T:1:17: error: expected a level number (01 to 49, 66, 77, 78 or 88), "
       "found 'end of text'\n"},
      {std::string("\x7F\x45\x4C\x46\x01\0\0", 7),
       "T:1:1: error: expected a level number (01 to 49, 66, 77, 78 or 88), found '\\x7F'\n"},
  };
  for (const ErrorCase& test : cases) {
    const Compilation compilation(test.text);
    EXPECT_FALSE(compilation.ok) << test.text;
    EXPECT_EQ(compilation.messages, test.messages) << test.text;
  }
}

TEST(Compiler, WarnsOfWhatItCanRead) {
  const Compilation compilation("01 R. 05 A PIC 9 VALUE 'X'. 05 B PIC X VALUE 5. 10 C PIC X.",
                                Settings());
  EXPECT_FALSE(compilation.ok);
  const Compilation warned(
      "01 R. 10 A PIC 9 VALUE 'X'. 05 B PIC X VALUE 5.. 05 B PIC 9 VALUE ZERO.");
  EXPECT_TRUE(warned.ok);
  EXPECT_EQ(warned.messages,
            "T:1:29: warning: expected the level of the item before at this depth, found '05'\n"
            "T:1:48: warning: expected a level number, found '.'\n"
            "T:1:50: warning: expected a name that its group does not have yet, found 'B'\n"
            "T:1:24: warning: expected a number for this picture, found 'X'\n"
            "T:1:46: warning: expected a literal in quotes for this picture, found '5'\n");
}

TEST(Compiler, TakesEveryClauseThatDoesNotMatterToTheLayout) {
  const Compilation compilation(R"(
       DATA DIVISION.
       FILE SECTION.
       FD  CUST-FILE RECORD CONTAINS 80 CHARACTERS.
       EJECT
       01  R IS EXTERNAL GLOBAL.
      *    The item is called like a statement.
           05 TITLE        PIC X(5) JUSTIFIED RIGHT VALUE IS ALL 'AB'.
           05 DATE         PIC 9(6) DATE FORMAT IS YYXXXX.
       SKIP1
           05 A            PICTURE IS ZZ9 BLANK WHEN ZERO; VALUE SPACES.
           05 B            PIC X(40) VALUE 'one' &
                                        X'0A'.
       TITLE 'page two'
           05 :TAG:-C      PIC S9(4) COMP VALUE -5.
              88 LOW       VALUES ARE 1 THRU 5, 7 'A' THROUGH 'C'
                           WHEN SET TO FALSE IS 0.
           05              PIC X.
       EXEC SQL INCLUDE "open END-EXEC.
       78  LIMIT           VALUE 3.
           05 D OCCURS LIMIT TIMES PIC X.
)");
  EXPECT_EQ(compilation.messages, "");
  EXPECT_EQ(compilation.Layout(), R"(RECORD R length 60
    0    60 G 01 R
    0     5 C   05 TITLE  value ALL 'AB'
    5     6 D   05 DATE  digits 6
   11     3 C   05 A  digits 3  value ALL ' '
   14    40 C   05 B  value 'one\x0A'
   54     2 B   05 :TAG:-C  digits 4  signed  value -5  LOW = 1-5 7 'A'-'C'
   56     1 C   05 FILLER
   57     1 C   05 D  occurs 3
)");
}

// Numbers that could be levels, at the beginning of a line.
TEST(Compiler, TellsValuesFromLevels) {
  const Compilation compilation(R"(
       01  R PIC 99.
           88 A VALUES 01 02 03
                       04 05 06.
           88 B VALUES 01 THRU 05
                       10 THRU
                       15.
           88 C VALUES ARE 01, 02,
                       03, 04.
           88 D VALUE  01
                       02 FALSE
                       03.
           88 E VALUE  01
                       77 ZERO
                       88
                       .
)");
  EXPECT_EQ(compilation.messages, "");
  EXPECT_EQ(compilation.Layout(),
            "RECORD R length 2\n    0     2 D 01 R  digits 2  A = 01 02 03 04 05 06  "
            "B = 01-05 10-15  C = 01 02 03 04  D = 01 02  E = 01 77 0 88\n");
}

TEST(Compiler, CarriesOutCopyWithReplacing) {
  const Files files{
      {"CUST", "05 :TAG:-NAME PIC X(:LEN:). 05 OLD-NO PIC 9(4). 05 QQ PIC X. COPY INNER.\n"},
      {"INNER", "05 IN-NO PIC X. 05 NO-IN PIC X.\n"},
      {"LIB/CUST", "05 FROM-LIB PIC X(7).\n"},
      {"LOOP", "05 A PIC X.\nCOPY LOOP.\n"},
      {"TAIL", "05 A PIC X.\nCOPY 'TAIL'"}};
  const auto layout = [&](const std::string& text) {
    const Compilation compilation(text, Settings(), files);
    return compilation.messages + compilation.Layout();
  };
  EXPECT_EQ(layout("01 R.\nCOPY CUST REPLACING ==:TAG:== BY ==CUST== ==:LEN:== BY ==12==\n"
                   "  LEADING ==OLD== BY ==NEW== qq BY Y  ==PIC 9(4)== BY ==PIC 9(8) COMP==.\n"
                   "05 Z PIC X.\n"),
            "RECORD R length 20\n    0    20 G 01 R\n    0    12 C   05 CUST-NAME\n"
            "   12     4 B   05 NEW-NO  digits 8\n   16     1 C   05 Y\n   17     1 C   05 IN-NO\n"
            "   18     1 C   05 NO-IN\n   19     1 C   05 Z\n");
  EXPECT_EQ(layout("01 R. COPY 'INNER' REPLACING TRAILING ==-IN== BY ====.\n"),
            "RECORD R length 2\n    0     2 G 01 R\n    0     1 C   05 IN-NO\n"
            "    1     1 C   05 NO\n");
  EXPECT_EQ(layout("01 R. COPY CUST OF LIB SUPPRESS."),
            "RECORD R length 7\n    0     7 G 01 R\n    0     7 C   05 FROM-LIB\n");
  EXPECT_EQ(layout("01 R. 05 B PIC X. COPY NOPE.\n05 C PIC X."),
            "T:1:24: error: expected a text that can be opened after COPY, found 'NOPE'\n"
            "RECORD R length 2\n    0     2 G 01 R\n    0     1 C   05 B\n    1     1 C   05 C\n");
  EXPECT_EQ(layout("01 R. COPY LOOP."),
            "LOOP:2:6: error: expected no COPY of a text within itself, found 'LOOP'\n"
            "RECORD R length 1\n    0     1 G 01 R\n    0     1 C   05 A\n");
  EXPECT_EQ(layout("01 R. COPY TAIL."),
            "TAIL:2:6: error: expected no COPY of a text within itself, found 'TAIL'\n"
            "RECORD R length 1\n    0     1 G 01 R\n    0     1 C   05 A\n");
  EXPECT_EQ(layout("01 R PIC X.\nCOPY CUST REPLACING ==A BY ==B==."),
            "T:2:30: error: expected BY, found 'B'\nRECORD R length 1\n    0     1 C 01 R\n");
}

TEST(Compiler, BoundsWhatCopyBringsIn) {
  const auto name = [](char letter, int i) { return std::to_string(i).insert(0, 1, letter); };
  const auto copy = [&](char letter, int i) { return "COPY " + name(letter, i) + ".\n"; };
  Files files{{"F0", std::string(1000000, ' ')}};
  for (int i = 1; i < 12; ++i)
    for (int k = 0; k < 10; ++k) files[name('F', i)] += copy('F', i - 1);
  const Compilation wide("01 R PIC X.\nCOPY F11.\n", Settings(), files);
  EXPECT_NE(wide.messages.find("expected at most 64 MiB of text from COPY"), std::string::npos);
  Files deep;
  for (int i = 0; i < 100; ++i) deep[name('D', i)] = copy('D', i + 1);
  const Compilation nested("01 R PIC X.\nCOPY D0.\n", Settings(), deep);
  EXPECT_EQ(nested.messages,
            "D15:1:6: error: expected at most 16 COPY statements within another, found 'D16'\n");
}

TEST(Compiler, KnowsWhereClausesStand) {
  const Compilation compilation(
      "       01 R.\n      *\n       05 A PIC\n          S9(3) USAGE IS COMP-3 VALUE 1\n"
      "          .\n       05 B PIC S9 SIGN LEADING SEPARATE CHARACTER BINARY.\n");
  const auto text = [](const Span& span) {
    return std::to_string(span.begin.line) + ":" + std::to_string(span.begin.column) + "-" +
           std::to_string(span.end.line) + ":" + std::to_string(span.end.column);
  };
  const FieldSource& a = compilation.Get("A").source;
  EXPECT_EQ(text(a.entry), "3:8-5:12");
  EXPECT_EQ(text(a.picture_clause), "3:13-4:16");
  EXPECT_EQ(text(a.picture), "4:11-4:16");
  EXPECT_EQ(text(a.usage), "4:17-4:32");
  EXPECT_EQ(a.sign.begin.line, 0U);
  const FieldSource& b = compilation.Get("B").source;
  EXPECT_EQ(text(b.sign), "6:20-6:51");
  EXPECT_EQ(text(b.usage), "6:52-6:58");
}

// Cut at every byte, a description gives an error or a shorter description, and always ends.
TEST(Compiler, EndsOnStatementsCutOffAnywhere) {
  const std::string text =
      "01 R. 05 A PIC S9(3) SIGN LEADING SEPARATE VALUE +1. 88 B VALUE 1 THRU 2 FALSE 0.\n"
      "05 C OCCURS 1 TO 3 DEPENDING ON A ASCENDING KEY D INDEXED BY E. 10 D PIC X(2).\n"
      "66 F RENAMES A THRU D. 78 G VALUE 5. COPY H OF I REPLACING ==J== BY ==K==.\n";
  for (std::size_t length = 0; length < text.size(); ++length) {
    const Compilation compilation(text.substr(0, length));
    EXPECT_EQ(compilation.ok, compilation.messages.find("error") == std::string::npos) << length;
    const std::size_t last = length == 0 ? 0 : text.find_last_not_of(" \n", length - 1);
    EXPECT_TRUE(!compilation.ok || text[last] == '.') << length;
  }
}

TEST(Compiler, StandsAMillionOfAnything) {
  std::string nested = "01 R.\n";
  for (int i = 0; i < 1000000; ++i) nested += std::to_string(i % 98 + 2) + " A.\n";
  EXPECT_FALSE(Compilation(nested).ok);
  std::string items = "01 R.\n";
  for (int i = 0; i < 1000000; ++i) items += "05 PIC X.\n";
  const Compilation wide(items);
  EXPECT_TRUE(wide.ok);
  EXPECT_EQ(wide.table.records()[0].length, 1000000);
  std::string garbage;
  for (unsigned i = 0; i < 1000000; ++i) garbage += static_cast<char>((i * 7919) >> 3);
  EXPECT_FALSE(Compilation(garbage).ok);
}

}  // namespace
}  // namespace tolvane::copybook::test
