// Restores into flat files through the whole program: output bytes, messages, prompts.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/program.h"
#include "support/temp_dir.h"

namespace tolvane::test {
namespace {

// "ABC" and a packed 123-, "DEF" and a packed 45+, EBCDIC.
const char kTwoRecords[] = "C1C2C3 123D C4C5C6 045C";

class RestoreFlat : public ::testing::Test {
 protected:
  ProgramResult Run(std::vector<std::string> arguments, const std::string& typed = "") {
    return RunTolvane(dir_.Path(), std::move(arguments), typed);
  }
  static std::string Totals(int read, int written) {
    const std::string rule = "------------------------------------------\n";
    return "\n" + rule + "TOTAL records read from input file     : " + std::to_string(read) +
           "\nTOTAL records written to output file   : " + std::to_string(written) + "\n" + rule;
  }
  TempDir dir_;
};

TEST_F(RestoreFlat, SequentialAndRelativeBytes) {
  dir_.WriteFile("in", FromHex(kTwoRecords));
  const ProgramResult sequential = Run({"-r", "-c", "-q", "-e", "-s5", "-P3:2", "-fiin", "-foseq"});
  EXPECT_EQ(ToHex(dir_.ReadFile("seq")), ToHex(FromHex("414243 123D 444546 045C")));
  EXPECT_NE(sequential.out.find("File 'seq' has been created.\nRestoring seq from in.\n"
                                "==== block size: 50  input record size: 5 ====\n"),
            std::string::npos);
  EXPECT_NE(sequential.out.find(Totals(2, 2)), std::string::npos) << sequential.out;
  EXPECT_EQ(sequential.err, "");

  Run({"-r", "-c", "-j", "-e", "-s5", "-P3:2", "-fiin", "-forel"});
  EXPECT_EQ(ToHex(dir_.ReadFile("rel")), ToHex(FromHex("414243 123D 0A 444546 045C 0A")));

  // Records of a relative file have one size, whatever they had on the volume.
  dir_.WriteFile("blocks", FromHex("0014 0000 0006 0000 C1C2 0005 0000 C3 0005 0000 C4"));
  dir_.WriteFile("v.gra", "RESTORE CREATE ZORVA FILE RELATIVE TRANSLATE ASCII RECORD SIZE V\n");
  Run({"-G", "v.gra", "-fiblocks", "-forelv"}, "4\n");
  EXPECT_EQ(dir_.ReadFile("relv"), "AB  \nC   \nD   \n");

  Run({"-r", "-c", "-q", "-s5", "-fiin", "-foraw"});
  EXPECT_EQ(dir_.ReadFile("raw"), FromHex(kTwoRecords));
}

TEST_F(RestoreFlat, SkipAndStopCountRecords) {
  dir_.WriteFile("in", "0011223344556677");
  Run({"-r", "-c", "-j", "-s2", "-y", "2", "-z", "3", "-fiin", "-foout"});
  EXPECT_EQ(dir_.ReadFile("out"), "22\n33\n44\n");
  const ProgramResult beyond = Run({"-r", "-c", "-j", "-s2", "-y", "-1", "-fiin", "-fonone"});
  EXPECT_EQ(dir_.ReadFile("none"), "");
  EXPECT_NE(beyond.out.find(Totals(0, 0)), std::string::npos);
}

TEST_F(RestoreFlat, TextBackupsBecomePaddedRecords) {
  dir_.WriteFile("in", "one\ntwo and more\n\n");
  Run({"-r", "-c", "-j", "-u", "-s5", "-fiin", "-foout"});
  EXPECT_EQ(dir_.ReadFile("out"), "one  \ntwo a\nnd mo\nre   \n     \n");
}

TEST_F(RestoreFlat, AShortLastRecordIsFilledAndReported) {
  dir_.WriteFile("in", FromHex("C1C2C3C4 C5C6"));
  const ProgramResult result = Run({"-r", "-c", "-j", "-e", "-s4", "-fiin", "-foout"});
  EXPECT_EQ(dir_.ReadFile("out"), "ABCD\nEF  \n");
  EXPECT_NE(result.out.find("Input file size not multiple of Copy Book size: 4\n"),
            std::string::npos);
  EXPECT_EQ(result.err, "\nWARNING: 'in' ends inside record 2: 2 of 4 bytes.\n");
}

TEST_F(RestoreFlat, BinaryDataStopsWithAReport) {
  dir_.WriteFile("in", FromHex("C1C2 C3C4 C501 C6C7"));
  const ProgramResult result = Run({"-r", "-c", "-q", "-e", "-s2", "-fiin", "-foout"});
  EXPECT_EQ(dir_.ReadFile("out"), "ABCD");
  EXPECT_EQ(dir_.ReadFile("out.rpt"), "Binary sensitive data: record 3, offset 1, hex value 01\n");
  EXPECT_NE(result.out.find("\nBinary data in output file, see 'out.rpt'\n\n"), std::string::npos);
  EXPECT_NE(result.out.find(Totals(3, 2)), std::string::npos);
}

TEST_F(RestoreFlat, ConditionsOfOptionsCompareBeforeTranslation) {
  dir_.WriteFile("in", FromHex("C1 C1 C2 C1"));
  Run({"-r", "-c", "-q", "-e", "-s2", "-I0EQA", "-B1:1", "-fiin", "-foout"});
  EXPECT_EQ(ToHex(dir_.ReadFile("out")), "41 C1 42 41");
}

TEST_F(RestoreFlat, ExistingFilesAreAskedAbout) {
  dir_.WriteFile("in", "newdata");
  dir_.WriteFile("out", "old");
  const std::vector<std::string> arguments{"-r", "-c", "-q", "-s7", "-fiin", "-foout"};
  const ProgramResult cancelled = Run(arguments, "c\n");
  EXPECT_EQ(cancelled.err, "\nWARNING: 'out' already exists.\n");
  EXPECT_NE(cancelled.out.find("To Merge these two files, see documentation.\n"
                               "Overwrite or Cancel (O,C) ?>Failed creating output file\n"
                               "PrepareRestoreOper NOT successful\n"),
            std::string::npos);
  EXPECT_EQ(dir_.ReadFile("out"), "old");
  Run(arguments);  // end of input cancels too
  EXPECT_EQ(dir_.ReadFile("out"), "old");
  Run(arguments, "O\n");
  EXPECT_EQ(dir_.ReadFile("out"), "newdata");
  const ProgramResult onto_itself = Run({"-r", "-c", "-q", "-s7", "-fiin", "-foin"}, "O\n");
  EXPECT_EQ(onto_itself.err, "\nERROR: Input and output are the same file: 'in'\n");
  EXPECT_EQ(dir_.ReadFile("in"), "newdata");
}

TEST_F(RestoreFlat, TheInputIsSafeFromTheOutputAndItsReports) {
  dir_.WriteFile("out.rpt", FromHex("01"));
  const ProgramResult report = Run({"-r", "-q", "-e", "-s1", "-fiout.rpt", "-foout"});
  EXPECT_EQ(report.err, "\nERROR: Input and output are the same file: 'out.rpt'\n");
  dir_.WriteFile("in", "abcd");
  const ProgramResult typed = Run({"-r", "-c", "-q", "-s2", "-fiin"}, "in\nO\n");
  EXPECT_EQ(typed.err, "\nERROR: Input and output are the same file: 'in'\n");
  const ProgramResult image = Run({"-b", "-q", "-s2", "-fiin", "-fotap:in"});
  EXPECT_EQ(image.err, "\nERROR: Input and output are the same file: 'in'\n");
  const ProgramResult nine = Run({"-8", "-fiin", "-foin"});
  EXPECT_EQ(nine.err, "\nERROR: Input and output are the same file: 'in'\n");
  const ProgramResult deleted = Run({"-d", "-r", "-c", "-q", "-s2", "-fiin", "-fo./in"});
  EXPECT_EQ(deleted.err, "\nERROR: Input and output are the same file: './in'\n");
  EXPECT_EQ(dir_.ReadFile("in"), "abcd");

  // A volume that only the environment names is protected too.
  const std::vector<std::string> unnamed[] = {{"-b", "-q", "-s2", "-fiin", "-fo"},
                                              {"-b", "-q", "-s2", "-fiin", "-fo x"},
                                              {"-r", "-q", "-s2", "-fi ", "-foin"},
                                              {"-d", "-c", "-r", "-q", "-s2", "-fi", "-foin"}};
  ProgramRun run{.environment = {{"ZORTAPE", "in"}, {"ZORTAPENRWD", "in"}},
                 .directory = dir_.Path()};
  for (const auto& arguments : unnamed) {
    run.arguments = arguments;
    EXPECT_EQ(RunProgram(BuiltProgram("tolvane"), run).err,
              "\nERROR: Input and output are the same file: 'in'\n");
    EXPECT_EQ(dir_.ReadFile("in"), "abcd");
  }

  // Nor do copybook and mask file get in each other's way, or in the input's.
  const std::string copybook = "       01 R.\n           05 A PIC XX.\n";
  dir_.WriteFile("c.cpy", copybook);
  for (const char* victim : {"in", "c.cpy"}) {
    const std::string said = std::string("\nERROR: Input and output are the same file: '") + victim;
    EXPECT_EQ(Run({"-r", "-c", "-q", "-s2", "-MF", "-Cc.cpy", std::string("-F") + victim, "-fiin",
                   "-foo"})
                  .err,
              said + "'\n");
  }
  const ProgramResult over_copybook =
      Run({"-r", "-c", "-q", "-s2", "-MF", "-Cc.cpy", "-fiin", "-foc.cpy"}, "o\n");
  EXPECT_EQ(over_copybook.err, "\nERROR: Input and output are the same file: 'c.cpy'\n");
  EXPECT_EQ(dir_.ReadFile("in") + dir_.ReadFile("c.cpy"), "abcd" + copybook);
}

TEST_F(RestoreFlat, APathIsCutOnlyWhereFilesAreCreated) {
  dir_.WriteFile("in", "01234");
  dir_.WriteFile("se", "precious");
  dir_.WriteFile("se q", "old");
  EXPECT_EQ(Run({"-r", "-q", "-s5", "-fiin", "-fo" + dir_.Path("se q")}).err, "");
  EXPECT_EQ(dir_.ReadFile("se q"), "01234");
  EXPECT_EQ(dir_.ReadFile("se"), "precious");
  const ProgramResult created = Run({"-r", "-c", "-q", "-s5", "-fiin", "-fo" + dir_.Path("new q")});
  EXPECT_TRUE(Has(created.err, "new q' ends at its first blank: '" + dir_.Path("new") + "'."));
  EXPECT_EQ(dir_.ReadFile("new"), "01234");
}

TEST_F(RestoreFlat, ClosedStandardStreamsDoNotBecomeDataFiles) {
  dir_.WriteFile("in", std::string(100, 'o'));
  dir_.WriteFile("out", "old");
  ProgramRun run{.arguments = {"-r", "-c", "-q", "-s10", "-fiin", "-foout"},
                 .directory = dir_.Path(),
                 .closed_input = true};
  const ProgramResult result = RunProgram(BuiltProgram("tolvane"), run);
  EXPECT_EQ(dir_.ReadFile("out"), "old") << "the question must not be answered by the data";
  EXPECT_EQ(result.status, 0);
}

TEST_F(RestoreFlat, MissingDirectoriesAreMade) {
  dir_.WriteFile("in", "x");
  const ProgramResult quit = Run({"-r", "-c", "-q", "-s1", "-fiin", "-fosub/out"}, "q\n");
  EXPECT_NE(quit.out.find("\nDirectory for 'sub/out' does not exist\nCreate, Quit (C,Q) ?>"),
            std::string::npos);
  EXPECT_FALSE(dir_.Exists("sub"));
  const ProgramResult made = Run({"-r", "-c", "-q", "-s1", "-fiin", "-fosub/out"}, "c\n");
  EXPECT_NE(made.out.find("New directory created sub\nFile 'sub/out' has been created.\n"),
            std::string::npos);
  EXPECT_EQ(dir_.ReadFile("sub/out"), "x");
}

TEST_F(RestoreFlat, NamesAndSizesThatAreMissingAreAskedFor) {
  dir_.WriteFile("in", "abcdef");
  const ProgramResult named = Run({"-r", "-c", "-q", "-fiin"}, "nan\n\n3\nout\n");
  EXPECT_NE(named.out.find("Our record size is 0\nPlease enter the actual record size\n?>"
                           "Enter the name of the Zorva file to be restored\n?> "),
            std::string::npos)
      << named.out;
  EXPECT_EQ(named.err,
            "\nERROR: Invalid number entered. Please enter a valid number or q to quit.\n");
  EXPECT_EQ(dir_.ReadFile("out"), "abcdef");
  const ProgramResult created = Run({"-c", "-q", "-fonew"}, "q\n");
  EXPECT_NE(created.out.find("Please enter the record size\n?>"), std::string::npos);
  EXPECT_FALSE(dir_.Exists("new"));
}

TEST_F(RestoreFlat, InputsThatCannotBeReadAreNamed) {
  dir_.WriteFile("empty", "");
  const struct {
    const char* input;
    const char* error;
  } cases[] = {
      {"missing", "\nERROR: Opening Input File 'missing': No such file or directory\n"},
      {".", "\nERROR: Opening Input File '.': Is a directory\n"},
      {"empty", ""},
  };
  for (const auto& c : cases) {
    const ProgramResult result = Run({"-r", "-q", "-s5", "-fi" + std::string(c.input), "-foout"});
    EXPECT_EQ(result.err, c.error);
    EXPECT_FALSE(dir_.Exists("out"));
  }
  const ProgramResult empty = Run({"-r", "-c", "-q", "-s5", "-fiempty", "-foout"});
  EXPECT_NE(empty.out.find("File 'out' has been created.\n"
                           "Input File: 'empty' appears to be empty.\n"),
            std::string::npos);
  EXPECT_EQ(dir_.ReadFile("out"), "");
}

TEST_F(RestoreFlat, OutputsThatCannotBeWrittenAreNamed) {
  dir_.WriteFile("in", "aabbcc");
  const ProgramResult directory = Run({"-r", "-q", "-s2", "-fiin", "-fo."});
  EXPECT_EQ(directory.err, "\nERROR: Error 21 on file .\n");
  const ProgramResult full = Run({"-r", "-q", "-s2", "-fiin", "-fo/dev/full"});
  EXPECT_EQ(full.err,
            "\nERROR: Record 1 could not be written; the run goes on with the next one.\n"
            "\nERROR: Error 28 on file /dev/full\n"
            "\nERROR: Records 1 to 3 could not be written.\n");
  EXPECT_NE(full.out.find("TOTAL records that could not be written: 3\n"), std::string::npos);
}

TEST_F(RestoreFlat, SizesOfAnyMagnitudeEndInMessages) {
  dir_.WriteFile("in", "abc");
  for (const char* size : {"-s0", "-s-5"}) {
    const ProgramResult result = Run({"-r", "-c", "-q", size, "-fiin", "-foout"}, "q\n");
    EXPECT_NE(result.out.find("Please enter the actual record size\n?>"), std::string::npos);
    EXPECT_FALSE(dir_.Exists("out"));
  }
  const ProgramResult large_blocks =
      Run({"-r", "-c", "-q", "-s3", "-v2147483647", "-fiin", "-foout"});
  EXPECT_EQ(dir_.ReadFile("out"), "abc");
  const ProgramResult outside = Run({"-r", "-c", "-q", "-e", "-s3", "-B2:2", "-fiin", "-fonone"});
  EXPECT_EQ(outside.err,
            "\nERROR: Option -B2:2:1 lies beyond the 3 bytes of the records of 'in'\n");
  EXPECT_FALSE(dir_.Exists("none"));
}

// A restore from a pipe, fed record by record.
class RestorePipe : public RestoreFlat {
 protected:
  static constexpr std::size_t kRecord = 10;

