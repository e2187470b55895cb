// Grammar files through the whole program: what each statement does to the run, and what each
// message does to the reading.

#include "program/grammar_file.h"

#include <sstream>

namespace tolvane::test {
namespace {

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
      {"KEY1 0,1 KEY2 1,2 PRIME NOCHANGES DUPS", "0000001YY 0001002YN"},
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
      {"KEY1 0.10 COMPILER MF", "INVALID syntax at 'COMPILER'. Missing length for KEY."},
      {"KEY1 0,0", "INVALID syntax at '0'. Missing length for KEY."},
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
  for (const auto& [given, lacking] : {std::pair("TEST", "FILE"), std::pair("FILE", "TEST")})
    expect_rejection(std::string(given) + " DATE 1/1/2000\nCREATE",
                     std::string(lacking) +
                         " DATE not specified.\n\nWARNING: Line 3 of 'job.gra': "
                         "this statement rejects the file.");
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

}  // namespace
}  // namespace tolvane::test
