// Aging, DATE IS expansion, explosion and analysis, from the grammar file to the output's bytes.

#include <gtest/gtest.h>

#include "support/program.h"
#include "support/temp_dir.h"

namespace tolvane::test {
namespace {

class Dates : public ::testing::Test {
 protected:
  // Runs a job of these statements on 'in' with the copybook; OUTPUT is 'out', sequential.
  ProgramResult Run(const std::string& statements, const std::string& copybook,
                    const std::string& type = "ZORVA FILE IS SEQUENTIAL") {
    dir_.WriteFile("book.cpy", copybook);
    dir_.WriteFile("job.gra",
                   "INPUT FILE IS in\nOUTPUT FILE IS out\nCOMPILER IS MF\n"
                   "AUTOMATIC ANSWER\n" +
                       type + "\n" + statements + "\nCOPYBOOK IS COPY book.cpy\n");
    return RunTolvane(dir_.Path(), {"-G", "job.gra", "-Q"});
  }
  std::string Out() { return ToHex(dir_.ReadFile("out")); }
  TempDir dir_;
};

constexpr const char* kRestore = "RESTORE CREATE\n";

TEST_F(Dates, AgingMovesTheNamedFieldsAndLeavesTheRest) {
  const std::string book =
      "01 R.\n 05 A PIC 9(6).\n 05 B PIC 9(5) COMP-3.\n 05 C PIC 9(6).\n 05 D PIC 9(4) COMP.\n";
  dir_.WriteFile("in", "991231" + FromHex("99365C") + "000000" + FromHex("0001") +  //
                           "9999ZZ" + FromHex("12345C") + "990101" + FromHex("0002"));
  const std::string day = " FROM 01/31/2000 TO 02/01/2000\n";
  const ProgramResult result =
      Run(kRestore + ("AGE a FORMAT YYMMDD" + day) + "AGE B FORMAT YYJJJ" + day +
              "AGE C FORMAT YYMMDD" + day + "AGE D FORMAT YYMMDD" + day,
          book);
  EXPECT_EQ(Out(), Hex("303030313031 00001C 303030303030 0001"
                       "393939395A5A 12346C 393930313032 0002"));
  EXPECT_TRUE(Has(result.err, "Aging field failed : A\n")) << result.err;
  EXPECT_TRUE(Has(result.out, "The field[s] above not aged.\nAging record failed : 2\n\n"));
  EXPECT_TRUE(Has(result.out, "TOTAL records aged to output file      : 2\n"));
}

TEST_F(Dates, ExpansionWidensFieldsGroupsAndKeys) {
  const std::string book =
      "01 R.\n 05 K PIC X(2).\n 05 T OCCURS 2.\n  10 D PIC 9(6).\n 05 P PIC S9(5) COMP-3.\n"
      " 05 Q PIC 9(3) COMP-3.\n 05 B PIC 9(4) COMP.\n 05 Z PIC X.\n";
  dir_.WriteFile("in",
                 "k1"
                 "490101"
                 "500101" +
                     FromHex("99365D 098C 0063") + "z" +  //
                     "k0"
                     "      "
                     "12AB34" +
                     FromHex("AAAAAA 000C 0007") + "y");
  const ProgramResult result =
      Run(std::string(kRestore) +
              "KEY1 IS 0, 8\n"
              "DATE IS D FORMAT IS YYMMDD IF YY < 50 THEN CC = 20 ELSE CC = 19\n"
              "DATE P FORMAT YYDDD IF YY > 97 THEN CC 19 ELSE CC 20\nDATE Q FORMAT YY IF YY = '98' "
              "THEN CC "
              "= '19' ELSE CC = 20\nDATE B FORMAT YY IF ALL 9 THEN CC = 9 ELSE CC = 19",
          book, "ZORVA FILE IS INDEXED");
  const std::string data = dir_.ReadFile("out.dat");
  EXPECT_EQ(ToHex(data.substr(0, 29)),
            Hex("6B31 3230343930313031 3139353030313031 1999365D 01998C 270F 7A 0A"))
      << result.out << result.err;
  EXPECT_EQ(ToHex(data.substr(29)),
            Hex("6B30 3139202020202020 3230313241423334 00AAAAAA 02000C 0773 79 0A"));
  EXPECT_TRUE(Has(result.err, "the date P at offset 14 is no number")) << result.err;
  EXPECT_TRUE(Has(RunTolvane(dir_.Path(), {"-x", "-foout"}).out, "KEY1:0000,0010"));
}

TEST_F(Dates, StatementsAboutUnknownFieldsRejectTheFile) {
  dir_.WriteFile("in", "x");
  const std::string book =
      "01 R.\n 05 A.\n  10 N PIC 9(6).\n 05 B.\n  10 N PIC 9(6).\n  10 M PIC 99.\n"
      " 05 S PIC 9(4).\n";
  const struct {
    const char* statement;
    const char* error;
  } cases[] = {
      {"DATE IS NOPE FORMAT YYMMDD", "Syntax error. NOPE is undefined.\n"},
      {"DATE IS N FORMAT YYMMDD", "Syntax error. N is ambiguous.\n"},
      {"DATE IS S FORMAT MMYY", "Unknown format MMYY specified.\n"},
      {"DATE IS S FORMAT YYMMDD", "S holds 4 characters or digits, YYMMDD needs 6.\n"},
      {"DATE IS S FORMAT YYMM\nDATE IS S FORMAT YY", "DATE IS S: a statement before names its"},
      {"DATE IS M FORMAT YY\nDATE IS B FORMAT YYMMDD", "DATE IS B: a statement before names its"},
      {"DATE IS S FORMAT YYMM IF YY = '' THEN CC = 19 ELSE CC = 20", "Invalid YY value.\n"},
      {"DATE IS S FORMAT YYMM IF YY < 5 THEN CC = 19 ELSE CC = ''", "Invalid CC value.\n"},
      {"FIELD NOPE", "Syntax error. NOPE is undefined.\n"},
  };
  for (const auto& c : cases) {
    const ProgramResult result = Run(std::string(kRestore) + c.statement, book);
    EXPECT_TRUE(Has(result.err, c.error)) << result.err;
    EXPECT_EQ(result.status, 255);
    EXPECT_FALSE(dir_.Exists("out"));
  }
}

TEST_F(Dates, ExplosionAndItsCopybookAgree) {
  const std::string book =
      "       01 R.\n          05 A PIC S9(5) COMP-3.\n          05 B PIC 9(4) USAGE COMP-3. "
      "*> keep\n          05 C PIC S9(3).\n          05 Z PIC X.\n";
  dir_.WriteFile("in", FromHex("12345D 01234C F1F2D3 E9 00001C 09999C F0F0C7 E8"));
  Run(std::string(kRestore) + "TRANSLATE TO ASCII\nEXPLODE SIGN LEADING", book);
  EXPECT_EQ(dir_.ReadFile("out"),
            "-123451234-123Z"
            "+000019999+007Y");
  const std::string exploded = dir_.ReadFile("book.cpy.EXP");
  EXPECT_EQ(exploded,
            "       01 R.\n          05 A PIC S9(5) DISPLAY\n           SIGN LEADING SEPARATE.\n"
            "          05 B PIC 9(4) DISPLAY     . *> keep\n"
            "          05 C PIC S9(3)\n           SIGN LEADING SEPARATE.\n          05 Z PIC X.\n");
  // Restored through that copybook, the file stays as it is.
  const std::string out = dir_.ReadFile("out");
  dir_.WriteFile("in", out);
  Run(kRestore, exploded);
  EXPECT_EQ(dir_.ReadFile("out"), out);

  dir_.WriteFile("in", FromHex("12345D 01234C F1F2D3 E9"));
  Run(std::string(kRestore) + "TRANSLATE TO ASCII\nEXPLODE SIGN TRAILING", book);
  EXPECT_EQ(dir_.ReadFile("out"), "12345-1234123-Z");
}

TEST_F(Dates, AnalysisNamesTheDateFields) {
  const std::string book =
      "01 R.\n 05 H PIC 9(6).\n 05 J PIC 9(5) COMP-3.\n 05 N PIC 9(4).\n 05 G.\n  10 T PIC X(2).\n";
  std::string in;
  for (int i = 0; i < 4; ++i)
    in += FromHex("F8F5F1F2F0F5") + FromHex("99112C") +
          (i == 0 ? FromHex("40404040") : FromHex("F9F9F5F0")) + FromHex("C1C2");
  dir_.WriteFile("in", in);
  const ProgramResult result = Run("ANALYZE\nTRANSLATE TO ASCII\nRECORD SIZE IS 15\n", book);
  EXPECT_TRUE(Has(result.out, "TOTAL records analysed                 : 4\n")) << result.out;
  const std::string report = dir_.ReadFile("in.Y2KRPT");
  EXPECT_TRUE(
      Has(report,
          "                             H 000000 000006 0000851205 0000851205      YYMMDD 100\n"));
  EXPECT_TRUE(
      Has(report,
          "                             J 000006 000003 0000099112 0000099112       YYDDD 100\n"));
  EXPECT_TRUE(
      Has(report,
          "                             N 000009 000004        N/A        N/A       BLANK  25\n"));
  EXPECT_TRUE(
      Has(report,
          "                             N 000009 000004        N/A        N/A         9's  75\n"));
  EXPECT_TRUE(Has(report, "T 000013 000002        N/A        N/A     UNKNOWN 100  GROUP ITEM\n"))
      << report;
  Run("ANALYZE DATES ONLY\nTRANSLATE TO ASCII\nRECORD SIZE IS 15\nFIELD N\nFIELD H\n", book);
  const std::string dates_only = dir_.ReadFile("in.Y2KRPT");
  (void)RunTolvane(dir_.Path(), {"-d", "-q", "-foout"});
  EXPECT_TRUE(Has(dates_only, "YYMMDD 100\n"));
  EXPECT_FALSE(Has(dates_only, " J "));
  EXPECT_FALSE(Has(dates_only, " N "));
}

// Records of several layouts: fields behind a redefinition stand at one place in all of them.
TEST_F(Dates, LayoutsGrowToTheLargestOfThem) {
  const std::string book =
      "       01 R.\n          05 K PIC X.\n          05 G1 PIC X(6).\n"
      "          05 G2 REDEFINES G1.\n             10 N PIC S9(5) COMP-3 OCCURS 2.\n"
      "          05 G3 REDEFINES G1.\n             10 D PIC X(6).\n          05 T PIC X(3).\n"
      "       ID IS K = '1' USE G2.\n       ID IS K = '3' USE G3.\n";
  const std::string records = "1" + FromHex("12345C 54321D") + "end" + "2abcdefEND" + "3991231End";
  const struct {
    const char* statements;
    const char* out;
  } cases[] = {
      {"EXPLODE SIGN LEADING", "1+12345-54321end2abcdef      END3991231      End"},
      {"DATE IS D FORMAT YYMMDD", nullptr},
      {"EXPLODE\nDATE IS D FORMAT YYMMDD", "1+12345-54321end2abcdef      END319991231    End"},
  };
  for (const auto& c : cases) {
    dir_.WriteFile("in", records);
    const ProgramResult result = Run(kRestore + std::string(c.statements), book);
    if (c.out != nullptr) {
      EXPECT_EQ(dir_.ReadFile("out"), c.out) << result.out << result.err;
    } else {
      EXPECT_EQ(dir_.ReadFile("out"),
                "1" + FromHex("12345C 54321D") + "  end" + "2abcdef  END" + "319991231End");
    }
  }
  (void)RunTolvane(dir_.Path(), {"-d", "-q", "-foout"});
  EXPECT_TRUE(
      Has(Run(kRestore + std::string("KEY1 IS T\nEXPLODE"), book, "ZORVA FILE IS INDEXED").out,
          "expanded record size: 16"));
  EXPECT_TRUE(Has(RunTolvane(dir_.Path(), {"-x", "-foout"}).out, "KEY1:0013,0003"));
  const ProgramResult unused = Run(kRestore + std::string("DATE IS D FORMAT YYMMDD"),
                                   book.substr(0, book.find("       ID IS K = '3'")));
  EXPECT_TRUE(Has(unused.err, "DATE IS D: no ID IS statement uses the description")) << unused.err;
}

// An exploded date is widened as the digits that it has become.
TEST_F(Dates, ExplodedDatesAreWidened) {
  const struct {
    const char* picture;
    const char* statements;
    const char* in;
    const char* out;
  } cases[] = {
      {"9(6) COMP-3", "EXPLODE", "0991231F", "19991231z"},
      {"S9(6) COMP-3", "EXPLODE", "0991231D", "-19991231z"},
      {"S9(6) COMP-3", "EXPLODE SIGN TRAILING", "0991231C", "19991231+z"},
      {"S9(6)", "EXPLODE", "393931323371", "-19991231z"},
      {"S9(6)", "", "393931323371", "1999123qz"},
      {"S9(7) COMP-3", "EXPLODE", "0991231C", "+019991231z"},
      {"X(8)", "EXPLODE", "3939313233312020", "19991231  z"},
      {"S9(6) SIGN LEADING SEPARATE", "", "2D393931323331", "-19991231z"},
  };
  for (const auto& c : cases) {
    dir_.WriteFile("in", FromHex(c.in) + "z");
    const ProgramResult result =
        Run(std::string(kRestore) + c.statements + "\nDATE IS D FORMAT YYMMDD\n",
            std::string("       01 R.\n           05 D PIC ") + c.picture +
                ".\n           05 Z PIC X.\n");
    const std::string out = dir_.ReadFile("out");
    EXPECT_EQ(out, c.out) << c.picture << result.out << result.err;
    if (std::string(c.statements).empty()) continue;
    // The copybook of the new records describes them to the byte.
    dir_.WriteFile("in", out);
    const ProgramResult again = Run(kRestore, dir_.ReadFile("book.cpy.EXP"));
    EXPECT_TRUE(Has(again.out, "record size: " + std::to_string(out.size()) + " ===="))
        << again.out;
    EXPECT_EQ(dir_.ReadFile("out"), out) << dir_.ReadFile("book.cpy");
  }
}

TEST_F(Dates, CenturiesFollowTheWindows) {
  const struct {
    const char* picture;
    const char* format;
    const char* windows;
    const char* in;
    const char* out;
  } cases[] = {
      {"X(5)", "YMMDD", "IF YY < 8 THEN CC = 20 ELSE CC = 19", "3531323331", "3230303531323331"},
      {"X(5)", "YMMDD", "IF YY < 8 THEN CC = 20 ELSE CC = 19", "3831323331", "3139393831323331"},
      {"X(2)", "YY", "IF YY = '8' THEN CC = 20 ELSE CC = 19", "3038", "32303038"},
      {"S9(6)", "MMDDYY", "IF YY < 50 THEN CC = 20 ELSE CC = 19", "313233313071",
       "3132333132303071"},
      {"9(6) COMP-3", "YYMMDD", "IF ALL 0 THEN CC = HIGH-VALUES ELSE CC = 19", "0000000F",
       "FFFFFFFFFF"},
      {"9(6) COMP-3", "YYMMDD", "IF ALL 9 THEN CC = 9 ELSE CC = 19", "0999999F", "099999999F"},
      {"9(6) COMP-3", "MMDDYY", "IF YY < 50 THEN CC = 20 ELSE CC = 19", "AAAAAAAA", "00AAAAAAAA"},
      {"9(6) COMP-3", "MMDDYY", "IF SPACES THEN CC = SPACES ELSE CC = 19", "20202020",
       "2020202020"},
      {"9(6) COMP", "YYMMDD", "IF ALL 0 THEN CC = SPACE ELSE CC = 19", "00000000",
       "2020202020202020"},
      {"S9(6)", "YYMMDD", "IF SPACES THEN CC = SPACES ELSE CC = 20", "202020202020",
       "2020202020202020"},
      {"S9(6)", "YYMMDD", "IF LOW-VALUES THEN CC = LOW-VALUES ELSE CC = 20", "000000000000",
       "0000000000000000"},
  };
  for (const auto& c : cases) {
    dir_.WriteFile("in", FromHex(c.in));
    const ProgramResult result =
        Run(std::string(kRestore) + "DATE IS D FORMAT " + c.format + " " + c.windows + "\n",
            std::string("       01 R.\n           05 D PIC ") + c.picture + ".\n");
    EXPECT_EQ(Out(), Hex(c.out)) << c.picture << c.windows << result.out << result.err;
  }
  const ProgramResult letters =
      Run(std::string(kRestore) + "DATE IS D FORMAT YY IF YY < 50 THEN CC = 'AB' ELSE CC = 19\n",
          "       01 R.\n           05 D PIC 9(2) COMP-3.\n");
  EXPECT_TRUE(Has(letters.err, "the century of a packed or binary field must be a number.\n"));
}

TEST_F(Dates, GrownRecordsKeepTheirLengthsAndKeys) {
  const std::string book =
      "       01 R.\n           05 K PIC X(2).\n           05 A PIC 9(6).\n           05 Z PIC "
      "XX.\n";
  const std::string date = "DATE IS A FORMAT MMDDYY\n";
  // Prefixes of variable records tell what follows them.
  dir_.WriteFile("in", FromHex("0022 0000 000E 0000") + "ab123199zz" + FromHex("0010 0000") +
                           "cd1231" + "00zz##");
  Run(kRestore + date + "RECORD SIZE IS V\n", book);
  EXPECT_EQ(dir_.ReadFile("out").substr(128),
            FromHex("400C") + "ab12311999zz  " + FromHex("400C") + "cd12311900zz  ");
  (void)RunTolvane(dir_.Path(), {"-d", "-q", "-foout"});
  // Aged and widened in one run, no byte is lost; the key over the year grows, that over the day
  // stays.
  dir_.WriteFile("in", "ab123199zz");
  Run(kRestore + date +
          "AGE A FORMAT MMDDYY FROM 01/01/2000 TO 01/02/2000\nKEY1 IS 6,2\nKEY2 IS 4,2\n",
      book, "ZORVA FILE IS INDEXED");
  EXPECT_EQ(dir_.ReadFile("out.dat").substr(0, 12), "ab01011900zz");
  const std::string shown = RunTolvane(dir_.Path(), {"-x", "-foout"}).out;
  EXPECT_TRUE(Has(shown, "KEY1:0006,0004")) << shown;
  EXPECT_TRUE(Has(shown, "KEY2:0004,0002")) << shown;
  (void)RunTolvane(dir_.Path(), {"-d", "-i", "-foout"});
  // A copybook named behind the grammar file takes the DATE IS statements over.
  dir_.WriteFile("in", "ab123199zz");
  Run(kRestore + date, book);
  dir_.WriteFile("other.cpy", book);
  (void)RunTolvane(dir_.Path(), {"-G", "job.gra", "-Q", "-Cother.cpy"});
  EXPECT_EQ(dir_.ReadFile("out"), "ab12311999zz");
}

// Each clause that changes is found in its line, and everything else stays where it was.
TEST_F(Dates, TheExplodedCopybookKeepsItsLines) {
  const std::string book =
      "000100 01 R.                                                            SEQ00001\n"
      "000200     05 A PIC S9(3) COMP-3. 05 B PIC S9(3). 05 C PIC 9 COMP-3.    SEQ00002\n"
      "000300     05 G USAGE                                                   SEQ00003\n"
      "000400*    a comment                                                    SEQ00004\n"
      "000500        IS COMP-3.                                                SEQ00005\n"
      "000600        10 D PIC 9(3).                                            SEQ00006\n"
      "000700        10 FILLER PIC 9(3).                                       SEQ00007\n"
      "000800     05 H PIC X(2).                                               SEQ00008\n"
      "000900     05 J REDEFINES H PIC S9(3) COMP-3.                           SEQ00009\n";
  dir_.WriteFile("in", FromHex("123C 343574 1F 456F 789F") + "hh");
  Run(std::string(kRestore) + "EXPLODE", book);
  const std::string out = dir_.ReadFile("out");
  EXPECT_EQ(out, "+123-4541456" + FromHex("789F") + "hh");
  const std::string exploded = dir_.ReadFile("book.cpy.EXP");
  EXPECT_EQ(exploded,
            "000100 01 R.                                                            SEQ00001\n"
            "000200     05 A PIC S9(3) DISPLAY                                       SEQ00002\n"
            "           SIGN LEADING SEPARATE.\n"
            "           05 B PIC S9(3)\n"
            "           SIGN LEADING SEPARATE.\n"
            "           05 C PIC 9 DISPLAY.\n"
            "000300     05 G                                                         SEQ00003\n"
            "000400*    a comment                                                    SEQ00004\n"
            "000500                 .                                                SEQ00005\n"
            "000600        10 D PIC 9(3).                                            SEQ00006\n"
            "000700        10 FILLER PIC 9(3)                                        SEQ00007\n"
            "           COMP-3.\n"
            "000800     05 H PIC X(2).                                               SEQ00008\n"
            "000900     05 J REDEFINES H PIC S9(3) COMP-3.                           SEQ00009\n");
  dir_.WriteFile("in", out);
  Run(kRestore, exploded);
  EXPECT_EQ(dir_.ReadFile("out"), out);
}

TEST_F(Dates, FieldsThatStayPackedKeepTheUsageOfTheirGroup) {
  dir_.WriteFile("in", FromHex("0123 4567"));
  Run(std::string(kRestore) + "EXPLODE",
      "       01 R USAGE\n           IS COMP-6.\n           05 A PIC 9(4).\n"
      "           05 FILLER PIC 9(4).\n");
  EXPECT_EQ(dir_.ReadFile("book.cpy.EXP"),
            "       01 R\n                    .\n           05 A PIC 9(4).\n"
            "           05 FILLER PIC 9(4)\n           COMP-6.\n");
}

// Restores the records once more through the copybook that describes them.
TEST_F(Dates, TheExplodedCopybookSaysWhatNoClauseDoes) {
  const struct {
    const char* statements;
    std::string copybook;
    std::string in;
    std::string out;
    const char* says;
  } cases[] = {
      // free format is as wide as its lines
      {"EXPLODE", "01 R.\n05 A PIC S9(5)" + std::string(70, ' ') + "COMP-3.\n05 Z PIC X.\n",
       FromHex("12345D") + "z", "-12345z", "    DISPLAY\n           SIGN LEADING SEPARATE.\n05 Z"},
      {"EXPLODE",
       "       01 R.\r\n           05 A PIC S9\r\n             COMP-3\r\n             .\r\n",
       FromHex("5D"), "-5", "DISPLAY\r\n             SIGN LEADING SEPARATE.\r\n"},
      // slack bytes stay where they were
      {"EXPLODE",
       "       01 R SYNC.\n           05 A PIC 9(2) COMP-3.\n           05 B PIC 9(4) COMP.\n"
       "           05 C PIC X. 05 D PIC 9(9) COMP SYNC RIGHT.\n",
       FromHex("012F 0007") + "c" + FromHex("000000 00000009"),
       "12" + FromHex("0007") + "c" + FromHex("000000 00000009"), " 05 FILLER PIC X(3).\n"},
      // a redefinition that grows, although it is shorter
      {"EXPLODE",
       "       01 R.\n           05 K PIC X.\n           05 A PIC X(6).\n           05 B REDEFINES "
       "A "
       "PIC S9(5) COMP-3.\n           05 Z PIC X.\n       ID IS K = 'B' USE B.\n",
       "B" + FromHex("12345D") + "abcz", "B-12345abcz",
       "           05 FILLER REDEFINES A PIC X(9).\n           05 B "},
      {"EXPLODE",
       "       01 R.\n           05 T OCCURS 2.\n             10 B PIC 9(4) COMP SYNC.\n"
       "             10 C PIC X.\n             88 D VALUE 'd'.\n           05 Z PIC 9 COMP-3.\n",
       FromHex("0001") + "c*" + FromHex("0002") + "d*" + FromHex("7F"),
       FromHex("0001") + "c*" + FromHex("0002") + "d*7",
       "VALUE 'd'.\n           10 FILLER PIC X(1).\n           05 Z"},
      {"EXPLODE",
       "       01 R.\n           05 T OCCURS 2.\n             10 B PIC 9(4) COMP SYNC.\n"
       "             10 C PIC S9. *> the last\n",
       FromHex("0001") + "q*" + FromHex("0002") + "2*",
       FromHex("0001") + "-1*" + FromHex("0002") + "+2*",
       "SIGN LEADING SEPARATE.\n           10 FILLER PIC X(1).\n           *> the last\n"},
      {"EXPLODE\nDATE IS D FORMAT YY", "       01 R.\n           05 D PIC 9(2) COMP.\n",
       FromHex("0063"), FromHex("07CF"), "PIC 9(4) COMP."},
      {"EXPLODE\nDATE IS G FORMAT MMDDYY",
       "       01 R.\n           05 G.\n             10 M PIC XX.\n             10 D PIC XX.\n"
       "             10 Y PIC 99.\n",
       "123199", "12311999", "10 Y PIC 9(4)."},
  };
  for (const auto& c : cases) {
    dir_.WriteFile("in", c.in);
    const ProgramResult result = Run(std::string(kRestore) + c.statements, c.copybook);
    EXPECT_EQ(dir_.ReadFile("out"), c.out) << result.out << result.err;
    const std::string exploded = dir_.ReadFile("book.cpy.EXP");
    EXPECT_TRUE(Has(exploded, c.says)) << exploded;
    dir_.WriteFile("in", c.out);
    const ProgramResult again = Run(kRestore, exploded);
    EXPECT_TRUE(Has(again.out, "record size: " + std::to_string(c.out.size()) + " ="))
        << again.out << again.err << exploded;
    EXPECT_EQ(dir_.ReadFile("out"), c.out);
  }
}

// One text for two groups that change in different ways describes neither.
TEST_F(Dates, ACopybookThatCanNotDescribeTheRecordsIsRefused) {
  const std::string book =
      "       01 R.\n           05 G1.\n           COPY mem.cpy REPLACING ==:T:== BY ==A==\n"
      "             ==:U:== BY ==COMP-3==.\n           05 G2.\n"
      "           COPY mem.cpy REPLACING ==:T:== BY ==B==\n             ==:U:== BY ==COMP==.\n";
  const struct {
    const char* member;
    const char* error;
  } cases[] = {
      {"             10 :T:-D PIC 9(6).\n",
       "'book.cpy.EXP' would not describe the new records, in which 'B-D' has 6 bytes at offset 8"},
      {"             10 :T:-D PIC 9(6).\n             10 :T:-P PIC S9(5) :U:.\n",
       "would have to change in two ways for 'mem.cpy.EXP'"},
  };
  for (const auto& c : cases) {
    dir_.WriteFile("in", "991231881231");
    dir_.WriteFile("mem.cpy", c.member);
    const ProgramResult result =
        Run(std::string(kRestore) + "EXPLODE\nDATE IS A-D FORMAT YYMMDD", book);
    EXPECT_TRUE(Has(result.err, c.error)) << result.err;
    EXPECT_FALSE(dir_.Exists("out"));
    EXPECT_FALSE(dir_.Exists("book.cpy.EXP"));
  }
}

TEST_F(Dates, BitsThatShareAByteMoveNothing) {
  const struct {
    const char* fields;
    const char* in;
  } cases[] = {
      {"05 A PIC 1(3) BIT. 05 B PIC 1(5) BIT.", "A5"},
      {"05 A PIC 1 BIT. 05 B PIC 1 BIT. 05 C PIC 1(6) BIT.", "A5"},
      {"05 A PIC 1(3) BIT. 05 B PIC 1(6) BIT. 05 C PIC 1(7) BIT.", "A55A"},
      {"05 A PIC 1(2) BIT OCCURS 10.", "A55AC0"},
  };
  for (const auto& c : cases) {
    const std::string book = std::string("       01 R.\n           ") + c.fields +
                             "\n           05 P PIC S9(3) COMP-3.\n           05 D PIC X(6).\n";
    dir_.WriteFile("in", FromHex(c.in) + FromHex("123C") + "991231");
    Run(kRestore + std::string("EXPLODE\nDATE IS D FORMAT YYMMDD"), book);
    EXPECT_EQ(Out(), Hex(c.in + ToHex("+12319991231"))) << c.fields;
  }
  // As characters they are text of the new records; unused bits too.
  dir_.WriteFile("in", FromHex("A5 60 123C") + "991231");
  (void)Run(kRestore + std::string("TRANSLATE TO ASCII\nEXPLODE"),
            "       01 R.\n           05 A PIC 1(8) BIT.\n           05 B PIC 1(3) BIT.\n"
            "           05 P PIC S9(3) COMP-3.\n");
  (void)RunTolvane(dir_.Path(), {"-X", "-G", "job.gra", "-Q"});
  EXPECT_EQ(dir_.ReadFile("out").substr(0, 20), "1010010101100000+123");
  EXPECT_TRUE(Has(dir_.ReadFile("book.cpy.EXP"), "           05 FILLER PIC X(5).\n"))
      << dir_.ReadFile("book.cpy.EXP");
}

TEST_F(Dates, RecordsOfAnotherSizeThanTheCopybooksLoseNothing) {
  const std::string book =
      "       01 R.\n           05 A PIC X.\n           05 P PIC S9(5) COMP-3.\n";
  const struct {
    const char* statements;
    std::string in;
    const char* out;
  } cases[] = {
      {"RECORD SIZE IS 6", "a" + FromHex("12345D") + "yzb" + FromHex("12345C") + "YZ",
       "a-12345yzb+12345YZ"},
      {"RECORD SIZE IS 3", "a" + FromHex("7879") + "b" + FromHex("7A7A"), "axy    bzz    "},
      {"BACKUP FILE IS UNIX\nRECORD SIZE IS 6", "a" + FromHex("12345D") + "yz\n", "a-12345yz"},
  };
  for (const auto& c : cases) {
    dir_.WriteFile("in", c.in);
    const ProgramResult result = Run(std::string(kRestore) + "EXPLODE\n" + c.statements, book);
    EXPECT_EQ(dir_.ReadFile("out"), c.out) << c.statements << result.out << result.err;
  }
}

TEST_F(Dates, AnAgedRecordOfAnIndexedFileKeepsWhatStandsBehindTheCopybook) {
  dir_.WriteFile("in", "200101key1tail");
  (void)Run(std::string(kRestore) +
                "RECORD SIZE IS 14\nKEY1 IS K\nAGE D FORMAT YYMMDD FROM 1/1/2020 TO 2/1/2020",
            "01 R.\n 05 D PIC 9(6).\n 05 K PIC X(4).\n", "ZORVA FILE IS INDEXED");
  EXPECT_EQ(dir_.ReadFile("out.dat"), "200201key1tail\n");
}

// The key moves when the field before it grows; reports show the record as it came.
TEST_F(Dates, ReportsNameTheKeyOfTheInput) {
  dir_.WriteFile("in", FromHex("A7 12345C D2C5E8F2"));
  (void)Run(std::string(kRestore) + "TRANSLATE ASCII\nMATCH ID\nEXPLODE\nKEY1 IS K",
            "       01 R.\n           05 X PIC X.\n           05 D PIC S9(5) COMP-3.\n"
            "           05 K PIC X(4).\n           05 L REDEFINES K PIC X(4).\n"
            "       ID IS X = 'A' USE L.\n");
  EXPECT_TRUE(Has(dir_.ReadFile("out.bad"), "Key in hex: d2c5e8f2  Char: KEY2"))
      << dir_.ReadFile("out.bad");
}

TEST_F(Dates, PackedFieldsThatHoldNoNumber) {
  const std::string book =
      "       01 R.\n           05 D PIC S9(5) COMP-3.\n           05 Z PIC X.\n";
  dir_.WriteFile("in", FromHex("404040 A9 99365C A9 ABCDEF A9 FFFFFF A9"));
  const ProgramResult result = Run(
      std::string(kRestore) +
          "TRANSLATE TO ASCII\nEXPLODE\nDATE IS D FORMAT YYDDD IF SPACES THEN CC = SPACES ELSE CC "
          "= 19",
      book);
  EXPECT_EQ(dir_.ReadFile("out").substr(0, 18), "        z+1999365z") << result.err;
  EXPECT_TRUE(Has(result.err, "Record 3: D at offset 0 is no number.")) << result.err;
  EXPECT_FALSE(Has(result.err, "Record 4")) << result.err;
}

TEST_F(Dates, KeysThatNameAFieldGoWhereItGoes) {
  const std::string book =
      "       01 R.\n           05 K PIC X.\n           05 A PIC X(6).\n           05 B REDEFINES "
      "A.\n             10 B1 PIC S9(5) COMP-3.\n             10 B2 PIC X(3).\n"
      "       ID IS K = 'B' USE B.\n";
  dir_.WriteFile("in", "B" + FromHex("12345D") + "key");
  const ProgramResult result =
      Run(kRestore + std::string("EXPLODE\nKEY1 IS B2\nKEY2 IS B1\nKEY3 IS 4,2"), book,
          "ZORVA FILE IS INDEXED");
  EXPECT_EQ(dir_.ReadFile("out.dat").substr(0, 10), "B-12345key");
  const std::string keys = RunTolvane(dir_.Path(), {"-x", "-foout"}).out;
  EXPECT_TRUE(Has(keys, "KEY1:0007,0003")) << keys;
  EXPECT_TRUE(Has(keys, "KEY2:0001,0006")) << keys;
  EXPECT_TRUE(Has(result.err, "The key at 4, 2 comes to lie at different places")) << result.err;
  EXPECT_FALSE(Has(result.err, "The key at 1")) << result.err;
}

TEST_F(Dates, AReorganisedFileHasTheRecordsOfItsCopybook) {
  dir_.WriteFile("out.cpy", "       01 R.\n           05 A PIC X(8).\n           05 B PIC X(4).\n");
  dir_.WriteFile("job.gra",
                 "RESTORE CREATE\nINPUT FILE IS in\nOUTPUT FILE IS out\nAUTOMATIC ANSWER\n"
                 "ZORVA FILE IS INDEXED\nKEY1 IS B\nCOPYBOOK OUT COPY out.cpy\n");
  (void)RunTolvane(dir_.Path(), {"-G", "job.gra", "-Q"});
  const std::string shown = RunTolvane(dir_.Path(), {"-x", "-foout"}).out;
  EXPECT_TRUE(Has(shown, "Record size: 12")) << shown;
  EXPECT_TRUE(Has(shown, "KEY1:0008,0004")) << shown;
}

TEST_F(Dates, AnalysisTakesWhatNoNumberHolds) {
  dir_.WriteFile("in", std::string(25, '9') + FromHex("999999999999999999 9C"));
  const ProgramResult result =
      Run("ANALYZE\nFIELD X\nFIELD P\n",
          "       01 R.\n           05 X PIC X(25).\n           05 P PIC S9(18) COMP-3.\n");
  EXPECT_TRUE(Has(result.out, "TOTAL records analysed                 : 1\n")) << result.err;
  EXPECT_TRUE(Has(dir_.ReadFile("in.Y2KRPT"), "UNKNOWN 100")) << dir_.ReadFile("in.Y2KRPT");
  EXPECT_TRUE(Has(dir_.ReadFile("in.Y2KRPT"), "Copybook :\t\tbook.cpy\n"));
  dir_.WriteFile("in", FromHex("099112"));
  (void)Run("ANALYZE\n", "       01 R.\n           05 S PIC 9(5) COMP-6.\n");
  EXPECT_TRUE(Has(dir_.ReadFile("in.Y2KRPT"), "0000099112 0000099112       YYDDD 100"))
      << dir_.ReadFile("in.Y2KRPT");
}

}  // namespace
}  // namespace tolvane::test
