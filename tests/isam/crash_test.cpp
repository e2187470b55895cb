// What the death of the process and failing system calls leave behind.

#include <gtest/gtest.h>
#include <isam.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <string>

#include "check.h"
#include "isam/issystem.h"
#include "isam/support.h"
#include "rebuild.h"
#include "support/faults.h"
#include "support/program.h"
#include "support/temp_dir.h"

namespace {

using isam_test::Key;
using isam_test::Record;
using tolvane::sys;

constexpr std::size_t kLength = 60;
constexpr int kOperations = 40;

// What a child has done, in memory that it shares with the test.
struct Ledger {
  int stores = 0;
  int finished = 0;  // operations
  bool all = false;
};
Ledger* ledger = nullptr;
int last_store = 0;

void StoreOrDie(void* mapped, const void* from, std::size_t bytes) {
  if (++ledger->stores > last_store) _exit(9);
  std::memcpy(mapped, from, bytes);
}

class Crash : public testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    void* const shared =
        mmap(nullptr, sizeof(Ledger), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    ledger = new (shared) Ledger;
  }
  void TearDown() override { munmap(ledger, sizeof(Ledger)); }

  // Long keys in small nodes, so that every kind of change happens soon.
  static constexpr std::size_t kKey = 40;
  static constexpr std::size_t kGroup = 50, kGroupLength = 6;
  static int KeyOfStep(int step) { return step * 7 % kOperations; }
  // Four steps: write, write, rewrite the second with another alternate key, delete the first.
  static bool Perform(int handle, int step) {
    const auto record = [](int of, char group) {
      return Record(KeyOfStep(of), kLength).replace(kGroup, kGroupLength, kGroupLength, group);
    };
    if (step % 4 == 2) return isrewrite(handle, record(step - 1, 'x').data()) == 0;
    if (step % 4 == 3) return isdelete(handle, record(step - 3, '.').data()) == 0;
    return iswrite(handle, record(step, '.').data()) == 0;
  }
  // The keys that live after a number of steps.
  static std::set<int> Alive(int steps) {
    std::set<int> keys;
    for (int step = 0; step < steps; ++step) {
      if (step % 4 < 2) keys.insert(KeyOfStep(step));
      if (step % 4 == 3) keys.erase(KeyOfStep(step - 3));
    }
    return keys;
  }
  void Work(int lock) {
    const int handle = isopen(name_.c_str(), ISINOUT | lock);
    if (handle < 0) _exit(1);
    sys.store = StoreOrDie;
    for (int step = 0; step < kOperations; ++step) {
      if (!Perform(handle, step)) _exit(2);
      ++ledger->finished;
    }
    ledger->all = true;
    _exit(0);  // like a kill: without closing
  }
  void BuildFile() {
    keydesc key = Key(0, kKey, ISNODUPS | LCOMPRESS), group = Key(kGroup, kGroupLength, ISDUPS);
    (void)iserase(name_.c_str());
    const int handle = isbuild(name_.c_str(), kLength, &key, ISINOUT | ISEXCLLOCK | ISNODESIZE(1));
    ASSERT_GE(handle, 0) << iserrno;
    ASSERT_EQ(isaddindex(handle, &group), 0);
    ASSERT_EQ(isclose(handle), 0);
  }
  isamck::Status Check() {
    isamck::Report report(name_);
    isamck::CheckFile(isamck::FindFiles(name_), report);
    return report.status();
  }
  void ExpectRecords(int finished) {
    const std::set<int> before = Alive(finished), after = Alive(finished + 1);
    const int handle = isopen(name_.c_str(), ISINPUT);
    ASSERT_GE(handle, 0) << iserrno;
    std::set<int> found;
    std::string record(kLength, ' ');
    for (int mode = ISFIRST; isread(handle, record.data(), mode) == 0; mode = ISNEXT)
      found.insert(std::stoi(record.substr(0, 8)));
    ASSERT_EQ(iserrno, EENDFILE);
    EXPECT_TRUE(found == before || found == after) << "after " << finished << " operations";
    ASSERT_EQ(isclose(handle), 0);
  }

