// Volumes of 36-bit words through the whole program: COPYG and SDF files restored through a
// copybook and backed up again, print and element files.

#include <gtest/gtest.h>

#include <cstdio>

#include "support/program.h"
#include "support/temp_dir.h"
#include "support/words.h"

namespace tolvane::test {
namespace {

const char kCopybook[] =
    "       01  REC.\n"
    "           05  ID-NO      PIC X(4).\n"
    "           05  SMALL      PIC S9(2) COMP.\n"
    "           05  BALANCE    PIC S9(5) COMP.\n"
    "           05  AMOUNT     PIC S9(3).\n"
    "           05  BIG        PIC S9(18) COMP.\n"
    "           05  STATE      PIC X(3).\n";

// Record `n` of the volume: ID-NO, SMALL, BALANCE 1000 - n, AMOUNT -12n, BIG = SMALL, STATE.
unsigned Small(unsigned n) { return n % 99 + 1; }  // negated in the record
Words Record(unsigned n) {
  char id[8];
  std::snprintf(id, sizeof id, "%04u", n % 10000);
  const unsigned balance = n <= 1000 ? 1000 - n : 0777777 - (n - 1000);  // one's complement
  return {Characters(id), Quarters(0777 - Small(n), balance >> 9, balance & 0777, '1'),
          Quarters('2', static_cast<unsigned>("}JKLMNOPQR"[n % 10]), 0777, 0777),
          Quarters(0777, 0777, 0777, 0777), Quarters(0777 - Small(n), 'A', 'B', 'C')};
}

// The same record restored for Micro Focus.
std::string Restored(unsigned n) {
  char id[8];
  std::snprintf(id, sizeof id, "%04u", n % 10000);
  const auto big_endian = [](std::int64_t value, int width) {
    std::string bytes;
    for (int i = width - 1; i >= 0; --i) bytes += static_cast<char>(value >> (8 * i));
    return bytes;
  };
  return id + big_endian(-static_cast<int>(Small(n)), 2) +
         big_endian(1000 - static_cast<int>(n), 4) + "12" + static_cast<char>(0x70 | n % 10) +
         big_endian(-static_cast<int>(Small(n)), 8) + "ABC";
}
constexpr std::size_t kRestored = 24;

class WordData : public ::testing::Test {
 protected:
  // Runs a grammar file of these statements, closed by the copybook.
  ProgramResult Run(const std::string& statements, const std::string& typed = "",
                    const std::string& copybook = kCopybook) {
    dir_.WriteFile("job", statements + (copybook.empty() ? "" : "COPYBOOK IS\n" + copybook));
    return RunTolvane(dir_.Path(), {"-G", "job"}, typed);
  }
  static std::string Restore(const std::string& form, const std::string& more = "") {
    return "RESTORE\nCREATE\nAUTOMATIC ANSWER\nCOMPILER IS MF\nBACKUP FILE IS " + form +
           "\nINPUT FILE IS in\nOUTPUT FILE IS out\n" + more;
  }
  static Words Records(unsigned count) {
    Words words = SdfLabel(5, count);
    for (unsigned n = 0; n < count; ++n) words = words + Image(Record(n)) + Words{kEndOfRecord};
    words.push_back(kEndOfFile);
    return words;
  }
  static std::string RestoredRecords(unsigned count) {
    std::string records;
    for (unsigned n = 0; n < count; ++n) records += Restored(n);
    return records;
  }
  // A COPYG volume of so many records.
  static std::string Volume(unsigned count) {
    return Pack(CopygHeader("ACCOUNTS", "DAILY-1")) + CopygBlocks(Records(count));
  }
  // The header file of such a volume: 8 octal numbers a line.
  static std::string HeaderFile(unsigned count) {
    const Words words = CopygHeader("ACCOUNTS", "DAILY-1") + Words(2, 0) + SdfLabel(5, count);
    std::string text;
    for (std::size_t i = 0; i < 120; ++i) {
      const std::uint64_t word = i / 2 < words.size() ? words[i / 2] : 0;
      char number[8];
      std::snprintf(number, sizeof number, "%06o",
                    static_cast<unsigned>(i % 2 == 0 ? word >> 18 : word & 0777777));
      text += number;
      if (i % 8 == 7) text += '\n';
    }
    return text;
  }
  TempDir dir_;
};

TEST_F(WordData, CopygRoundTripIsExact) {
  constexpr unsigned kCount = 1500;  // several blocks; records run on across them
  const std::string volume = Volume(kCount);
  dir_.WriteFile("in", volume);
  const ProgramResult restored = Run(Restore("COPYG", "ZORVA FILE IS SEQUENTIAL\n"));
  EXPECT_EQ(dir_.ReadFile("out"), RestoredRecords(kCount)) << restored.out << restored.err;
  EXPECT_NE(restored.out.find("Processing an SDF format file containing 1500 records.\n"),
            std::string::npos);
  EXPECT_NE(restored.out.find("TOTAL records written to output file   : 1500\n"),
            std::string::npos);
  EXPECT_NE(restored.err.find("Copybook record size (24) does NOT match SDF record size (20)\n"),
            std::string::npos);

  const ProgramResult header = RunProgram(
      BuiltProgram("tapeimg"), {.arguments = {"header", "in"}, .directory = dir_.Path()});
  dir_.WriteFile("back.hdr", header.out);
  const ProgramResult backed_up =
      Run("BACKUP\nZORVA FILE IS SEQUENTIAL\nCOMPILER IS MF\n"
          "AUTOMATIC ANSWER\nBACKUP FILE IS COPYG\nINPUT FILE IS out\nOUTPUT FILE IS back\n");
  EXPECT_TRUE(dir_.ReadFile("back") == volume) << backed_up.out << backed_up.err;
  EXPECT_NE(backed_up.out.find("OPENING back.hdr\n"), std::string::npos);
  EXPECT_EQ(backed_up.err, "");
}

TEST_F(WordData, LabelledTapesOfSeveralVolumesAreReadBack) {
  constexpr unsigned kCount = 1500;
  dir_.WriteFile("out", RestoredRecords(kCount));
  for (const std::string form : {"tap", "aws"}) {
    dir_.WriteFile("vol1." + form + ".hdr", HeaderFile(kCount));
    const std::string list = form + ":vol1." + form + "=20K,vol2." + form;
    const ProgramResult backed_up =
        Run("BACKUP\nRECORD SIZE IS 24\nZORVA FILE IS SEQUENTIAL\nCOMPILER IS MF\nVOL=ABC123\n"
            "LBL=DAILY\nAUTOMATIC ANSWER\nBACKUP FILE IS COPYG\nINPUT FILE IS out\n"
            "OUTPUT FILE IS " +
            list + "\n");
    EXPECT_EQ(backed_up.err, "") << backed_up.out;
    // VOL1 and the serial in characters of 9 bits.
    const std::string first = dir_.ReadFile("vol1." + form).substr(form == "tap" ? 4 : 6, 80);
    EXPECT_EQ(ToHex(first),
              ToHex(Pack(Words{Characters("VOL1"), Characters("ABC1"), Characters("23  ")} +
                         Words(17, Characters("    ")))
                        .substr(0, 80)));
    const ProgramResult restored =
        Run("RESTORE\nCREATE\nAUTOMATIC ANSWER\nCOMPILER IS MF\nBACKUP FILE IS COPYG\n"
            "INPUT FILE IS " +
            form + ":vol1." + form + ",vol2." + form +
            "\nOUTPUT FILE IS again\nZORVA FILE IS SEQUENTIAL\n");
    EXPECT_TRUE(dir_.ReadFile("again") == RestoredRecords(kCount)) << restored.out << restored.err;
    EXPECT_EQ(restored.err.find("checksum"), std::string::npos) << restored.err;
    EXPECT_NE(restored.out.find("\nReached End of Volume on tape number 1 \n"), std::string::npos);
    const ProgramResult header =
        RunProgram(BuiltProgram("tapeimg"),
                   {.arguments = {"header", "vol1." + form}, .directory = dir_.Path()});
    EXPECT_EQ(header.out.substr(0, 7 * 49), HeaderFile(kCount).substr(0, 7 * 49));
  }
}

TEST_F(WordData, SdfFilesGoIntoIndexedFilesByTheirFields) {
  dir_.WriteFile("in", Pack(Records(20)));
  const ProgramResult result = Run(Restore("SDF", "KEY1 IS ID-NO PRIME\nKEY2 IS BALANCE DUPS\n"));
  EXPECT_NE(result.out.find("TOTAL records written to output file   : 20\n"), std::string::npos)
      << result.out << result.err;
  const ProgramResult back = RunTolvane(dir_.Path(), {"-b", "-s24", "-fiout", "-foflat"});
  EXPECT_EQ(dir_.ReadFile("flat"), RestoredRecords(20)) << back.out << back.err;
}

TEST_F(WordData, SkippingAndStoppingCountConvertedRecords) {
  dir_.WriteFile("in", Pack(Records(9)));
  dir_.WriteFile("job", Restore("SDF", "ZORVA FILE IS SEQUENTIAL\n") + "COPYBOOK IS\n" + kCopybook);
  const ProgramResult result = RunTolvane(dir_.Path(), {"-G", "job", "-y", "4", "-z", "3"});
  EXPECT_EQ(dir_.ReadFile("out"), Restored(4) + Restored(5) + Restored(6)) << result.err;
}

TEST_F(WordData, WithoutACopybookRecordsAreCharacters) {
  const Words data = SdfLabel(2, 2) + Image({Characters("ABCD"), Characters("EFGH")}) +
                     Image({Characters("IJKL")}) + Words{kEndOfFile};
  dir_.WriteFile("in", Pack(data));
  const ProgramResult result = Run(Restore("SDF", "ZORVA FILE IS RELATIVE\n"), "", "");
  EXPECT_EQ(dir_.ReadFile("out"), "ABCDEFGH\nIJKL    \n") << result.out << result.err;
}

TEST_F(WordData, BitFieldsBecomeCharactersOrBytes) {
  const char kBits[] =
      "       01  REC.\n"
      "           05  A  PIC 1(3).\n"
      "           05  FILLER PIC 1(2).\n"
      "           05  B  PIC 1(6).\n"
      "           05  C  PIC X(2).\n";
  // A 101, unnamed 10, B 110011, 7 bits unused.
  const Words data =
      SdfLabel(1, 1) + Image({Quarters(0b101'10'1100, 0b11'0000000, 'X', 'Y')}) + Words{kEndOfFile};
  dir_.WriteFile("in", Pack(data));
  dir_.WriteFile("job", Restore("SDF", "ZORVA FILE IS SEQUENTIAL\n") + "COPYBOOK IS\n" + kBits);
  const struct {
    std::vector<std::string> options;
    std::string record;
  } cases[] = {
      {{"-1"}, "10110110011XY"},
      {{"-X"}, "101101100110000000XY"},
      {{}, FromHex("B660") + "XY"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> arguments = c.options;
    arguments.insert(arguments.end(), {"-G", "job"});
    const ProgramResult result = RunTolvane(dir_.Path(), arguments);
    EXPECT_EQ(dir_.ReadFile("out"), c.record) << result.out << result.err;
    EXPECT_EQ(result.err.find("by the fields of the copybook"), std::string::npos) << result.err;
  }
  dir_.WriteFile("in", Pack(SdfLabel(3, 1) + Image(Words(3, 0)) + Words{kEndOfFile}));
  EXPECT_NE(RunTolvane(dir_.Path(), {"-G", "job"})
                .err.find("WARNING: The SDF records become 12 bytes long by the fields of the "
                          "copybook, not 4.\n"),
            std::string::npos);
}

TEST_F(WordData, ConditionsChooseFieldsByConvertedValues) {
  const char kLayouts[] =
      "       01  REC.\n"
      "           05  KIND     PIC S9(2) COMP.\n"
      "           05  TEXT-A   PIC X(3).\n"
      "           05  NUMBERS REDEFINES TEXT-A.\n"
      "               10  SIGNED-N PIC S9(3).\n"
      "       ID IS KIND = -1 USE NUMBERS.\n";
  const Words data = SdfLabel(1, 2) + Image({Quarters(0776, '1', '2', 'L')}) +
                     Image({Quarters(2, '1', '2', 'L')}) + Words{kEndOfFile};
  dir_.WriteFile("in", Pack(data));
  const ProgramResult result = Run(Restore("SDF", "ZORVA FILE IS SEQUENTIAL\n"), "", kLayouts);
  EXPECT_EQ(dir_.ReadFile("out"), FromHex("FFFF") + "12s" + FromHex("0002") + "12L")
      << result.out << result.err;
}

TEST_F(WordData, AShorterLayoutIsFilledWithBlanks) {
  const char kLayouts[] =
      "       01  REC.\n"
      "           05  KIND     PIC X.\n"
      "           05  LONG.\n"
      "               10  N    PIC S9(5) COMP.\n"
      "               10  U    PIC X.\n"
      "           05  SHORT REDEFINES LONG.\n"
      "               10  V    PIC X(3).\n"
      "           05  REST     PIC X(4).\n"
      "       ID IS KIND = \"A\" USE LONG.\n"
      "       ID IS KIND = \"B\" USE SHORT.\n";
  const Words data = SdfLabel(2, 2) + Image({Quarters('A', 0, 77, 'u'), Characters("wxyz")}) +
                     Image({Characters("Babc"), Characters("wxyz")}) + Words{kEndOfFile};
  dir_.WriteFile("in", Pack(data));
  const ProgramResult result = Run(Restore("SDF", "ZORVA FILE IS SEQUENTIAL\n"), "", kLayouts);
  EXPECT_EQ(dir_.ReadFile("out"), "A" + FromHex("0000004D") + "uwxyz" + "Babc  wxyz")
      << result.out << result.err;
}

TEST_F(WordData, DatesAreWidenedAndAnalysedInConvertedRecords) {
  const char kDates[] =
      "       01  REC.\n"
      "           05  N      PIC S9(2) COMP.\n"
      "           05  BORN   PIC 9(6).\n"
      "           05  X      PIC X(1).\n";
  const Words data = SdfLabel(2, 1) +
                     Image({Quarters(1, '6', '1', '0'), Quarters('2', '2', '8', '!')}) +
                     Words{kEndOfFile};
  dir_.WriteFile("in", Pack(data));
  const ProgramResult widened =
      Run(Restore("SDF",
                  "ZORVA FILE IS SEQUENTIAL\nDATE IS BORN FORMAT YYMMDD IF YY < 50 THEN CC = 20 "
                  "ELSE CC = 19\n"),
          "", kDates);
  EXPECT_EQ(dir_.ReadFile("out"), FromHex("0001") + "19610228!") << widened.out << widened.err;
  const ProgramResult analysed =
      Run("ANALYZE\nAUTOMATIC ANSWER\nCOMPILER IS MF\nBACKUP FILE IS SDF\nINPUT FILE IS in\n", "",
          kDates);
  EXPECT_NE(dir_.ReadFile("in.Y2KRPT").find("BORN 000002 000006 0000610228 0000610228"),
            std::string::npos)
      << analysed.out << analysed.err;
}

TEST_F(WordData, TheOutputIsNamedLikeTheVolume) {
  dir_.WriteFile("in", Volume(1));
  const std::string job =
      "RESTORE\nCREATE\nAUTOMATIC ANSWER\nCOMPILER IS MF\nBACKUP FILE IS COPYG\n"
      "INPUT FILE IS in\nZORVA FILE IS SEQUENTIAL\n";
  (void)Run(job);
  EXPECT_EQ(dir_.ReadFile("accounts/daily-1"), Restored(0));
  dir_.WriteFile("job", job + "COPYBOOK IS\n" + kCopybook);
  (void)RunProgram(BuiltProgram("tolvane"),
                   {.arguments = {"-G", "job"},
                    .environment = {{"ZORHOMEDATA", dir_.Path("accounts")}},
                    .directory = dir_.Path()});
  EXPECT_EQ(dir_.ReadFile("accounts/accounts/daily-1"), Restored(0));
  const ProgramResult unset = RunProgram(
      BuiltProgram("tolvane"),
      {.arguments = {"-G", "job"}, .environment = {{"ZORHOMEDATA", ""}}, .directory = dir_.Path()});
  EXPECT_NE(unset.out.find("Restoring accounts/daily-1 from in.\n"), std::string::npos)
      << unset.out;
}

TEST_F(WordData, PrintFilesBecomeLines) {
  Words data(21, 0);
  data[0] = Octal("502425000001");  // "*OP": a label of 20 more words
  data = data + Image({Characters("ONE "), Characters("TWO ")}) + Words{Octal("600000000002")} +
         Image({Characters("LINE")}) + Words{kContinued} + Image({Characters("S   ")}) +
         Words{Octal("600000000000")} + Image({Characters("PAGE")}) + Words{kEndOfFile};
  dir_.WriteFile("in", Pack(data));
  const ProgramResult result = Run(Restore("SDF"), "", "");
  EXPECT_EQ(dir_.ReadFile("out"), "ONE TWO\n\n\nLINES\n\fPAGE\n") << result.out << result.err;
  EXPECT_NE(result.out.find("Processing an SDF print file.\n"), std::string::npos);
  EXPECT_EQ(result.err, "");

  data.pop_back();
  dir_.WriteFile("in", Pack(CopygHeader("Q", "F")) + CopygBlocks(data));
  const ProgramResult filled = Run(Restore("COPYG"), "", "");
  EXPECT_EQ(dir_.ReadFile("out"), "ONE TWO\n\n\nLINES\n\fPAGE\n");
  EXPECT_NE(filled.err.find("WARNING: 'in' ends without an end-of-file image.\n"),
            std::string::npos);
}

// An element of a type with its text, filled up to whole records of 40 words.
Words Element(const char* name, unsigned type, unsigned characters, const Words& text) {
  Words words(40, 0);
  words[0] = Fieldata("**EF**");
  words[1] = Fieldata(name);
  words[2] = words[3] = words[4] = Fieldata("      ");
  words[5] = std::uint64_t{type} << 30 | characters;
  words[6] = text.size();
  words = words + text;
  words.resize((words.size() + 39) / 40 * 40, 0);
  return words;
}

TEST_F(WordData, SymbolicElementsBecomeFiles) {
  const Words text = Image({Fieldata("MOVE A"), Fieldata("      ")}) + Words{kEndOfFile};
  const Words nine_bit = Image({Characters("stop")}) + Words{kEndOfFile};
  const Words beyond = Words{std::uint64_t{300} << 24, 0};
  const Words twice = nine_bit + nine_bit;
  dir_.WriteFile("in", Pack(Element("FIRST ", 1, 0, text) + Element("CODE  ", 5, 0, Words(90, 7)) +
                            Element("CUT   ", 1, 1, beyond) + Element("SECOND", 1, 1, nine_bit) +
                            Element("FIRST ", 1, 1, twice) + Element("EMPTY ", 1, 1, {})));
  const ProgramResult result =
      Run("RESTORE\nAUTOMATIC ANSWER\nBACKUP FILE IS COPOUT\nINPUT FILE IS in\n"
          "OUTPUT FILE IS texts/x\n",
          "", "");
  EXPECT_EQ(dir_.ReadFile("texts/first"), "MOVE A\n") << result.out << result.err;
  EXPECT_EQ(dir_.ReadFile("texts/second"), "stop\n");
  EXPECT_EQ(dir_.ReadFile("texts/first~2"), "stop\n");
  EXPECT_EQ(result.err,
            "\nWARNING: Element 'CODE' (RELocatable) is skipped: its type can not be restored.\n"
            "\nERROR: An image of 300 words in block 1 of 'in' runs past the end of its element.\n"
            "\nWARNING: Element 'CUT' (SYMbolic) is skipped: its text is damaged.\n"
            "\nWARNING: Element 'FIRST' goes on behind the end-of-file image of its text; that is "
            "dropped.\n"
            "\nWARNING: There is more than one element 'first'; this one becomes 'texts/first~2'.\n"
            "\nWARNING: Input file 'in' was not read to its end; see the message above.\n");
  EXPECT_FALSE(dir_.Exists("texts/code"));
  EXPECT_FALSE(dir_.Exists("texts/cut"));
  EXPECT_NE(result.out.find("Creating  texts/first\n"), std::string::npos);
  EXPECT_NE(result.out.find("Total SYMbolic elements processed:    4\n"
                            "Total SYMbolic elements skipped:    1\n"
                            "Total RELocatable elements skipped:    1\n"),
            std::string::npos)
      << result.out;
}

TEST_F(WordData, DamageIsNamed) {
  const std::string good = Volume(1000);
  const auto with_byte = [&good](std::size_t at) {
    std::string bad = good;
    bad[at] = static_cast<char>(bad[at] ^ 1);
    return bad;
  };
  Words too_long = SdfLabel(5, 1) + Image(Words(6, 0));
  Words joined = SdfLabel(5, 1) + Image(Words(3, 0)) + Words{kContinued} + Image(Words(2047, 0));
  const struct {
    const char* form;
    std::string volume;
    std::string message;  // on the error stream
    int records;          // written; -1: the file is refused
  } cases[] = {
      {"COPYG", with_byte(126 + 8073 + 4000), "WARNING: Block 2 of 'in' has the checksum ", 1000},
      {"COPYG", with_byte(1), "ERROR: COPYG format expected; NOT FOUND\n", -1},
      {"COPYG", "", "", -1},
      {"COPYG", good.substr(0, 125), "ERROR: COPYG format expected; NOT FOUND\n", -1},
      {"COPYG", good.substr(0, 126), "ERROR: 'in' ends inside its label.\n", -1},
      {"COPYG", good.substr(0, 130), "ERROR: Non PCIOS file encountered.", -1},
      {"COPYG", good.substr(0, 200), "ERROR: 'in' ends inside its label.\n", -1},
      {"COPYG", good.substr(0, 126 + 8073 + 500),
       "WARNING: 'in' ends inside block 2: 500 of 8073 bytes.\n", 267},
      {"SDF", Pack(SdfLabel(5, 1, "503335000002")),
       "does not contain ASCII/ISO 9-bit characters (type 2)", -1},
      {"SDF", Pack(SdfLabel(5, 0)), "WARNING: Number of records is : (0)\n", -1},
      {"SDF", Pack(SdfLabel(5, 3) + Image(Record(0)) + Words{kEndOfFile}),
       "ERROR: 'in' ends after 1 of the 3 records that its label tells.\n\nERROR: Converting SDF "
       "record\n",
       1},
      {"SDF", Pack(SdfLabel(5, 1) + Image(Record(0)) + Image(Record(1)) + Words{kEndOfFile}),
       "WARNING: 'in' holds more records than the 1 that its label tells.\n", 1},
      {"SDF", Pack(too_long),
       "ERROR: A record in block 1 of 'in' has 6 words or more; the most is 5.\n", 0},
      {"SDF", Pack(joined), "has 2050 words or more; the most is 5.\n", 0},
      {"SDF", Pack(SdfLabel(5, 1) + Words{std::uint64_t{5} << 24, 0}),
       "ERROR: 'in' ends inside an image of 5 words (block 1).\n", 0},
      {"SDF", Pack(SdfLabel(0777777, 0377777777777)),
       "ERROR: 'in' ends after 0 of the 34359738367 records", 0},
      {"SDF", "short", "ERROR: Non PCIOS file encountered.", -1},
      {"COPOUT", Pack(Words(40, 1)), "ERROR: Element file NOT found, can not continue!\n", -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    dir_.WriteFile("in", c.volume);
    const ProgramResult result = Run(Restore(c.form, "ZORVA FILE IS SEQUENTIAL\n"));
    EXPECT_NE(result.err.find(c.message), std::string::npos) << result.out << result.err;
    const std::string total =
        "TOTAL records written to output file   : " + std::to_string(c.records) + "\n";
    EXPECT_EQ(result.out.find(total) != std::string::npos, c.records >= 0)
        << result.out << result.err;
    EXPECT_FALSE(result.timed_out);
  }
  dir_.WriteFile("in", good);
  EXPECT_NE(Run(Restore("COPYG", "ZORVA FILE IS SEQUENTIAL\nEXPLODE SIGN LEADING\n"))
                .err.find("ERROR: EXPLODE can not be applied to 36-bit data"),
            std::string::npos);
}

TEST_F(WordData, AShortBlockOfATapeEndsIt) {
  const auto block = [](const std::string& data) {
    std::string length(4, '\0');
    length[0] = static_cast<char>(data.size());
    length[1] = static_cast<char>(data.size() >> 8);
    return length + data + (data.size() % 2 != 0 ? std::string(1, '\0') : "") + length;
  };
  const std::string volume = Volume(1000), mark(4, '\0');
  const std::size_t size = 8073;
  // As a tape whose first block has `header` bytes and whose second one lacks its first `missing`.
  const auto restore = [&](std::size_t header, std::size_t missing) {
    std::string tape =
        block(volume.substr(0, header)) + block(volume.substr(header + missing, size - missing));
    for (std::size_t at = header + size; at < volume.size(); at += size)
      tape += block(volume.substr(at, size));
    dir_.WriteFile("t.tap", tape + mark + mark);
    dir_.WriteFile("job",
                   "RESTORE\nCREATE\nAUTOMATIC ANSWER\nBACKUP FILE IS COPYG\n"
                   "INPUT FILE IS tap:t.tap\nOUTPUT FILE IS out\nZORVA FILE IS SEQUENTIAL\n");
    return RunTolvane(dir_.Path(), {"-G", "job"});
  };
  EXPECT_NE(restore(126, 9).err.find("ERROR: Block 2 of 'tap:t.tap' has 8064 bytes and is not the "
                                     "last; whole ones have 8073.\n"),
            std::string::npos);
  EXPECT_NE(restore(100, 0).err.find("ERROR: Block 1 of 'tap:t.tap' has 100 bytes; the header of a "
                                     "COPYG volume has 126 or 135.\n"),
            std::string::npos);
  for (const std::size_t header : {126U, 135U}) {
    const ProgramResult whole = restore(header, 0);
    EXPECT_EQ(whole.err.find("ERROR"), std::string::npos) << whole.err;
    EXPECT_NE(whole.out.find("written to output file   : 1000\n"), std::string::npos) << whole.out;
  }
}

TEST_F(WordData, BackupsThatCanNotBeAreRefused) {
  dir_.WriteFile("out", RestoredRecords(2));
  const std::string backup =
      "BACKUP\nRECORD SIZE IS 24\nZORVA FILE IS SEQUENTIAL\nCOMPILER IS MF\nAUTOMATIC ANSWER\n"
      "INPUT FILE IS out\nOUTPUT FILE IS back\n";
  std::string big = RestoredRecords(1);
  big[4] = 0x7F;  // SMALL: 32,513 and more
  const struct {
    std::string statements, message;
  } cases[] = {
      {"BACKUP FILE IS SDF\n", "ERROR: Only ASCII values converted with the sdf option\n"},
      {"BACKUP FILE IS COPYG\nTRANSLATE TO EBCDIC\n",
       "ERROR: Only ASCII values converted with the sdf option\n"},
      {"BACKUP FILE IS COPYG\n", "ERROR: HDR-File open failed.....\n"},
  };
  for (const auto& c : cases) {
    const ProgramResult result = Run(backup + c.statements);
    EXPECT_NE(result.err.find(c.message), std::string::npos) << result.out << result.err;
    EXPECT_NE(result.out.find("Backup NOT successful\n"), std::string::npos);
    EXPECT_FALSE(dir_.Exists("back"));
  }
  dir_.WriteFile("back.hdr", HeaderFile(2).substr(0, 6 * 49));
  EXPECT_NE(Run(backup + "BACKUP FILE IS COPYG\n").err.find("48 octal numbers"), std::string::npos);
  std::string misprinted = HeaderFile(2);
  misprinted[49 + 6 + 5] = '9';
  dir_.WriteFile("back.hdr", misprinted);
  EXPECT_NE(Run(backup + "BACKUP FILE IS COPYG\n").err.find("Line 2 of header file 'back.hdr': '"),
            std::string::npos);
  dir_.WriteFile("back.hdr", HeaderFile(1).substr(0, 14 * 49 + 4 * 6));  // what counts of it
  EXPECT_NE(Run(backup + "BACKUP FILE IS COPYG\n")
                .err.find("tells 1 records of 5 words; 2 of 5 words were written"),
            std::string::npos);
  dir_.WriteFile("out", big);
  EXPECT_NE(
      Run(backup + "BACKUP FILE IS COPYG\n")
          .err.find("ERROR: Record 1: the value of 'SMALL' does not fit its 1 quarter-words."),
      std::string::npos);
}

// Characters of 9 bits, eight in 9 bytes.
std::string Packed(const std::string& text) {
  std::string bytes(text.size() / 8 * 9, '\0');
  for (std::size_t i = 0; i < text.size() * 9; ++i)
    if (i % 9 > 0 && (static_cast<unsigned char>(text[i / 9]) >> (8 - i % 9) & 1) != 0)
      bytes[i / 8] = static_cast<char>(bytes[i / 8] | 0x80 >> i % 8);
  return bytes;
}

TEST(NineBitCharacters, BecomeBytesAndPrintText) {
  const TempDir dir;
  dir.WriteFile("in", Packed("ABCDEFGHabcdef\xC1\xC2"));
  (void)RunTolvane(dir.Path(), {"-8", "-fiin", "-foout"});
  EXPECT_EQ(dir.ReadFile("out"), "ABCDEFGHabcdef\xC1\xC2");
  // A page, a line feed of four characters, four that go, and a control character alone.
  const std::string header(316, 'x');
  dir.WriteFile("print", Packed(header + "L,1.one\x01-1Atwo"
                                         "H-1A end\x02"
                                         "five."));
  (void)RunTolvane(dir.Path(), {"-8", "-Y", "-fiprint", "-foprinted"});
  std::string expected = std::string(1, '\0') + "one\ntwo end five.";
  expected.resize(344, ' ');
  EXPECT_EQ(dir.ReadFile("printed"), expected);
}

}  // namespace
}  // namespace tolvane::test