  void Start() {
    const std::string fifo = dir_.Path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    child_ = fork();
    if (child_ == 0) {
      const int null = open("/dev/null", O_RDWR);
      const int log = open(dir_.Path("log").c_str(), O_WRONLY | O_CREAT, 0600);
      dup2(null, 0);
      dup2(log, 1);
      dup2(log, 2);
      signal(SIGINT, SIG_DFL);
      if (chdir(dir_.Path().c_str()) != 0) _exit(1);
      execl(BuiltProgram("tolvane").c_str(), "tolvane", "-r", "-q", "-Q", "-s10", "-fififo",
            "-foout", nullptr);
      _exit(1);
    }
    feed_ = open(fifo.c_str(), O_WRONLY);
    ASSERT_GE(feed_, 0);
  }
  // Sends a record and waits until the output has it.
  void SendRecord() {
    ++sent_;
    const std::string record(kRecord, static_cast<char>('a' + sent_ % 26));
    ASSERT_EQ(write(feed_, record.data(), kRecord), static_cast<ssize_t>(kRecord));
    struct stat status {};
    for (int wait = 0; wait < 2000 && Size(status) < sent_ * kRecord; ++wait) {
      usleep(5000);
      stat(dir_.Path("out").c_str(), &status);
    }
    ASSERT_EQ(Size(status), sent_ * kRecord);
  }
  // Sends half a record, then the signal; returns how the program ended.
  int EndBy(int signal) {
    EXPECT_EQ(write(feed_, "half", 4), 4);
    usleep(50000);
    kill(child_, signal);
    int status = 0;
    waitpid(child_, &status, 0);
    close(feed_);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  }

 private:
  static std::size_t Size(const struct stat& status) {
    return static_cast<std::size_t>(status.st_size);
  }
  pid_t child_ = -1;
  int feed_ = -1;
  std::size_t sent_ = 0;
};

TEST_F(RestorePipe, EveryRecordIsOutBeforeTheNextIsSent) {
  Start();
  for (int n = 0; n < 30; ++n) SendRecord();
  EXPECT_EQ(EndBy(SIGKILL), SIGKILL);
  EXPECT_EQ(dir_.ReadFile("out").size(), 30 * kRecord);
}

TEST_F(RestorePipe, ASignalEndsTheRunInOrder) {
  Start();
  for (int n = 0; n < 3; ++n) SendRecord();
  EXPECT_EQ(EndBy(SIGTERM), SIGTERM);
  EXPECT_EQ(dir_.ReadFile("out").size(), 3 * kRecord);
  EXPECT_NE(dir_.ReadFile("log").find("TOTAL records written to output file   : 3\n"
                                      "The run was interrupted by signal 15.\n"),
            std::string::npos)
      << dir_.ReadFile("log");
}

}  // namespace
}  // namespace tolvane::test