  tolvane::test::TempDir dir_;
  std::string name_ = dir_.Path("f");
};

// The process is ended before every single store once. What was finished is there, soundly or after
// a rebuild.
TEST_P(Crash, FinishedOperationsOutliveTheProcess) {
  int sound = 0, rebuilt = 0;
  for (last_store = 0; !ledger->all; last_store += 1) {
    *ledger = {};
    ASSERT_NO_FATAL_FAILURE(BuildFile());
    const pid_t child = fork();
    if (child == 0) Work(GetParam());
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && (WEXITSTATUS(status) == 9 || WEXITSTATUS(status) == 0))
        << WEXITSTATUS(status);
    if (Check() == isamck::Status::kSound) {
      ++sound;
    } else {
      const auto result = tolvane::test::RunProgram(tolvane::test::BuiltProgram("isamck"),
                                                    {.arguments = {"--rebuild", name_}});
      ASSERT_EQ(result.status, 0) << result.out << result.err;
      ASSERT_EQ(Check(), isamck::Status::kSound);
      ++rebuilt;
    }
    ASSERT_NO_FATAL_FAILURE(ExpectRecords(ledger->finished)) << "store " << last_store;
  }
  RecordProperty("sound", sound);
  RecordProperty("rebuilt", rebuilt);
}
INSTANTIATE_TEST_SUITE_P(Modes, Crash, testing::Values(ISEXCLLOCK, ISMANULOCK),
                         [](const auto& mode) {
                           return mode.param == ISEXCLLOCK ? "exclusive" : "shared";
                         });

// ---- failing calls

int calls_left = 0;

class Faults : public testing::Test {
 protected:
  void Build() {
    keydesc key = Key(0, 8);
    handle_ = isbuild(name_.c_str(), kLength, &key, ISINOUT | ISEXCLLOCK | ISNODESIZE(1));
    ASSERT_GE(handle_, 0) << iserrno;
  }
  // Writes ascending keys until one fails; returns how many came in.
  int WriteUntilFailure() {
    int count = 0;
    while (count < 100000 && iswrite(handle_, Record(count, kLength).data()) == 0) ++count;
    return count;
  }
  void ExpectSound(int records) {
    isamck::Report report(name_);
    isamck::CheckFile(isamck::FindFiles(name_), report);
    EXPECT_EQ(report.status(), isamck::Status::kSound);
    EXPECT_EQ(report.live_records, static_cast<unsigned>(records));
  }

  tolvane::test::SavedSystem saved_;
  tolvane::test::TempDir dir_;
  std::string name_ = dir_.Path("f");
  int handle_ = -1;
};

TEST_F(Faults, AFullDiskIsAnErrorOfTheOperation) {
  for (int calls = 0; calls < 6; ++calls) {
    ASSERT_NO_FATAL_FAILURE(Build());
    calls_left = calls;
    sys.fallocate = [](int fd, off_t offset, off_t length) {
      return calls_left-- > 0 ? posix_fallocate(fd, offset, length) : ENOSPC;
    };
    const int count = WriteUntilFailure();
    EXPECT_EQ(iserrno, ENOSPC);
    EXPECT_EQ(isclose(handle_), 0);
    ExpectSound(count);
    handle_ = isopen(name_.c_str(), ISINOUT);
    EXPECT_GE(handle_, 0);
    char record[kLength];
    EXPECT_EQ(isread(handle_, record, ISLAST), count > 0 ? 0 : -1);
    isclose(handle_);
    sys.fallocate = posix_fallocate;
    ASSERT_EQ(iserase(name_.c_str()), 0);
  }
}

