// Whole runs of the program in which one call to the system fails, goes half way, or is the last:
// whatever happens, the program ends by itself, says so when its result is not what it should be,
// and never harms a file that was there before. A kill costs an indexed file no record that it had.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <map>
#include <set>
#include <sstream>

#include "support/program.h"
#include "support/temp_dir.h"

namespace tolvane::test {
namespace {

constexpr int kKill = -1;

struct Fault {
  const char* call;
  int error;  // 0: half of the bytes; kKill: the process is killed before the call
  // Whether the run must go on as if nothing had been.
  [[nodiscard]] bool is_transparent() const { return error == 0 || error == EINTR; }
};

constexpr Fault kFaults[] = {
    {"open", EACCES},   {"open", EMFILE},
    {"open", EINTR},    {"fopen", EACCES},
    {"read", EIO},      {"read", EINTR},
    {"read", 0},        {"write", ENOSPC},
    {"write", EIO},     {"write", EINTR},
    {"write", 0},       {"pread", EIO},
    {"pread", EINTR},   {"pread", 0},
    {"pwrite", ENOSPC}, {"pwrite", EINTR},
    {"pwrite", 0},      {"close", EIO},
    {"lseek", EINVAL},  {"fsync", EIO},
    {"ftruncate", EIO}, {"posix_fallocate", ENOSPC},
    {"mmap", ENOMEM},   {"rename", EACCES},
    {"unlink", EPERM},  {"symlink", EPERM},
    {"fcntl", ENOLCK},  {"malloc", ENOMEM},
    {"write", kKill},   {"pwrite", kKill},
    {"fsync", kKill},   {"posix_fallocate", kKill},
    {"unlink", kKill},  {"ftruncate", kKill},
    {"malloc", kKill},  {"close", kKill},
};

// A job: what is there before, what is run, and what it makes.
struct Job {
  const char* name;
  std::vector<std::string> arguments;
  const char* typed;
  std::vector<const char*> outputs;
  bool merges = false;  // into the indexed file 'out', which must stay sound
};

void PrintTo(const Job& job, std::ostream* out) { *out << job.name; }

const Job kJobs[] = {
    {"flat", {"-r", "-c", "-q", "-s20", "-fiin", "-foflat"}, "", {"flat"}},
    {"progress",
     {"-r", "-c", "-j", "-e", "-MF", "-s20", "-P10:10", "-fiin", "-foflat"},
     "",
     {"flat"}},
    {"variable",
     {"-G", "variable.gra", "-r", "-c", "-q", "-s20", "-fiblocks", "-foflat"},
     "",
     {"flat"}},
    {"image", {"-r", "-c", "-q", "-s20", "-v200", "-fitap:in.tap", "-foflat"}, "", {"flat"}},
    {"indexed",
     {"-r", "-c", "-i", "-s20", "-k1:0,8", "-k2:8,2", "-fiin", "-fonew"},
     "",
     {"new.idx"}},
    {"merge",
     {"-r", "-c", "-i", "-s20", "-k1:0,8", "-k2:8,2", "-fimore", "-foout"},
     "m\n",
     {"out.idx"},
     true},
    {"backup", {"-b", "-i", "-v200", "-fiout", "-foback"}, "", {"back"}},
    {"backup to image", {"-b", "-i", "-v200", "-fiout", "-fotap:back.tap"}, "", {"back.tap"}},
    {"delete", {"-d", "-i", "-foout"}, "", {}},
};

std::string Records(int first, int count) {
  std::string records;
  for (int i = 0; i < count; ++i) {
    char record[32];
    std::snprintf(record, sizeof record, "%08d%02d%010d", (first + i) * 7919 % 100000, i % 7, i);
    records += record;
  }
  return records;
}

std::string Blocks(const std::string& records, std::size_t size) {
  std::string blocks;
  const auto be = [](std::size_t n) {
    return std::string{static_cast<char>(n >> 8U), static_cast<char>(n & 0xFFU), 0, 0};
  };
  for (std::size_t at = 0; at < records.size(); at += size)
    blocks += be(size + 8) + be(size + 4) + records.substr(at, size);
  return blocks;
}

class FaultRuns : public ::testing::TestWithParam<Job> {
 protected:
  void SetUp() override {
    base_.WriteFile("in", Records(1, 300));
    base_.WriteFile("more", Records(kFirstMore, 300));
    base_.WriteFile("blocks", Blocks(Records(1, 100), 20));
    base_.WriteFile("variable.gra", "RECORD SIZE IS V\n");
    Plain(base_, {"-r", "-c", "-i", "-s20", "-k1:0,8", "-k2:8,2", "-fiin", "-foout"}, "");
    ASSERT_EQ(RunProgram(BuiltProgram("tapeimg"),
                         {.arguments = {"pack", "--block", "200", "tap:in.tap", "in"},
                          .directory = base_.Path()})
                  .status,
              0);
  }

