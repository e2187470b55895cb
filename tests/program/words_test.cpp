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

  dir_.WriteFile("back.hdr", HeaderFile(kCount));
  const ProgramResult backed_up =
      Run("BACKUP\nRECORD SIZE IS 24\nZORVA FILE IS SEQUENTIAL\nCOMPILER IS MF\n"
          "AUTOMATIC ANSWER\nBACKUP FILE IS COPYG\nINPUT FILE IS out\nOUTPUT FILE IS back\n");
  EXPECT_TRUE(dir_.ReadFile("back") == volume) << backed_up.out << backed_up.err;
  EXPECT_NE(backed_up.out.find("OPENING back.hdr\n"), std::string::npos);
  EXPECT_EQ(backed_up.err, "");
}

}  // namespace
}  // namespace tolvane::test
