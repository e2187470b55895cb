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
  static std::string Hex(const std::string& loose) { return ToHex(FromHex(loose)); }
  static bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
  }
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
      "01 R.\n 05 A.\n  10 N PIC 9(6).\n 05 B.\n  10 N PIC 9(6).\n 05 S PIC 9(4).\n";
  const struct {
    const char* statement;
    const char* error;
  } cases[] = {
      {"DATE IS NOPE FORMAT YYMMDD", "Syntax error. NOPE is undefined.\n"},
      {"DATE IS N FORMAT YYMMDD", "Syntax error. N is ambiguous.\n"},
      {"DATE IS S FORMAT MMYY", "Unknown format MMYY specified.\n"},
      {"DATE IS S FORMAT YYMMDD", "S holds 4 characters or digits, YYMMDD needs 6.\n"},
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
  EXPECT_TRUE(Has(dates_only, "YYMMDD 100\n"));
  EXPECT_FALSE(Has(dates_only, " J "));
  EXPECT_FALSE(Has(dates_only, " N "));
}

}  // namespace
}  // namespace tolvane::test