// Room that was there stays usable: without it records can go, and change what no index knows.
TEST_F(Faults, OnAFullDiskRecordsCanBeDeleted) {
  ASSERT_NO_FATAL_FAILURE(Build());
  for (int key = 0; key < 60; ++key) ASSERT_EQ(iswrite(handle_, Record(key, kLength).data()), 0);
  ASSERT_EQ(isdelete(handle_, Record(0, kLength).data()), 0);
  ASSERT_EQ(isclose(handle_), 0);
  sys.fallocate = [](int, off_t, off_t) { return ENOSPC; };
  handle_ = isopen(name_.c_str(), ISINOUT | ISEXCLLOCK);
  ASSERT_EQ(isrewrite(handle_, Record(1, kLength, 'x').data()), 0) << iserrno;
  for (int key = 1; key < 60; ++key)
    ASSERT_EQ(isdelete(handle_, Record(key, kLength).data()), 0) << iserrno;
  ASSERT_EQ(isclose(handle_), 0);
  ExpectSound(0);
}

ssize_t ShortRead(int fd, void* buffer, std::size_t bytes, off_t offset) {
  if (++calls_left % 3 == 0) {
    errno = EINTR;
    return -1;
  }
  return pread(fd, buffer, std::min<std::size_t>(bytes, 100), offset);
}
ssize_t ShortWrite(int fd, const void* buffer, std::size_t bytes, off_t offset) {
  if (++calls_left % 3 == 0) {
    errno = EINTR;
    return -1;
  }
  return pwrite(fd, buffer, std::min<std::size_t>(bytes, 100), offset);
}

TEST_F(Faults, ShortAndInterruptedTransfersAreCompleted) {
  isam::mapping_allowed = false;
  sys.pread = ShortRead;
  sys.pwrite = ShortWrite;
  ASSERT_NO_FATAL_FAILURE(Build());
  constexpr int kRecords = 400;
  for (int key = 0; key < kRecords; ++key)
    ASSERT_EQ(iswrite(handle_, Record(key * 37 % kRecords, kLength).data()), 0) << iserrno;
  for (int key = 0; key < kRecords; key += 2)
    ASSERT_EQ(isdelete(handle_, Record(key, kLength).data()), 0) << iserrno;
  ASSERT_EQ(isclose(handle_), 0);
  isam::mapping_allowed = true;
  ExpectSound(kRecords / 2);
}

// The change was counted when the store of the numbers failed: what they were counts on.
TEST_F(Faults, AFailedStoreOfTheDictionaryLosesNoNumber) {
  constexpr off_t kNumbers = 25;
  isam::mapping_allowed = false;
  ASSERT_NO_FATAL_FAILURE(Build());
  for (int key = 0; key < 3; ++key) ASSERT_EQ(iswrite(handle_, Record(key, kLength).data()), 0);
  sys.pwrite = [](int fd, const void* buffer, std::size_t bytes, off_t offset) {
    if (offset != kNumbers) return pwrite(fd, buffer, bytes, offset);
    errno = EIO;
    return ssize_t{-1};
  };
  EXPECT_EQ(iswrite(handle_, Record(3, kLength).data()), -1);
  EXPECT_EQ(iserrno, EIO);
  sys.pwrite = pwrite;
  EXPECT_EQ(iswrite(handle_, Record(4, kLength).data()), 0);
  EXPECT_EQ(isclose(handle_), 0);
  isam::mapping_allowed = true;
  ExpectSound(4);
}

TEST_F(Faults, FailedSyncsAndLocksAreReported) {
  ASSERT_NO_FATAL_FAILURE(Build());
  calls_left = 2;
  sys.fsync = [](int) {
    errno = calls_left-- > 0 ? EINTR : EIO;
    return -1;
  };
  EXPECT_EQ(isflush(handle_), -1);
  EXPECT_EQ(iserrno, EIO);
  isclose(handle_);
  sys.lock = [](int, int, struct flock*) {
    errno = ENOLCK;
    return -1;
  };
  EXPECT_EQ(isopen(name_.c_str(), ISINPUT), -1);
  EXPECT_EQ(iserrno, ENOLCK);
  EXPECT_EQ(iserrio, 0x10 + 96);
}

}  // namespace