  static ProgramResult Plain(const TempDir& dir, std::vector<std::string> arguments,
                             const std::string& typed) {
    return RunProgram(BuiltProgram("tolvane"),
                      {.arguments = std::move(arguments), .typed = typed, .directory = dir.Path()});
  }
  ProgramResult Run(const TempDir& dir, const Fault& fault, long at) {
    for (const char* name :
         {"in", "more", "blocks", "variable.gra", "in.tap", "out.dat", "out.idx"})
      dir.WriteFile(name, base_.ReadFile(name));
    return RunProgram(BuiltProgram("tolvane"),
                      {.arguments = GetParam().arguments,
                       .typed = GetParam().typed,
                       .environment = {{"LD_PRELOAD", BuiltProgram("libfault_preload.so")},
                                       {"FAULT_CALL", fault.call},
                                       {"FAULT_AT", std::to_string(at)},
                                       {"FAULT_ERROR", std::to_string(fault.error)},
                                       {"FAULT_COUNT", dir.Path("calls")}},
                       .directory = dir.Path(),
                       .limit = std::chrono::seconds(30)});
  }
  // Lines that say that something is wrong.
  static std::set<std::string> Complaints(const ProgramResult& result) {
    std::istringstream lines(result.out + result.err);
    std::set<std::string> complaints;
    for (std::string line; std::getline(lines, line);) {
      std::transform(line.begin(), line.end(), line.begin(),
                     [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
      for (const char* word : {"error", "could not", "cannot", "failed", "failing",
                               "not successful", "warning:", "terminating", "unable"})
        if (line.find(word) != std::string::npos) complaints.insert(line);
    }
    return complaints;
  }
  static bool Tells(const ProgramResult& result, const ProgramResult& plain) {
    const std::set<std::string> known = Complaints(plain), told = Complaints(result);
    return !std::includes(known.begin(), known.end(), told.begin(), told.end());
  }
  // What the job made: bytes, or what the check says of an indexed file.
  std::map<std::string, std::string> Outputs(const TempDir& dir) {
    std::map<std::string, std::string> outputs;
    for (const std::string name : GetParam().outputs)
      outputs[name] = name.ends_with(".idx") ? Check(dir, name).out
                      : dir.Exists(name)     ? dir.ReadFile(name)
                                             : "(none)";
    return outputs;
  }
  static ProgramResult Check(const TempDir& dir, const std::string& name) {
    return RunProgram(BuiltProgram("isamck"), {.arguments = {name}, .directory = dir.Path()});
  }
  // The records of 'out' that no other replaces are untouched, and the file is sound, if need be
  // after a rebuild.
  void ExpectOldRecords(const TempDir& dir, bool may_need_rebuild) {
    ProgramResult checked = Check(dir, "out");
    if (checked.status != 0 && may_need_rebuild) {
      const ProgramResult rebuilt = RunProgram(
          BuiltProgram("isamck"), {.arguments = {"--rebuild", "out"}, .directory = dir.Path()});
      EXPECT_EQ(rebuilt.status, 0) << rebuilt.out << rebuilt.err;
      checked = Check(dir, "out");
    }
    EXPECT_EQ(checked.status, 0) << checked.out << checked.err;
    const std::size_t bytes = (kFirstMore - 1) * (20 + 1);
    EXPECT_EQ(dir.ReadFile("out.dat").substr(0, bytes), base_.ReadFile("out.dat").substr(0, bytes));
  }
  void Try(const Fault& fault, long at, const ProgramResult& plain,
           const std::map<std::string, std::string>& expected) {
    SCOPED_TRACE(std::string(fault.call) + " number " + std::to_string(at) + ", error " +
                 std::to_string(fault.error));
    const TempDir dir;
    const ProgramResult result = Run(dir, fault, at);
    EXPECT_FALSE(result.timed_out);
    EXPECT_EQ(dir.ReadFile("in"), base_.ReadFile("in"));
    if (GetParam().merges) ExpectOldRecords(dir, fault.error == kKill);
    if (fault.error == kKill) return;
    EXPECT_TRUE(result.status < 128 || result.status == 255) << result.out << result.err;
    const bool as_expected = Outputs(dir) == expected;
    const bool told = Tells(result, plain);
    if (fault.is_transparent()) {
      EXPECT_TRUE(as_expected) << result.out << result.err;
    } else {
      EXPECT_TRUE(as_expected || told) << result.out << result.err;
    }
  }

  static constexpr int kFirstMore = 200;  // those before are not replaced by a merge

  TempDir base_;
};

TEST_P(FaultRuns, EveryCallMayFailOnce) {
  constexpr long kMostTries = 24;
  for (const Fault& fault : kFaults) {
    const TempDir dir;
    const ProgramResult whole = Run(dir, fault, 0);
    const auto expected = Outputs(dir);
    const long calls = std::stol(dir.ReadFile("calls"));
    const long step = std::max<long>(1, calls / kMostTries);
    for (long at = 1; at <= calls; at += step) Try(fault, at, whole, expected);
  }
}

INSTANTIATE_TEST_SUITE_P(Jobs, FaultRuns, ::testing::ValuesIn(kJobs), [](const auto& job) {
  std::string name = job.param.name;
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
});

// The death of the process leaves whole records, of which there are several to a page.
TEST(KilledRuns, AWriteEndsWithARecordAndFillsOnePage) {
  const TempDir dir;
  std::string records;
  for (int i = 0; i < 300; ++i) records += std::string(100, static_cast<char>('a' + i % 26));
  dir.WriteFile("in", records);
  const auto run = [&](int at) {
    return RunProgram(BuiltProgram("tolvane"),
                      {.arguments = {"-r", "-q", "-Q", "-s100", "-fiin", "-foout"},
                       .environment = {{"LD_PRELOAD", BuiltProgram("libfault_preload.so")},
                                       {"FAULT_CALL", "write"},
                                       {"FAULT_AT", std::to_string(at)},
                                       {"FAULT_ERROR", "-1"}},
                       .directory = dir.Path()});
  };
  for (const auto& [at, records_written] : {std::pair{1, 0}, {2, 40}, {3, 81}, {8, 286}}) {
    EXPECT_EQ(run(at).status, 128 + SIGKILL);
    EXPECT_EQ(dir.ReadFile("out").size(), 100U * static_cast<unsigned>(records_written)) << at;
  }
}

}  // namespace
}  // namespace tolvane::test
