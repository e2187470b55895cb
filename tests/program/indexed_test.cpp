// Indexed files through the whole program: created, filled, merged, backed up, shown, deleted and
// registered; what is in them is read through the engine.

#include <gtest/gtest.h>
#include <isam.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/program.h"
#include "support/temp_dir.h"

namespace tolvane::test {
namespace {

// Records of 6 bytes: a key of 2, a group of 1, a packed field of 3. In EBCDIC, not in key order.
const char kRecords[] = "F3F1 C2 12345C  F1F1 C1 00001D  F2F2 C2 99999C  F1F2 C1 00000C";
const char kConverted[] = "3331 42 12345C  3131 41 00001D  3232 42 99999C  3132 41 00000C";

class Indexed : public ::testing::Test {
 protected:
  void SetUp() override { dir_.WriteFile("in", FromHex(kRecords)); }
  ProgramResult Run(std::vector<std::string> arguments, const std::string& typed = "") {
    return RunTolvane(dir_.Path(), std::move(arguments), typed);
  }
  ProgramResult Restore(std::vector<std::string> more = {}, const std::string& typed = "") {
    std::vector<std::string> arguments{"-r",    "-c",      "-i",    "-e",    "-s6",
                                       "-P3:3", "-k1:0,2", "-fiin", "-foout"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(std::move(arguments), typed);
  }
  ProgramResult Check(const std::string& name) {
    return RunProgram(BuiltProgram("isamck"), {.arguments = {name}, .directory = dir_.Path()});
  }
  // All records in the order of an index, counted from 1, in hexadecimal.
  std::string Records(const std::string& name, int index = 1) {
    const int handle = isopen(dir_.Path(name).c_str(), ISINPUT);
    if (handle < 0) return "error " + std::to_string(iserrno);
    keydesc key{};
    dictinfo info{};
    std::string records, record(100, ' ');
    if (isindexinfo(handle, &key, index) == 0 && isindexinfo(handle, &info, 0) == 0 &&
        isstart(handle, &key, 0, record.data(), ISFIRST) == 0)
      while (isread(handle, record.data(), ISNEXT) == 0)
        records += record.substr(0, static_cast<std::size_t>(info.di_recsize));
    isclose(handle);
    return ToHex(records);
  }
  TempDir dir_;
};

TEST_F(Indexed, RestoreBuildsKeysAndLink) {
  const ProgramResult result = Restore({"-k2:2,1", "-k3:3,3"});
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(Records("out"), Hex("3131 41 00001D 3132 41 00000C 3232 42 99999C 3331 42 12345C"));
  EXPECT_EQ(Records("out", 2), Hex("3131 41 00001D 3132 41 00000C 3331 42 12345C 3232 42 99999C"));
  EXPECT_EQ(dir_.ReadFile("out").substr(0, 7), FromHex("3331 42 12345C 0A")) << "the link";
  EXPECT_TRUE(Has(result.out, "Load Data Time :   ")) << result.out;
  EXPECT_TRUE(Has(result.out,
                  "outfile: \"out\"\nAdding index for KEY2\nKEY2 index successfully "
                  "created\nAdding index for KEY3\n"));
  EXPECT_TRUE(Has(Check("out").out, "out: sound, 4 records"));
  const ProgramResult shown = Run({"-x", "-foout"});
  EXPECT_EQ(shown.out.substr(shown.out.find("FILE:")),
            "FILE:     out Record size: 6  Number recs: 4 \n"
            "              KEY1:0000,0002 \n"
            "              KEY2:0002,0001 Dups\n"
            "              KEY3:0003,0003 Dups\n\n\n");
}

TEST_F(Indexed, BackupsGiveTheInputBack) {
  Restore();
  dir_.WriteFile("sorted", FromHex("F1F1 C1 00001D F1F2 C1 00000C F2F2 C2 99999C F3F1 C2 12345C"));
  const ProgramResult plain = Run({"-b", "-i", "-t", "-P3:3", "-fiout", "-foback"});
  EXPECT_TRUE(Has(plain.out,
                  "Transferring out to back.\n==== block size: 6  input record size: 6 ===="
                  "\n\nStart Time     : "))
      << plain.out;
  EXPECT_TRUE(Has(plain.out, "TOTAL records written to backup file: 4\n"));
  EXPECT_EQ(dir_.ReadFile("back"), dir_.ReadFile("sorted"));
  const ProgramResult blocks = Run({"-b", "-i", "-t", "-P3:3", "-v100", "-fiout", "-foblocks"});
  EXPECT_TRUE(Has(blocks.out, "==== block size: 96  input record size: 6 ====")) << blocks.out;
  EXPECT_EQ(dir_.ReadFile("blocks"), dir_.ReadFile("sorted"));
  Run({"-b", "-i", "-t", "-P3:3", "-y1", "-z2", "-fiout", "-fosome"});
  EXPECT_EQ(dir_.ReadFile("some"), dir_.ReadFile("sorted").substr(6, 12));
  const ProgramResult heads = Run({"-b", "-i", "-s2", "-fiout", "-foheads"});
  EXPECT_TRUE(Has(heads.err, "have 6 bytes; the first 2 of each are backed up.\n")) << heads.err;
  EXPECT_EQ(dir_.ReadFile("heads"), "11122231");
  Run({"-b", "-i", "-u", "-fiout", "-fotext"});
  EXPECT_EQ(dir_.ReadFile("text").substr(0, 7), FromHex("3131 41 00001D 0A"));
}

TEST_F(Indexed, DuplicatesAreFiledOrMerged) {
  dir_.WriteFile("in", FromHex("F1F1 C1 00001D F1F1 C3 00002C F1F1 C4 00003C F5F5 C5 00004C"));
  const ProgramResult result = Restore();
  EXPECT_EQ(Records("out"), Hex("3131 41 00001D 3535 45 00004C"));
  EXPECT_EQ(dir_.ReadFile("out.dups"), FromHex("3131 43 00002C 0A 3131 44 00003C 0A"));
  EXPECT_TRUE(Has(result.out,
                  "\nDuplicate records are written to: 'out.dups'\n\n"
                  "Attempt to write duplicate record. Key:11\n"
                  "Attempt to write duplicate record. Key:11\n"))
      << result.out;
  dir_.WriteFile("in", FromHex("F1F1 C6 00006C F6F6 C6 00006C"));
  const ProgramResult merged = Restore({"-k2:2,1"}, "m\n");
  EXPECT_TRUE(Has(merged.out, "\n'out' exists; Overwrite, Merge, Cancel (O,M,C) ?>"));
  EXPECT_EQ(Records("out"), Hex("3131 46 00006C 3535 45 00004C 3636 46 00006C"));
  EXPECT_FALSE(Has(merged.out, "Adding index"));
  Restore({}, "c\n");
  EXPECT_EQ(Records("out"), Hex("3131 46 00006C 3535 45 00004C 3636 46 00006C"));
  Restore({}, "O\n");
  EXPECT_EQ(Records("out"), Hex("3131 46 00006C 3636 46 00006C"));
}

TEST_F(Indexed, AMergeFilesWhatAUniqueAlternateKeyRefuses) {
  dir_.WriteFile("in", FromHex("F1F1 C1 00001D F2F2 C2 00002C"));
  dir_.WriteFile("job",
                 "RESTORE CREATE INPUT in OUTPUT out RECORD SIZE IS 6\n"
                 "KEY1 IS 0,2 PRIME KEY2 IS 2,1 NODUPS\n");
  const ProgramResult made = Run({"-G", "job"});
  ASSERT_EQ(Records("out").size(), 2 * 6 * 3 - 1U) << made.out << made.err;
  dir_.WriteFile("in", FromHex("F9F9 C2 00003C"));
  const ProgramResult merged = Run({"-G", "job"}, "m\n");
  EXPECT_TRUE(Has(merged.out, "Duplicate records are written to: 'out.dups'")) << merged.out;
  EXPECT_EQ(dir_.ReadFile("out.dups").size(), 7U);
}

// What would read and write the same file is refused before anything is lost.
TEST_F(Indexed, NoFileIsReadAndWritten) {
  Restore();
  const std::string records = Records("out");
  const std::vector<std::vector<std::string>> runs{
      {"-b", "-i", "-t", "-fiout", "-foout.dat"},
      {"-b", "-i", "-t", "-fiout", "-foout.idx"},
      {"-b", "-i", "-t", "-fiout", "-foout"},
      {"-r", "-c", "-i", "-s6", "-k1:0,2", "-fiout.dat", "-foout"},
      {"-r", "-i", "-s6", "-fiout.idx", "-foout"}};
  for (const auto& arguments : runs) {
    const ProgramResult result = Run(arguments, "o\n");
    EXPECT_TRUE(Has(result.err, "Input and output are the same file: ")) << result.out;
    EXPECT_EQ(Records("out"), records);
  }
  // A link file leads to the same two files.
  dir_.WriteFile("link.lnk", "out");
  const std::string data = dir_.ReadFile("out.dat");
  for (const auto& arguments :
       std::vector<std::vector<std::string>>{{"-b", "-i", "-t", "-filink", "-foout.dat"},
                                             {"-r", "-i", "-s6", "-fiout.dat", "-folink"},
                                             {"-d", "-b", "-i", "-t", "-fiout", "-foout"}}) {
    EXPECT_TRUE(Has(Run(arguments).err, "Input and output are the same file: "));
    EXPECT_EQ(dir_.ReadFile("out.dat"), data);
  }
}

TEST_F(Indexed, ABackupThatFailsSaysWhere) {
  dir_.WriteFile("seq", FromHex("3131 3132 01 33"));
  const ProgramResult result = Run({"-b", "-q", "-t", "-s3", "-fiseq", "-fobackup"});
  EXPECT_TRUE(Has(result.err, "The backup stopped at record 2 of 'seq'")) << result.err;
  EXPECT_TRUE(Has(result.out, "Backup NOT successful\n"));
  EXPECT_FALSE(Has(result.out, "TOTAL")) << result.out;
}

TEST_F(Indexed, NoFlatFileTakesItsPlace) {
  Restore();
  const std::string records = Records("out");
  for (const auto& arguments :
       std::vector<std::vector<std::string>>{{"-r", "-c", "-q", "-s6", "-fiin", "-foout"},
                                             {"-r", "-Q", "-q", "-s6", "-fiin", "-foout"},
                                             {"-r", "-c", "-j", "-s6", "-fiin", "-foout.idx"},
                                             {"-b", "-q", "-s6", "-fiin", "-foout"},
                                             {"-b", "-q", "-s6", "-fiin", "-fotap:new,out.dat"}}) {
    const ProgramResult flat = Run(arguments, "o\n");
    EXPECT_TRUE(Has(flat.err, "is the data of an indexed file; ")) << flat.err;
    EXPECT_EQ(Records("out"), records);
  }
}

TEST_F(Indexed, CreationAsksForWhatIsMissing) {
  const ProgramResult asked = Run({"-c", "-i", "-fonew"}, "80\n3\n4\n0\n8\ny\n");
  EXPECT_TRUE(Has(asked.out,
                  "Please enter the record size\n?>How many keys in the data file?\n?>"
                  "Enter primary key location\n?>Enter primary key length\n?>"
                  "Enter primary key length\n?>Is it ok to create this file?  (Y/N)?> "
                  "File 'new' has been created.\n"))
      << asked.out;
  EXPECT_TRUE(Has(asked.err, "KEY length must be greater than zero\n"));
  EXPECT_EQ(dir_.ReadFile("new.idx").substr(13, 2), FromHex("0050"));
  const ProgramResult not_wanted = Run({"-c", "-i", "-s9", "-foother"}, "1\n0\n3\nn\n");
  EXPECT_TRUE(Has(not_wanted.out, "File 'other' was not created.\n")) << not_wanted.out;
  EXPECT_FALSE(dir_.Exists("other.idx"));
  const ProgramResult made = Run({"-c", "-i", "-s9", "-k1:0,3", "-fosub/f"}, "C\n");
  EXPECT_TRUE(Has(made.out, "New directory created sub\nFile 'sub/f' has been created.\n"));
  EXPECT_EQ(Records("sub/f"), "");
}

TEST_F(Indexed, BadFilesAndKeysAreNamed) {
  dir_.WriteFile("flat", "no index");
  const ProgramResult flat = Run({"-c", "-i", "-s9", "-k1:0,3", "-foflat"}, "O\n");
  EXPECT_TRUE(Has(flat.out, "'flat' is there, 'flat.idx' is missing. ")) << flat.out;
  EXPECT_EQ(dir_.ReadFile("flat"), "no index");
  Restore();
  dir_.SetByte("out.idx", 0, 0);
  EXPECT_TRUE(Has(Restore({}, "m\n").err, "Could not open file 'out'\n"));
  EXPECT_TRUE(Has(Run({"-x", "-foout"}).err, "Unable to open 'out' "));
  Restore({}, "o\n");  // a damaged file can be overwritten
  EXPECT_EQ(Records("out").size(), 4 * 6 * 3 - 1);
  for (const char* key : {"-k1:80,8", "-k1:0,151", "-k1:77,4"}) {
    const ProgramResult result = Run({"-c", "-i", "-s80", key, "-fobadkey"});
    EXPECT_TRUE(Has(result.err, "must lie inside the record of 80 bytes")) << key;
    EXPECT_FALSE(dir_.Exists("badkey.idx"));
  }
  const ProgramResult beyond = Restore({"-k2:2,5"}, "o\n");  // told before the load
  EXPECT_TRUE(Has(beyond.err, "Key 2 of 'out' (location 2, length 5) must lie inside"))
      << beyond.err;
  EXPECT_FALSE(Has(beyond.out, "TOTAL"));
  dir_.WriteFile("gap.gra", "AUTOMATIC ANSWER\n");
  const ProgramResult gap =
      Run({"-G", "gap.gra", "-r", "-c", "-i", "-s6", "-k1:0,2", "-k3:2,1", "-fiin", "-foout"});
  EXPECT_TRUE(Has(gap.err, "Unknown location for Key2 . Terminating.\n")) << gap.err;
  EXPECT_FALSE(Has(gap.out, "TOTAL"));
  const ProgramResult order = Restore({"-k3:2,1", "-k2:2,1"}, "o\n");
  EXPECT_TRUE(Has(order.err, "Key 3 is not made, as key 2 was given behind it")) << order.err;
  const ProgramResult longer = Run({"-r", "-i", "-e", "-s3", "-fiin", "-foout"});
  EXPECT_TRUE(Has(longer.err, "The records of 'out' have 6 bytes, those to restore 3\n"));
}

TEST_F(Indexed, ALockedFileIsLeftAlone) {
  Restore();
  const std::string before = Records("out");
  const int handle = isopen(dir_.Path("out").c_str(), ISINPUT | ISEXCLLOCK);
  ASSERT_GE(handle, 0);
  EXPECT_TRUE(Has(Restore({}, "o\n").err, "File locked:'out'\n"));
  EXPECT_TRUE(Has(Restore({}, "m\n").err, "File locked:'out'\n"));
  EXPECT_TRUE(Has(Run({"-d", "-i", "-foout"}).err, "File locked:'out'\n"));
  isclose(handle);
  EXPECT_EQ(Records("out"), before);
  const ProgramResult deleted = Run({"-d", "-i", "-foout"});
  EXPECT_TRUE(Has(deleted.out,
                  "Indexed file 'out' has been deleted.\n"
                  "Symbolic Link for file 'out' has been deleted.\n"));
  for (const char* name : {"out", "out.dat", "out.idx"}) EXPECT_FALSE(dir_.Exists(name)) << name;
}

TEST_F(Indexed, RegistrationFillsAndKeepsRecords) {
  const std::string root = dir_.Path("root");
  ASSERT_EQ(mkdir(root.c_str(), 0700), 0);
  ASSERT_EQ(mkdir((root + "/zorfiles").c_str(), 0700), 0);
  const auto run = [&](std::vector<std::string> arguments, const std::string& typed = "") {
    return RunProgram(BuiltProgram("tolvane"), {.arguments = std::move(arguments),
                                                .typed = typed,
                                                .environment = {{"ZORROOT", root}},
                                                .directory = dir_.Path()});
  };
  std::vector<std::string> add{"-r",      "-c",      "-i",    "-e",     "-s6",  "-P3:3",
                               "-k1:0,2", "-k2:2,1", "-fiin", "-foout", "-apay"};
  EXPECT_TRUE(Has(run(add).err, "Opening Zorva control file, error:2\n"));
  run({"-c", "-i", "-s512", "-k1:0,11", "-foroot/zorfiles/zorsys"});
  run({"-c", "-i", "-s512", "-k1:0,26", "-foroot/zorfiles/zorsec"});
  const ProgramResult first = run(add, "o\n");
  EXPECT_TRUE(Has(first.out,
                  "Zorva file record added for lfn 'pay'.\n"
                  "Zorva security record added for lfn 'pay'.\n"))
      << first.out << first.err;
  const std::string system = dir_.ReadFile("root/zorfiles/zorsys.dat");
  EXPECT_EQ(system.substr(0, 11), "FPAY     00");
  EXPECT_EQ(system.substr(82, 6), "STNN N");
  EXPECT_EQ(system.substr(103, 4), "out ");
  EXPECT_EQ(system.substr(183, 3), "083");
  EXPECT_EQ(system.substr(195, 4) + system.substr(203, 8), "051200010002");
  EXPECT_EQ(system.substr(211, 24), "0000002NN  0002001YY    ");
  EXPECT_EQ(system.substr(237, 3), "000");
  EXPECT_EQ(system.substr(424, 5), "00006");
  const std::string security = dir_.ReadFile("root/zorfiles/zorsec.dat");
  EXPECT_EQ(security.substr(0, 26), "ZOR$Y$  Fpay     Fpay     ");
  EXPECT_EQ(security.substr(26, 4), FromHex("00FF 0000"));
  EXPECT_TRUE(Has(run(add, "o\n").err, "Zorva file record already exists. (not updated)\n"));
  std::vector<std::string> over = add;
  over.insert(over.end(), {"-o"});
  EXPECT_TRUE(Has(run(over, "o\n").out, "Zorva file record updated for lfn 'pay'.\n"));
  // The definition is found again by its name.
  std::vector<std::string> by_name{"-b", "-g", "-t", "-P3:3", "-fipay", "-foback"};
  ASSERT_EQ(rename(dir_.Path("out.dat").c_str(), (root + "/zorfiles/out.dat").c_str()), 0);
  ASSERT_EQ(rename(dir_.Path("out.idx").c_str(), (root + "/zorfiles/out.idx").c_str()), 0);
  EXPECT_TRUE(Has(run(by_name).out, "TOTAL records written to backup file: 4\n"));

  // A file that is in use or no platform file is an error, not a name that is missing.
  const int handle = isopen((root + "/zorfiles/zorsys").c_str(), ISINPUT | ISEXCLLOCK);
  ASSERT_GE(handle, 0);
  EXPECT_TRUE(Has(run(by_name).err, "Opening Zorva control file, error:113\n"));
  isclose(handle);
  run({"-c", "-i", "-s4000", "-k1:0,11", "-foroot/zorfiles/zorsys"}, "o\n");
  add.back() = "-atoolongname";
  const ProgramResult larger = run(add);
  EXPECT_TRUE(
      Has(larger.err, "zorsys' has records of 4000 bytes where the platform's have 512.\n"));
  run({"-c", "-i", "-s512", "-k1:0,11", "-foroot/zorfiles/zorsys"}, "o\n");
  EXPECT_TRUE(Has(run(add, "o\n").err, "The name 'TOOLONGNAME' is registered as 'TOOLONGN': "));
}

// A signal in the middle of a restore: what the totals say is in the file, and it is sound.
TEST_F(Indexed, AnInterruptedRestoreLeavesASoundFile) {
  std::string many;
  for (int i = 0; i < 300000; ++i) {
    char record[16];
    std::snprintf(record, sizeof record, "%08d..", i);
    many += record;
  }
  dir_.WriteFile("in", many);
  const pid_t child = fork();
  if (child == 0) {
    if (chdir(dir_.Path().c_str()) != 0 || freopen("log", "w", stdout) == nullptr) _exit(1);
    if (freopen("/dev/null", "r", stdin) == nullptr) _exit(1);
    signal(SIGINT, SIG_DFL);
    execl(BuiltProgram("tolvane").c_str(), "tolvane", "-r", "-c", "-i", "-Q", "-s10", "-k1:0,8",
          "-fiin", "-foout", nullptr);
    _exit(1);
  }
  struct stat status {};
  for (int wait = 0; wait < 5000 && status.st_size < 100000; ++wait) {
    usleep(1000);
    stat(dir_.Path("out.dat").c_str(), &status);
  }
  kill(child, SIGINT);
  int ended = 0;
  ASSERT_EQ(waitpid(child, &ended, 0), child);
  ASSERT_TRUE(WIFSIGNALED(ended) && WTERMSIG(ended) == SIGINT);
  const std::string log = dir_.ReadFile("log");
  EXPECT_TRUE(Has(log, "The run was interrupted by signal 2.\n"));
  const std::string total = "TOTAL records written to output file   : ";
  const std::string count = log.substr(log.find(total) + total.size());
  EXPECT_TRUE(
      Has(Check("out").out, "out: sound, " + count.substr(0, count.find('\n')) + " records"));
}

}  // namespace
}  // namespace tolvane::test
