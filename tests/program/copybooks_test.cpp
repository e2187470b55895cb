// Copybooks through the whole program: in grammar files and beside them, mask files, and the report
// on a copybook.

#include <sstream>

#include "program/grammar_file.h"

namespace tolvane::test {
namespace {

const char kBook[] =
    "       01  R.\n"
    "           05  KIND    PIC X.\n"
    "           05  AMOUNT  PIC S9(3) COMP-3.\n"
    "           05  COUNTS  PIC S9(4) COMP OCCURS 2.\n"
    "           05  NO      PIC S9(2).\n"
    "           05  TAIL    PIC X(2).\n";
const char kData[] = "C1 123D C1C2 C3C4 F1D2 C1C2   C2 045C 0001 0002 F0C3 4040";
const char kAscii[] = "41 123D C1C2 C3C4 3172 4142   42 045C 0001 0002 3033 2020";

TEST_F(GrammarFile, CopybooksStandInTheFileOrBesideIt) {
  dir_.WriteFile("book.cpy", kBook);
  const std::string job = "ZORVA FILE SEQUENTIAL TRANSLATE ASCII COMPILER MF\nCOPYBOOK IS";
  for (const std::string& book :
       {"\n" + std::string(kBook), " COPY book.\n" + std::string(""), std::string(" COPY BOOK"),
        " COPY '" + dir_.Path("book.cpy") + "'.\nPROCESS 9\n"}) {
    const ProgramResult result = Restore(job + book, kData);
    EXPECT_EQ(Output(), Hex(kAscii)) << book;
    EXPECT_EQ(result.err, "") << book;
  }
  Restore("ZORVA FILE SEQUENTIAL TRANSLATE ASCII COMPILER MF RAW NO RAW TAIL COPYBOOK IS COPY book",
          kData);
  EXPECT_EQ(Output(), Hex("41 123D C1C2 C3C4 F1D2 C1C2   42 045C 0001 0002 F0C3 4040"));
  const ProgramResult result =
      Restore("KEY1 = NO KEY2 = KIND TRANSLATE ASCII COMPILER MF COPYBOOK IS COPY book", kData);
  EXPECT_EQ(result.err, "");
  const ProgramResult shown = RunArguments({"-x", "-foout"});
  EXPECT_TRUE(Has(shown.out, "KEY1:0007,0002 \n              KEY2:0000,0001 Dups\n")) << shown.out;
}

TEST_F(GrammarFile, ExplosionWritesItsCopybookBesideTheOneFound) {
  dir_.WriteFile("book.cpy", "01 R.\n05 A PIC S99 SIGN LEADING.\n05 B PIC S9(3) COMP-3.\n");
  const ProgramResult result =
      Restore("ZORVA FILE SEQUENTIAL TRANSLATE ASCII COMPILER MF EXPLODE COPYBOOK IS COPY BOOK",
              "D1F2 123D");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(Output(), ToHex("-12-123"));
  EXPECT_TRUE(dir_.Exists("book.cpy.EXP"));
}

TEST_F(GrammarFile, CopybooksThatDoNotFitAreRefused) {
  dir_.WriteFile("book.cpy", kBook);
  const struct {
    const char* statements;
    const char* err;
  } cases[] = {
      {"COPYBOOK IN COPY book COPYBOOK IS COPY book",
       "\nERROR: Invalid Syntax: COPYBOOK IN/OUT exclude use of COPYBOOK IS\n"
       "\nWARNING: Line 2 of 'job.gra': this statement rejects the file.\n"},
      {"COMPILER MF COPYBOOK IS COPY book COPYBOOK OUT COPY book",
       "\nERROR: Invalid Syntax: COPYBOOK IN/OUT exclude use of COPYBOOK IS\n"
       "\nWARNING: Line 2 of 'job.gra': this statement rejects the file.\n"},
      {"COPYBOOK IS COPY book",
       "\nERROR: COBOL compiler type unknown \n"
       "\nERROR: You must specify (MF or MBP) to convert signed numeric data.\n"
       "\nERROR: Processing mask list candidates\n"},
      {"COMPILER MF RAW NONE COPYBOOK IS COPY book",
       "\nERROR: Can not find unique field NONE \nERROR: Adding RAW fields to the mask table\n"},
      {"COMPILER MF KEY1 NONE COPYBOOK IS COPY book",
       "\nERROR: Can not find unique field NONE for key # 0\nERROR: Validating key fields\n"},
      {"COMPILER MF COPYBOOK IS COPY book\nID IS KIND = 'C' USE TAIL.\nID IS\nKIND",
       "\nERROR: Syntax error on ID IS statement.\n\nERROR: Saving conditions\n"
       "\nERROR: Loading 'ID IS' statement\n"
       "\nWARNING: Line 5, column 1 of 'job.gra': the ID IS statement is wrong at 'KIND'.\n"},
  };
  for (const auto& c : cases) {
    const ProgramResult result = Restore(c.statements, kData);
    EXPECT_EQ(result.status, kRejected) << c.statements;
    EXPECT_EQ(result.err, c.err) << c.statements;
  }
  const ProgramResult no = RunGrammar(
      "RECORD SIZE 5 COMPILER MF OUTPUT o CREATE ZORVA FILE RELATIVE COPYBOOK IS COPY book", "n\n");
  EXPECT_TRUE(no.out.ends_with("Do you wish to continue (Y/N)  : ")) << no.out;
  EXPECT_EQ(no.status, kRejected);
}

// One layout for each kind of record; what matches none is listed and has the first layout.
TEST_F(GrammarFile, IdIsChoosesTheLayoutOfEachRecord) {
  const std::string job =
      "ZORVA FILE SEQUENTIAL TRANSLATE ASCII COMPILER MF MATCH ID\nCOPYBOOK IS\n"
      "01 R.\n 05 KIND PIC X.\n 05 P.\n  10 P1 PIC S9(3) COMP-3.\n  10 P2 PIC X.\n"
      " 05 B REDEFINES P.\n  10 B1 PIC X.\n  10 B2 PIC 9(4) COMP.\n"
      "ID IS KIND = 'P' USE P.\nID IS KIND = 'B' OR 'C' USE B.\n";
  Restore(job, "D7 123C C1  C2 C1 C1C1  C3 C1 C1C1  E7 C1C1 C1");
  EXPECT_EQ(Output(), Hex("50 123C 41  42 41 C1C1  43 41 C1C1  58 C1C1 41"));
  EXPECT_EQ(dir_.ReadFile("out.bad"), "Non matching record: (relative #) 4\n");
}

// ---- mask files

// The command line of a mask file for another job; words that are no options are taken out.
std::vector<std::string> CommandLine(const std::string& mask_file) {
  std::vector<std::string> words;
  std::istringstream lines(mask_file);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream in_line(line.starts_with('#') ? "" : line);
    for (std::string word; in_line >> word;)
      if (std::string_view("-s -k -P -B -U -I").find(word.substr(0, 2)) != std::string::npos &&
          word != "\\")
        words.push_back(word);
  }
  return words;
}

TEST_F(GrammarFile, MaskFilesRepeatTheCopybookAsOptions) {
  dir_.WriteFile("book.cpy", kBook);
  const ProgramResult made =
      RunGrammar("MASKFILE mask KEY1 IS KIND COMPILER MF RESTORE COPYBOOK IS COPY book");
  EXPECT_EQ(made.err, "") << "the list is all that is made";
  const std::string program = BuiltProgram("tolvane");
  const std::string list = program +
                           " -? -fi??? -fo??? -s11 \\\n -k1:0,1 \\\n"
                           " -P1:2 -B3:2 -B5:2 -U7:2\n";
  const std::string head =
      "# use the following for input to " + program + "\n# created from copybook ";
  EXPECT_EQ(dir_.ReadFile("mask"), head + "book.cpy\n# Record size appears to be 11\n#\n" + list);
  RunArguments({"-C", "book.cpy", "-MF", "-k1:KIND", "-F", "mask2", "-c", "-q", "-fonew"});
  EXPECT_EQ(dir_.ReadFile("mask2"), head + "book.cpy\n# Record size appears to be 11\n#\n" + list);

  dir_.WriteFile("in", FromHex(kData));
  std::vector<std::string> arguments = CommandLine(dir_.ReadFile("mask2"));
  arguments.insert(arguments.begin(), {"-r", "-c", "-e", "-i", "-MF", "-fiin", "-foout"});
  EXPECT_EQ(RunArguments(arguments).err, "");
  const std::string by_options = dir_.ReadFile("out");
  Restore("KEY1 IS KIND TRANSLATE ASCII COMPILER MF COPYBOOK IS COPY book", kData);
  EXPECT_EQ(dir_.ReadFile("out"), by_options);
  EXPECT_EQ(ToHex(by_options.substr(0, 11)), Hex(kAscii).substr(0, 32));
}

TEST_F(GrammarFile, MaskFilesBreakLinesAndHoldConditions) {
  dir_.WriteFile("book.cpy",
                 "01 R. 05 A PIC X. 05 B PIC 9 COMP-3 OCCURS 9. 05 C PIC 9. 05 D PIC X(9).\n"
                 "05 E REDEFINES D. 10 F PIC 9 COMP-3 OCCURS 9.\nID IS A = 'X' USE E.\n");
  RunGrammar("MASKFILE mask COPYBOOK IS COPY book");
  const std::string mask = dir_.ReadFile("mask");
  EXPECT_EQ(mask.substr(mask.find("-s")),
            "-s20 \\\n -P1:1 -P2:1 -P3:1 -P4:1 -P5:1 -P6:1 -P7:1 -P8:1 -P9:1 \\\n -N10:1 \\\n"
            " -I11  " +
                std::string(49, ' ') +
                " -P11:1 -P12:1 -P13:1 -P14:1 -P15:1 -P16:1 -P17:1 -P18:1 -P19:1 \\\n\n");
}

// ---- the report

TEST_F(GrammarFile, ReportsTellWhatTranslationWouldDamage) {
  const std::string rule = "-----------------------------------------\n";
  const std::string binary =
      "\nWARNING: Found binary sensitive fields!\n"
      "\nWARNING: Requires COPYBOOK IS statement to process data.\n";
  const std::string redefined =
      "\nWARNING: Found REDEFINES containing binary sensitive fields!\n"
      "\nWARNING: Requires ID IS statement to process data.\n";
  const struct {
    const char* book;
    const char* summary;
    std::string found;
    std::string warnings;
  } cases[] = {
      {"01 R. 05 A PIC X(4). 05 B PIC 9(4).", "", "", ""},
      {"01 R. 05 A PIC S9. 05 B PIC 9. 05 C COMP-1. 05 D PIC 9 COMP.", " BINARY",
       "Found field : A\nFound field : C\nFound field : D\n", binary},
      {"01 R. 05 A PIC X. 05 B REDEFINES A. 10 C PIC 9 COMP-3. 05 D COMP-2.", " REDEFINES", "",
       redefined},
      {"01 R. 05 A PIC 9 COMP-3. 05 B REDEFINES A PIC X. 05 C REDEFINES A PIC 9 COMP-6.",
       " BINARY REDEFINES", "Found field : A\n", binary + redefined},
      {"01 R. 05 A PIC X. 05 B REDEFINES A PIC 9. 05 C PIC S9.", " BINARY", "Found field : C\n",
       binary},
      {"77 X PIC 9 COMP. 01 R. 05 A PIC 9 COMP. 01 S PIC X.", " BINARY", "Found field : A\n",
       binary},
  };
  for (const auto& c : cases) {
    dir_.WriteFile("copybook.cpy", c.book);
    const ProgramResult summary = RunArguments({"-RS:copybook.cpy"});
    EXPECT_TRUE(summary.out.ends_with(
        "Processing COBOL copybook ...\n'copybook':" + std::string(c.summary) + "\n\n"))
        << summary.out;
    EXPECT_EQ(summary.err, "");
    const ProgramResult report = RunArguments({"-R:copybook.cpy"});
    EXPECT_TRUE(report.out.ends_with(rule + "Processing copybook file 'copybook.cpy'\n" + c.found +
                                     rule + "\n"))
        << report.out;
    EXPECT_EQ(report.err, c.warnings) << c.book;
  }
  dir_.WriteFile("copybook.cpy", "01 A. 05 B PIC X. GARBAGE. 05 C PIC S9(4) COMP.");
  EXPECT_EQ(
      RunArguments({"-RS:copybook.cpy"}).err,
      "\nERROR: copybook.cpy:1:19: error: expected a level number (01 to 49, 66, 77, 78 or 88), "
      "found 'GARBAGE'\n"
      "\nWARNING: The report covers only what could be read of 'copybook.cpy'.\n");
  EXPECT_EQ(RunArguments({"-R:none"}).err, "\nERROR: Could not open 'none'.\n");
  EXPECT_EQ(RunArguments({"-Rnone"}).err, "\nERROR: INVALID syntax for -R option.");
}

}  // namespace
}  // namespace tolvane::test
