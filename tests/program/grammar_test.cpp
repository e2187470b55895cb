// Grammar files through the whole program: what each statement does to the run, what each message
// does to the reading, copybooks in and beside them, mask files and the copybook report.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <sstream>

#include "support/program.h"
#include "support/temp_dir.h"

namespace tolvane::test {
namespace {

constexpr int kRejected = 255;  // -1 as the shell sees it

class GrammarFile : public ::testing::Test {
 protected:
  ProgramResult RunArguments(std::vector<std::string> arguments, const std::string& typed = "") {
    return RunProgram(BuiltProgram("tolvane"),
                      {.arguments = std::move(arguments),
                       .typed = typed,
                       .environment = {{"DATA", dir_.Path("data")}, {"ZORROOT", dir_.Path("root")}},
                       .directory = dir_.Path()});
  }
  ProgramResult RunGrammar(const std::string& text, const std::string& typed = "") {
    dir_.WriteFile("job.gra", text);
    return RunArguments({"-G", "job.gra"}, typed);
  }
  // Restores `in` (hexadecimal) with the statements behind the operations; the output is new.
  ProgramResult Restore(const std::string& statements, const std::string& in) {
    for (const char* name : {"out", "out.dat", "out.idx", "out.dups"})
      std::remove(dir_.Path(name).c_str());
    dir_.WriteFile("in", FromHex(in));
    return RunGrammar("RESTORE CREATE INPUT in OUTPUT out\n" + statements);
  }
  std::string Output() { return dir_.Exists("out") ? ToHex(dir_.ReadFile("out")) : "none"; }
  // The folders and files of the platform, with the program itself.
  void MakePlatform() {
    for (const char* name : {"root", "root/zorfiles"})
      ASSERT_EQ(mkdir(dir_.Path(name).c_str(), 0700), 0);
    RunArguments({"-c", "-i", "-s512", "-k1:0,11", "-foroot/zorfiles/zorsys"});
    RunArguments({"-c", "-i", "-s512", "-k1:0,26", "-foroot/zorfiles/zorsec"});
    RunArguments({"-c", "-i", "-s200", "-k1:0,50", "-foroot/zorfiles/zorcatlg"});
  }
  TempDir dir_;
};

// ---- statements

// Words that may be left out are there in one row and missing in another.
TEST_F(GrammarFile, StatementsDoWhatTheySay) {
  const std::string flat = "ZORVA FILE SEQUENTIAL RECORD SIZE 2\n";
  const std::string ascii = flat + "TRANSLATE ASCII\n";
  const std::string digits = "\nCOPYBOOK IS\n01 R PIC S99.\n";
  const std::string packed = "VALIDATE NUMERIC\nCOPYBOOK IS\n01 R PIC S9(3) COMP-3.\n";
  const struct {
    std::string statements;
    const char* in;
    const char* out;
    const char* says = "";
    const char* err = "";
  } cases[] = {
      {flat, "C1C2 C3C4", "C1C2 C3C4"},
      {"zorva file is = relative Record Size Is = 2", "C1C2 C3C4", "C1C2 0A C3C4 0A"},
      {"ZORVA FILE = INDEXED KEY1 0,2 RECORD SIZE = 2", "3334 3132", "3334 0A 3132 0A"},
      {flat + "COMPILER MF TRANSLATE EBCDIC TRANSLATE TO ASCII", "C1C2", "4142"},
      {ascii + "TRANSLATE EBCDIC COMPILER MF", "4142", "C1C2"},
      {flat + "AUTOMATIC ANSWER TRANSLATE TO EBCDIC", "4142", "C1C2", "Auto answer assuming MF"},
      {flat + "TRANSLATE TO ASCII-SIGNS COMPILER IS MF" + digits, "314B", "3172"},
      {flat + "TRANSLATE ASCII-SIGNS COMPILER = XYZ" + digits, "314B", "3142"},
      {ascii + "PROCESS 1 RECORDS", "C1C2 C3C4", "4142"},
      {ascii + "SKIP 1 PROCESS 1", "C1C2 C3C4 C5C6", "4344"},
      {ascii + "SKIP 1 RECORDS", "C1C2 C3C4 C5C6", "4344 4546"},
      {ascii + "RELAXED", "C101", "4101"},
      {ascii + "RELAXED FILL SPACES", "C101", "4120"},
      {ascii + "RELAXED FILL IS = LOW-VALUE", "C101", "4100"},
      {ascii + "RELAXED SIGNED COMPILER MF", "F1D2", "3172"},
      {ascii + packed, "123F", "123F"},
      {ascii + packed, "1A3C", "1A3C", "",
       "\nWARNING: Invalid characters in packed numerics. Loc = 0\n"},
      {ascii + "BLOCK SIZE 4", "C1C2 C3C4", "4142 4344",
       "==== block size: 4  input record size: 2"},
      {flat + "RECORD SIZE IS 4 BLOCK SIZE = 8", "C1C2 C3C4", "C1C2 C3C4",
       "==== block size: 8  input record size: 4"},
      {"ZORVA FILE RELATIVE BACKUP FILE UNIX RECORD SIZE 3", "41 0A 4243 0A",
       "412020 0A 424320 0A"},
      {"ZORVA FILE RELATIVE BACKUP FILE IS = DOS RECORD SIZE 2", "41 0D0A 4243 0D0A",
       "4120 0A 4243 0A"},
      {flat + "BACKUP FILE IS OS3", "C1C2", "4142"},
      {flat + "BACKUP FILE FLAT", "C1C2", "C1C2"},
      {flat + "BACKUP FILE INTERCHANGE", "4142 4301", "4142", "Binary data in output file",
       "\nWARNING: The restore stopped at record 2 of 'in', which has a byte that is no text; "
       "describe its field, or let RELAXED pass it.\n"},
      {flat + "BACKUP", "C1C2", "", "",
       "\nERROR: Attempting to backup an empty file. NO backup done.\n"
       "\nERROR: Can NOT perform both backup and restore\n"},
      {ascii + "CASE UPPER CASE IS = LOWER LABEL RECORDS STANDARD LABEL RECORDS ARE STANDARD\n"
               "DUPS COUNTER HALFWORD MATCH AUTOMATIC PROCESS 1",
       "C1C2 C3C4", "4142"},
      {"INPUT FILE IS = in OUTPUT FILE IS elsewhere OUTPUT = out\n" + ascii, "C1C2", "4142"},
  };
  for (const auto& c : cases) {
    const ProgramResult result = Restore(c.statements, c.in);
    EXPECT_EQ(Output(), Hex(c.out)) << c.statements;
    EXPECT_EQ(result.err, c.err) << c.statements;
    EXPECT_TRUE(Has(result.out, c.says)) << c.statements << result.out;
    EXPECT_EQ(result.status, 0);
  }
}

TEST_F(GrammarFile, VariableRecordsKeepTheirLengths) {
  for (const std::string size : {"RECORD SIZE IS V", "BLOCK SIZE = VARIABLE"}) {
    const std::string job = "RECORD SIZE 7 ZORVA FILE SEQUENTIAL TRANSLATE ASCII " + size;
    EXPECT_EQ(Restore(job + " COPYBOOK IS\n01 R PIC X(9).", "000F0000 00050000C1 00060000C2C3").err,
              "");
    EXPECT_EQ(ToHex(dir_.ReadFile("out").substr(128)), Hex("400141 20 40024243")) << size;
  }
}

TEST_F(GrammarFile, OptionsBehindTheGrammarFileWin) {
  dir_.WriteFile("in", "aabbcc");
  dir_.WriteFile("job.gra",
                 "RESTORE CREATE INPUT in OUTPUT out ZORVA FILE SEQUENTIAL RECORD SIZE 2");
  RunArguments({"-G", "job.gra", "-z1", "-foother"});
  EXPECT_EQ(dir_.ReadFile("other"), "aa");
  EXPECT_EQ(RunArguments({"-G", "nope"}).err, "\nERROR: Could not open 'nope'.\n");
  EXPECT_EQ(RunArguments({"-G", "nope"}).status, kRejected);
}

// A copybook has been read by the options before it; keys are looked up in it afterwards.
TEST_F(GrammarFile, OptionsBehindACopybookWinOrAreRefused) {
  dir_.WriteFile("in", "abc1234");
  dir_.WriteFile("job.gra",
                 "RESTORE CREATE INPUT in OUTPUT out KEY1 IS A COMPILER MF COPYBOOK IS\n"
                 "01 R. 05 A PIC X(3). 05 B PIC S9(4).\n");
  const std::pair<const char*, const char*> winning[] = {{"-MF", "KEY1:0000,0003 \n"},
                                                         {"-s7", "KEY1:0000,0003 \n"},
                                                         {"-k1:B", "KEY1:0003,0004 \n"},
                                                         {"-k1:1,2", "KEY1:0001,0002 \n"},
                                                         {"-k2:B", "KEY2:0003,0004 Dups\n"}};
  for (const auto& [option, key] : winning) {
    for (const char* name : {"out", "out.dat", "out.idx"}) std::remove(dir_.Path(name).c_str());
    EXPECT_EQ(RunArguments({"-G", "job.gra", option}).err, "") << option;
    EXPECT_TRUE(Has(RunArguments({"-x", "-foout"}).out, key)) << option;
  }
  EXPECT_EQ(RunArguments({"-G", "job.gra", "-k1:C"}).err,
            "\nERROR: Can not find unique field C for key # 0\nERROR: Validating key fields\n");
  const std::pair<const char*, const char*> late[] = {
      {"-MBP", "-MBP"}, {"-X", "-1 or -X"}, {"-1", "-1 or -X"}, {"-s3", "-s"}, {"-O", "-O"}};
  for (const auto& [option, named] : late) {
    const ProgramResult result = RunArguments({"-G", "job.gra", option});
    EXPECT_EQ(result.err, std::string("\nERROR: Option ") + named +
                              " must stand before -G: the copybook was read without it.\n");
    EXPECT_EQ(result.status, kRejected) << option;
  }
  const ProgramResult twice = RunArguments({"-G", "job.gra", "-G", "other.gra", "-r"});
  EXPECT_EQ(twice.err, "\nERROR: -G was given twice: 'job.gra' and 'other.gra'\n");
  EXPECT_EQ(twice.status, kRejected);
}

TEST_F(GrammarFile, PathsMayBeginWithAVariable) {
  ASSERT_EQ(mkdir(dir_.Path("data").c_str(), 0700), 0);
  dir_.WriteFile("data/in", "abcd");
  const std::string job = "RESTORE CREATE ZORVA FILE SEQUENTIAL RECORD SIZE 2 INPUT FILE IS ";
  RunGrammar(job + "$DATA/in OUTPUT $DATA/out.1");
  EXPECT_EQ(dir_.ReadFile("data/out.1"), "abcd");
  EXPECT_EQ(RunGrammar("OUTPUT FILE $NONE/x\nDELETE").err,
            "\nERROR: Specified ENV variable 'NONE' not found.\n"
            "\nWARNING: Line 1 of 'job.gra': the rest of the file was not read.\n");
  const std::string path(300, 'p');
  EXPECT_TRUE(Has(RunGrammar("RESTORE ZORVA FILE RELATIVE RECORD SIZE 1 INPUT " + path).err,
                  "WARNING: Path " + path + " too long. Truncated.\n\nERROR: Opening Input File '" +
                      path.substr(0, 256) + "'"));
}

// FILE and IS are words of the statement only where a path does not go on with them.
TEST_F(GrammarFile, PathsMayBeginWithAWordOfTheStatement) {
  dir_.WriteFile("file.in", "ab");
  RunGrammar("RESTORE CREATE ZORVA FILE SEQUENTIAL RECORD SIZE 2 INPUT file.in OUTPUT FILE=is.out");
  EXPECT_TRUE(dir_.Exists("is.out"));
}

TEST_F(GrammarFile, BackupsAreLabelled) {
  dir_.WriteFile("in", "ab");
  const std::string job = "BACKUP INPUT in ZORVA FILE SEQUENTIAL RECORD SIZE 2 OUTPUT ";
  RunGrammar(job + "labelled VOL IS = SERIAL1234 LBL = A.LONG.LABEL.OF.22.C");
  const std::string labels = dir_.ReadFile("labelled");
  EXPECT_EQ(ToHex(labels.substr(0, 10)), Hex("E5D6D3F1 E2C5D9C9C1D3")) << "VOL1SERIAL";
  EXPECT_EQ(ToHex(labels.substr(84, 17)), Hex("C14BD3D6D5C74BD3C1C2C5D34BD6C64B 40"));
  RunGrammar(job + "bare VOL SERIAL LBL NAME LABEL RECORDS OMITTED");
  EXPECT_EQ(dir_.ReadFile("bare"), "ab");
}

TEST_F(GrammarFile, DeletionAndCounterWidth) {
  const std::string indexed = "RECORD SIZE 2 KEY1 0,2 KEY2 1,1 ";
  Restore(indexed, "3132 3232");
  const std::string plain = dir_.ReadFile("out.idx");
  Restore(indexed + "DUPS COUNTER IS HALFWORD", "3132 3232");
  EXPECT_TRUE(dir_.ReadFile("out.idx") == plain);
  EXPECT_EQ(Restore(indexed + "DUPS DUPS COUNTER = FULLWORD", "3132 3232").err, "");
  EXPECT_FALSE(dir_.ReadFile("out.idx") == plain);
  RunGrammar("DELETE OUTPUT out ZORVA FILE INDEXED");
  EXPECT_FALSE(dir_.Exists("out.idx"));
}

// Statements whose work lies elsewhere: they are read to their end.
TEST_F(GrammarFile, StatementsAreReadToTheirEnd) {
  const char* const statements[] = {
      "EXPLODE",
      "EXPLODE SIGN LEADING",
      "EXPLODE SIGN TRAILING",
      "ANALYZE",
      "ANALYZE DATES ONLY",
      "FIELD D",
      "READ ZORVA",
      "READ ZORVA CATALOGUE",
      "READ ZORVA cat",
      "AGE D FORMAT YYMMDD FROM 1/1/1990 TO 12/31/1999",
      "AGE D FORMAT IS YYMMDD FROM 1/1/1990 TO 12/31/1999",
      "TEST DATE 1/31/2000 FILE DATE 1/31/1990",
      "DATE D FORMAT YYMMDD",
      "DATE IS D FORMAT IS YYMMDD",
      "DATE D FORMAT YYMMDD IF YY < 50 THEN CC = 20 ELSE CC 19",
      "DATE D FORMAT YYMMDD IF YY >= '50' THEN CC IS 19 ELSE IF ALL '9' THEN CC 9 ELSE\n"
      "IF YY <> 7 THEN CC '18' ELSE IF SPACES THEN CC SPACES ELSE CC = 20",
      "DATE D FORMAT YYMMDD IF ALL = 0 THEN CC LOW-VALUES ELSE IF HIGH-VALUE THEN CC HIGH-VALUES\n"
      "ELSE IF LOW-VALUE THEN CC 'x' ELSE CC '20'"};
  for (const char* statement : statements)
    EXPECT_TRUE(RunGrammar(std::string(statement) + "\nZZZ")
                    .err.starts_with("\nERROR: Unrecognized key word 'ZZZ'\n"))
        << statement;
}

TEST_F(GrammarFile, CatalogueStatementsRegisterTheOutput) {
  MakePlatform();
  const std::string flat = "ZORVA FILE SEQUENTIAL RECORD SIZE 1 ";
  EXPECT_TRUE(Has(Restore(flat + "ADD longer-name ZORVA", "31").out,
                  "Zorva file record added for lfn 'longer-na'.\n"));
  EXPECT_TRUE(
      Has(Restore(flat + "ADD LFN longer-name TO ZORVA CATALOG ZORVA FILE SEQUENTIAL", "31").err,
          "Zorva file record already exists. (not updated)\n"));
  const ProgramResult over = Restore(
      flat + "ADD longer-name TO ZORVA CAT OVERWRITE DEFINE VOL45678X MY.LABEL TO ZORCATLG", "31");
  EXPECT_TRUE(Has(over.out, "Zorva file record updated for lfn 'longer-na'.\n"));
  const std::string entry = dir_.ReadFile("root/zorfiles/zorcatlg.dat");
  EXPECT_EQ(entry.substr(0, 16), "VOL456MY.LABEL  ") << over.err;
}

// ---- keys

// Location, length, duplicates and changes of each key as the program registers them.
TEST_F(GrammarFile, KeysAndTheirAttributes) {
  MakePlatform();
  const struct {
    const char* statements;
    const char* keys;
  } cases[] = {
      {"KEY1 IS 0, 10 NODUPS CHG", "0000010NY"},
      {"KEY1 = 0 10", "0000010NN"},
      {"KEY1 IS = 0:10 CHANGES DUPS", "0000010YY"},
      {"KEY1 0,1 KEY2 1,2 KEY3 3,1 NDUP NCHG", "0000001NN 0001002YY 0003001NN"},
      {"KEY1 0,1 KEY2 1,2 NOCHANGES DUP", "0000001NN 0001002YN"},
      {"KEY1 0,1 KEY2 1,2 PRIME", "0000001YY 0001002NN"},
      {"KEY1 0,1 PRIME KEY2 1,2 KEY3 3,1 PRIME", "0000001NN 0001002YY 0003001NN"},
      {"KEY1 0,1 KEY2 1,2 PRIME DUPS", "0000001YY 0001002YY"},
      {"KEY2 = B PRIME KEY1 C KEY2 B COPYBOOK IS 01 R. 05 A PIC X(4).\n05 B PIC X(3).\n"
       "05 C PIC X(17).",
       "0007017YY 0004003NN"},
  };
  for (const auto& c : cases) {
    const ProgramResult result =
        Restore(std::string("RECORD SIZE 24 AUTOMATIC ADD keys TO ZORVA CAT OVER ") + c.statements,
                ToHex("ABCDEFGHIJKLMNOPQRSTUVWX"));
    std::string keys;
    std::istringstream slots(dir_.ReadFile("root/zorfiles/zorsys.dat").substr(211, 110));
    for (std::string slot; slots >> slot;)
      if (slot != "000") keys += (keys.empty() ? "" : " ") + slot;
    EXPECT_EQ(keys, c.keys) << c.statements << result.out << result.err;
  }
}

TEST_F(GrammarFile, UniqueAlternateKeysAreBuiltBeforeTheLoad) {
  const ProgramResult result =
      Restore("RECORD SIZE 6 KEY1 IS 4,2 KEY2 IS 0,4 NODUPS", ToHex("aaaa01aaaa02bbbb03"));
  EXPECT_LT(result.out.find("KEY2 index successfully created"), result.out.find("Restoring out"));
  EXPECT_EQ(dir_.ReadFile("out.dups"), "aaaa02\n");
  EXPECT_EQ(dir_.ReadFile("out"), "aaaa01\nbbbb03\n");
}

// ---- messages

struct Message {
  const char* statement;
  const char* text;
};

// What was read before stands and is carried out, what comes behind is not read.
TEST_F(GrammarFile, MostErrorsEndTheReading) {
  const Message messages[] = {
      {"RESTOR", "Unrecognized key word 'RESTOR'"},
      {"BACKUP FILE IS VAX", "Unrecognized backup file type 'VAX'"},
      {"ZORVA IS", "Expecting ZORVA FILE IS (INDEXED,RELATIVE,SEQUENTIAL)"},
      {"ZORVA FILE IS FLAT", "Zorva file type NOT understood 'FLAT'"},
      {"TRANSLATE TO KLINGON", "Can only translate to EBCDIC or ASCII; not 'KLINGON'"},
      {"RECORD IS 5", "Expecting keyword SIZE.  Found 'IS'"},
      {"RECORD SIZE IS big", "Record size NOT found!"},
      {"RECORD SIZE 2147483648", "Record size NOT found!"},
      {"BLOCK SIZE big", "Block size NOT found!"},
      {"PROCESS ALL", "INVALID syntax at 'ALL'"},
      {"SKIP ALL", "INVALID syntax at 'ALL'"},
      {"DUPS FULLWORD", "'DUPS' expected keyword COUNTER; found 'FULLWORD'"},
      {"DUPS COUNTER IS 4", "'DUPS' expected FULLWORD or HALFWORD; found '4'"},
      {"RELAXED FILL = STARS", "RELAXED fill character NOT understood 'STARS'"},
      {"LABEL OMITTED", "Invalid syntax in LABEL statement 'OMITTED'!  Expecting RECORDS"},
      {"LABEL RECORDS ARE NONE",
       "Invalid syntax in LABEL statement 'NONE'!  Expecting OMITTED/STANDARD"},
      {"CASE MIXED", "Invalid CASE type 'MIXED'!  Expecting UPPER or LOWER"},
      {"DEFINE V L FOR", "Invalid syntax 'FOR'!  Expecting TO"},
      {"DEFINE V L TO ZORVA", "Invalid syntax 'ZORVA'!  Expecting ZORCATLG"},
      {"ADD TO ZORVA", "Expecting file name to add to catalogue. Found: 'TO'"},
      {"ADD F TO CAT", "Expecting ZORVA, found 'CAT'"},
      {"READ CAT", "Expecting READ ZORVA CATALOGUE"},
      {"KEY IS 0,1", "INVALID syntax at 'KEY'"},
      {"KEY11 IS 0,1", "INVALID syntax at 'KEY11'"},
      {"KEYS 0,1", "Unrecognized key word 'KEYS'"},
      {"KEY1ST 0,1", "Unrecognized key word 'KEY1ST'"},
  };
  for (const Message& message : messages) {
    const ProgramResult result = Restore(
        std::string("ZORVA FILE SEQUENTIAL RECORD SIZE 2\n") + message.statement + "\nPROCESS 1\n",
        "3132 3334");
    EXPECT_TRUE(result.err.starts_with(std::string("\nERROR: ") + message.text +
                                       "\n\nWARNING: Line 3 of 'job.gra': the rest of the file "
                                       "was not read.\n"))
        << message.statement << result.err;
    EXPECT_EQ(result.status, 0) << message.statement;
    EXPECT_EQ(Output(), Hex("3132 3334")) << message.statement;
  }
  const Message of_keys[] = {
      {"KEY1 IS 0, NODUPS", "INVALID syntax at 'NODUPS'. Missing length for KEY."},
      {"KEY1 0,1 DUPS NODUPS", "INVALID syntax at 'NODUPS'"},
      {"KEY1 4294967296,1", "INVALID syntax at '4294967296'"},
      {"KEY1 0,1 CHG PRIME NCHG", "INVALID syntax at 'NCHG'"},
      {"KEY1 = 'A'", "INVALID syntax at 'A'"},
      {"KEY1 0,1 PRIME DUPS PRIME", "INVALID syntax at 'PRIME'"},
      // The file ends where a value should stand.
      {"INPUT FILE IS", "INVALID syntax at ''"},
      {"OUTPUT", "INVALID syntax at ''"},
      {"COMPILER IS", "INVALID syntax at ''"},
      {"RAW", "INVALID syntax at ''"},
      {"MASKFILE", "INVALID syntax at ''"},
      {"VOL =", "INVALID syntax at ''"},
      {"LBL IS", "INVALID syntax at ''"},
      {"DEFINE VOL456", "INVALID syntax at ''"},
      {"ADD", "Expecting file name to add to catalogue. Found: ''"},
      {"VOL 'SER", "job.gra:1:5: error: expected a closing quote, found 'SER'"},
  };
  for (const Message& message : of_keys)
    EXPECT_EQ(RunGrammar(message.statement).err,
              std::string("\nERROR: ") + message.text +
                  "\n\nWARNING: Line 1 of 'job.gra': the rest of the file was not read.\n");
  EXPECT_EQ(RunGrammar("MATCH\n; DELETE").err,
            "\nWARNING: Line 2 of 'job.gra': ';' begins no statement; the rest of the file was not "
            "read.\n");
}

TEST_F(GrammarFile, SomeErrorsRejectTheFile) {
  const std::string date = "DATE D FORMAT YYMMDD ", window = date + "IF YY < 50 THEN CC ";
  const std::string all = date + "IF ALL 9 THEN CC ";
  const struct {
    std::string statement;
    const char* text;
  } cases[] = {
      {"VALIDATE ALL", "Invalid keyword after VALIDATE."},
      {"EXPLODE SIGN FIRST", "Invalid keyword after SIGN."},
      {"ANALYZE DATES", "Invalid keyword after DATES."},
      {"DATE IS D YYMMDD", "Missing keyword FORMAT in DATE IS command."},
      {date + "IF 50", "Missing keyword YY in DATE IS command."},
      {date + "IF YY 50",
       "Invalid operator for DATE IS command (must be one of <, <=, =, <>, > "
       "or >=)."},
      {date + "IF YY < NOW", "Invalid YY value."},
      {date + "IF YY < 100", "YY value must be an integer between 0 and 99."},
      {date + "IF YY < '100'", "String value too long for YY comparison."},
      {date + "IF ALL '99'", "String value too long for ALL condition."},
      {date + "IF ALL NINES", "Invalid value for ALL condition."},
      {date + "IF ALL 10", "Numeric value for ALL condition must be between 0 and 9."},
      {date + "IF ALL 1.5", "Numeric value for ALL condition must be an integer between 0 and 9."},
      {date + "IF SPACES CC", "Missing keyword THEN in DATE IS command."},
      {date + "IF SPACES THEN 20", "Missing CC in DATE IS command."},
      {window + "now", "Invalid CC value."},
      {window + "100", "CC value must be an integer between 0 and 99."},
      {window + "'100'", "String too long for CC value."},
      {all + "'10'", "String CC value too long for ALL condition."},
      {all + "10", "Numeric CC value for ALL condition must be between 0 and 9."},
      {all + "1.5", "Numeric CC value for ALL condition must be an integer between 0 and 9."},
      {all + "now", "Unrecognized CC value for ALL condition."},
      {window + "20 IF", "Missing keyword ELSE in DATE IS command."},
      {window + "20 ELSE 19", "Missing CC in DATE IS command."},
      {"AGE D YYMMDD", "Missing keyword FORMAT in AGE command."},
      {"AGE D FORMAT YYMMDD TO", "Missing keyword FROM in AGE command."},
      {"AGE D FORMAT YYMMDD FROM 1/1/1990 FROM", "Missing keyword TO in AGE command."},
      {"AGE D FORMAT YYMMDD FROM 13/1/1990 TO", "Invalid date in AGE statement - 13/1/1990"},
      {"AGE D FORMAT YYMMDD FROM 1/1/1990 TO 1/32/1990",
       "Invalid date in AGE statement - 1/32/1990"},
      {"AGE D FORMAT YYMMDD FROM 1/1/1899", "Invalid date in AGE statement - 1/1/1899"},
      {"AGE D FORMAT STARDATE FROM 1/1/1990 TO 0/1/1990",
       "Unrecognized date format in AGE statement - STARDATE\n\nERROR: "
       "Invalid date in AGE statement - 0/1/1990"},
      {"TEST RUN", "Invalid keyword after TEST."},
      {"FILE RUN", "Invalid keyword after FILE."},
      {"TEST DATE 1-1-2000", "Invalid date after DATE."},
      {"FILE DATE 1/1 2000", "Invalid date after DATE."},
      {"AGE D FORMAT YYMMDD FROM 1/1-1990", "Invalid date after DATE."},
      {"FIELD", "INVALID syntax at ''"},
      {"COPYBOOK COPY x", "Line 3: Missing required 'IS' keyword in COPYBOOK statement."},
      {"COPYBOOK IS", "Line 3: Invalid copybook name in COPYBOOK statement."},
      {"COPYBOOK IS\nbook.cpy", "Line 4: Missing required 'COPY' keyword in COPYBOOK statement."},
  };
  const auto expect_rejection = [this](const std::string& statement, const std::string& err) {
    const ProgramResult result =
        Restore("ZORVA FILE SEQUENTIAL RECORD SIZE 2\n" + statement + "\n", "3132");
    EXPECT_EQ(result.err, "\nERROR: " + err + "\n") << statement;
    EXPECT_EQ(result.status, kRejected) << statement;
    EXPECT_EQ(Output(), "none") << statement;
  };
  for (const auto& c : cases)
    expect_rejection(
        c.statement,
        c.text + std::string("\n\nWARNING: Line 3 of 'job.gra': this statement rejects "
                             "the file."));
  expect_rejection("TEST DATE 1/1/2000", "FILE DATE not specified.");
  expect_rejection("FILE DATE 1/1/2000", "TEST DATE not specified.");
  expect_rejection("COPYBOOK IS COPY nope",
                   "job.gra:3:18: error: expected a text that can be opened after COPY, "
                   "found 'nope'\n\nERROR: job.gra:3:22: error: expected a level "
                   "number (01 to 49, 66, 77, 78 or 88), found 'end of text'");
}

// A reading that stopped early has not met the copybook that fields are named for.
TEST_F(GrammarFile, NamesOfFieldsWantTheWholeFile) {
  for (const char* names : {"RAW FLD", "KEY2 IS FLD"}) {
    const ProgramResult result = RunGrammar(std::string(names) + "\nBOGUS\n");
    EXPECT_TRUE(result.err.ends_with(
        "\nERROR: End of Grammar NOT detected. COPYBOOK must be last statement.\n"))
        << result.err;
    EXPECT_EQ(result.status, kRejected);
  }
  EXPECT_EQ(RunGrammar("KEY2 IS 0,4\nBOGUS\n").status, 0);
  std::string hundred;
  for (int i = 0; i < 100; ++i) hundred += "RAW F" + std::to_string(i) + "\n";
  EXPECT_EQ(RunGrammar(hundred).err, "");
  EXPECT_TRUE(RunGrammar(hundred + "RAW G")
                  .err.starts_with("\nERROR: The maximum of 10 RAW fields has been exceeded.\n"));
}

// A word that is none of a description must not cut the record of a copybook.
TEST_F(GrammarFile, WordsWithinACopybookRejectTheFile) {
  const std::string job = "ZORVA FILE SEQUENTIAL TRANSLATE ASCII COPYBOOK IS";
  const std::string book = "01 R.\n   05 A PIC X(2).\n";
  const struct {
    std::string text;
    const char* error;
  } copied[] = {
      {book + "   FILLER PIC X.\n   05 B PIC 9 COMP-3.\n",
       "3:4: error: expected a level number (01 to 49, 66, 77, 78 or 88), found 'FILLER'"},
      {book + "   DATE PIC X.\n",
       "3:4: error: expected a level number (01 to 49, 66, 77, 78 or 88), found 'DATE'"},
      {book + "ID IS A = 'X' USE A.\nCREATE\n",
       "4:1: error: expected ID IS or the end of the copied text, found 'CREATE'"},
  };
  for (const auto& c : copied) {
    dir_.WriteFile("book.cpy", c.text);
    const ProgramResult result = Restore(job + " COPY book", "C1C2");
    EXPECT_EQ(result.err, std::string("\nERROR: book.cpy:") + c.error + "\n");
    EXPECT_EQ(result.status, kRejected);
    EXPECT_EQ(Output(), "none");
  }
  for (const char* word : {"FILLER", "RECORD"}) {
    const ProgramResult result = Restore(job + "\n" + book + "   " + word + " PIC X.\n", "C1C2");
    // Deliberate: what stands in the grammar file itself may be a misspelt statement.
    EXPECT_TRUE(result.err.ends_with(
        "\nWARNING: Line 5 of 'job.gra': the rest of the file was not read.\n"))
        << result.err;
    EXPECT_EQ(result.status, 0);
  }
}

// What a copybook was compiled by must stand before it.
TEST_F(GrammarFile, StatementsBehindTheCopybookCannotChangeItsReading) {
  const std::string job = "ZORVA FILE SEQUENTIAL COMPILER MF COPYBOOK IS\n01 R. 05 A PIC S99.\n";
  for (const char* late : {"RAW A", "COMPILER MBP", "BACKUP FILE SDF", "BACKUP FILE COPYG",
                           "BACKUP FILE INTERCHANGE", "RECORD SIZE 3", "BLOCK SIZE V"}) {
    const ProgramResult result = Restore(job + late, "F1C2");
    EXPECT_EQ(result.err,
              "\nERROR: End of Grammar NOT detected. COPYBOOK must be last statement.\n")
        << late;
    EXPECT_EQ(result.status, kRejected) << late;
  }
  EXPECT_EQ(Restore(job + "COMPILER MF TRANSLATE ASCII BLOCK SIZE 4", "F1D2").err, "");
  EXPECT_EQ(Output(), Hex("3172"));
}

// The list is that of the last copybook.
TEST_F(GrammarFile, ASecondCopybookTakesThePlaceOfTheFirst) {
  Restore(
      "ZORVA FILE SEQUENTIAL TRANSLATE ASCII\nCOPYBOOK IS\n01 R. 05 A PIC 9(3) COMP-3.\n"
      "COPYBOOK IS\n01 R. 05 A PIC X. 05 B PIC 9 COMP-3.\n",
      "C1C1");
  EXPECT_EQ(Output(), Hex("41C1"));
}

// ---- copybooks

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
       "\nWARNING: Line 4 of 'job.gra': the ID IS statement is wrong.\n"},
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
