// Several processes on one file: each changes records of its own, whose state it knows, and reads
// and locks those of the others, as fast as it can; TOLVANE_SOAK_SECONDS says how long.

#include <gtest/gtest.h>
#include <isam.h>
#include <isam_ext.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>

#include "check.h"
#include "isam/support.h"
#include "support/temp_dir.h"

namespace {

using isam_test::Key;
using isam_test::Record;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kLength = 120;
constexpr int kProcesses = 3;
constexpr int kKeys = 3000;  // of one process
constexpr int kGroup = 60, kGroupLength = 40;

std::chrono::milliseconds SoakTime() {
  const char* const seconds = std::getenv("TOLVANE_SOAK_SECONDS");
  return std::chrono::milliseconds(seconds != nullptr ? std::atoi(seconds) * 1000 : 700);
}

// One of the processes. Ends with a line on stderr and status 1 at the first thing that is wrong.
class Worker {
 public:
  Worker(std::string file, int number)
      : file_(std::move(file)), number_(number), random_(static_cast<unsigned>(number) + 1) {}

  [[noreturn]] void Run(Clock::time_point end) {
    Open();
    while (Clock::now() < end) {
      switch (Any(16)) {
        case 0:
          Reopen();
          break;
        case 1:
          Scan();
          break;
        case 2:
        case 3:
          LockAny();
          break;
        default:
          ChangeOwn();
      }
    }
    for (int key = number_; key < kKeys * kProcesses; key += kProcesses) CompareOwn(key);
    Must(isclose(handle_) == 0, "close", 0);
    _exit(0);
  }

 private:
  int Any(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }
  void Must(bool condition, const char* what, int key) const {
    if (condition) return;
    std::fprintf(stderr, "process %d: %s, key %d: error %d\n", number_, what, key, iserrno);
    _exit(1);
  }
  void Open() {
    handle_ = isopen(file_.c_str(), ISINOUT | ISMANULOCK);
    Must(handle_ >= 0, "open", 0);
  }
  void Reopen() {
    if (Any(20) != 0) return;
    Must(isclose(handle_) == 0, "close", 0);
    Open();
  }
  static std::string RecordWith(int key, char group) {
    return Record(key, kLength).replace(kGroup, kGroupLength, kGroupLength, group);
  }
  void CompareOwn(int key) {
    std::string record = Record(key, kLength);
    const auto own = own_.find(key);
    const bool is_there = isread(handle_, record.data(), ISEQUAL) == 0;
    Must(is_there || iserrno == ENOREC, "read", key);
    Must(is_there == (own != own_.end()), "is there or not", key);
    if (is_there) Must(record == RecordWith(key, own->second), "content", key);
  }
  // A change is done, or refused as another process holds the record.
  void ChangeOwn() {
    const int key = Any(kKeys) * kProcesses + number_;
    CompareOwn(key);
    const char group = static_cast<char>('a' + Any(4));
    const std::string record = RecordWith(key, group);
    if (own_.count(key) == 0) {
      Must(iswrite(handle_, record.data()) == 0, "write", key);
      own_[key] = group;
    } else if (Any(2) == 0) {
      const bool done = isrewrite(handle_, record.data()) == 0;
      Must(done || iserrno == ELOCKED, "rewrite", key);
      if (done) own_[key] = group;
    } else {
      const bool done = isdelete(handle_, record.data()) == 0;
      Must(done || iserrno == ELOCKED, "delete", key);
      if (done) own_.erase(key);
    }
  }
  // Keys ascend on the way, whatever the others do.
  void Scan() {
    int before = Any(kKeys * kProcesses);
    std::string record = Record(before, kLength);
    for (int mode = ISGTEQ, left = 50; left > 0; mode = ISNEXT, --left) {
      if (isread(handle_, record.data(), mode) != 0)
        return Must(iserrno == EENDFILE || iserrno == ENOREC, "scan", before);
      const int key = std::stoi(record.substr(0, 8));
      Must(mode == ISGTEQ ? key >= before : key > before, "order", key);
      before = key;
    }
  }
  void LockAny() {
    const int key = Any(kKeys * kProcesses);
    std::string record = Record(key, kLength);
    const bool got = isread(handle_, record.data(), ISEQUAL | ISLOCK) == 0;
    Must(got || iserrno == ELOCKED || iserrno == ENOREC, "lock", key);
    if (got) Must(isrelrec(handle_, 0) == 0, "release", key);
  }

  std::string file_;
  int number_;
  std::mt19937 random_;
  int handle_ = -1;
  std::map<int, char> own_;  // key, group
};

TEST(MixedLoad, EveryProcessFindsItsRecords) {
  const tolvane::test::TempDir dir;
  const std::string name = dir.Path("f");
  const keydesc key = Key(0, 8, ISNODUPS | LCOMPRESS);
  keydesc group = Key(kGroup, kGroupLength, ISDUPS | COMPRESS);
  const int handle = isbuild(name.c_str(), kLength, &key, ISINOUT | ISEXCLLOCK | ISNODESIZE(1));
  ASSERT_GE(handle, 0) << iserrno;
  ASSERT_EQ(isaddindex(handle, &group), 0);
  ASSERT_EQ(isclose(handle), 0);

  const Clock::time_point end = Clock::now() + SoakTime();
  for (int number = 0; number < kProcesses; ++number)
    if (fork() == 0) Worker(name, number).Run(end);
  for (int number = 0; number < kProcesses; ++number) {
    int status = 0;
    ASSERT_GT(wait(&status), 0);
    EXPECT_EQ(status, 0);
  }
  isamck::Report report(name);
  isamck::CheckFile(isamck::FindFiles(name), report);
  EXPECT_EQ(report.status(), isamck::Status::kSound);
  EXPECT_GT(report.live_records, 0U);
}

}  // namespace
