// What processes, and handles of one process, do to each other.

#include <gtest/gtest.h>
#include <isam.h>
#include <isam_ext.h>

#include <cstdio>

#include "isam/other_process.h"
#include "platform/system_calls.h"
#include "support/faults.h"
#include "support/temp_dir.h"

namespace {

using isam_test::Key;
using isam_test::OtherProcess;
using isam_test::Record;
using Do = OtherProcess::Do;

constexpr std::size_t kLength = 20;

class Locks : public testing::Test {
 protected:
  void SetUp() override {
    const keydesc key = Key(0, 8);
    const int handle = isbuild(name_.c_str(), kLength, &key, ISINOUT | ISEXCLLOCK);
    ASSERT_GE(handle, 0) << iserrno;
    for (int i = 1; i <= 5; ++i) ASSERT_EQ(iswrite(handle, Record(i, kLength).data()), 0);
    ASSERT_EQ(isclose(handle), 0);
  }
  void TearDown() override {
    if (handle_ >= 0) isclose(handle_);
  }
  int Open(int mode) { return isopen(name_.c_str(), mode); }
  // A handle of this process, and one of the other that locks on request.
  void OpenBoth(int mode) {
    handle_ = Open(mode);
    EXPECT_EQ(other_.Now(Do::kOpen, ISINOUT | ISMANULOCK), 0);
  }
  int Read(int handle, int mode, int key = 0) {
    record_ = Record(key, kLength);
    return isread(handle, record_.data(), mode) == 0 ? 0 : iserrno;
  }

  tolvane::test::TempDir dir_;
  std::string name_ = dir_.Path("f");
  std::string record_;
  OtherProcess other_{name_, kLength};
  int handle_ = -1;
};

TEST_F(Locks, AnExclusiveOpenIsAlone) {
  int handle = Open(ISINOUT | ISMANULOCK);
  EXPECT_EQ(other_.Now(Do::kOpen, ISINOUT | ISEXCLLOCK), EFLOCKED);
  EXPECT_EQ(other_.Now(Do::kOpen, ISINPUT), 0);
  EXPECT_EQ(other_.Now(Do::kClose), 0);
  EXPECT_EQ(iserase(name_.c_str()), -1);
  EXPECT_EQ(iserrno, EFLOCKED);
  isclose(handle);
  handle = Open(ISINPUT | ISEXCLLOCK);
  ASSERT_GE(handle, 0);
  EXPECT_EQ(other_.Now(Do::kOpen, ISINPUT), EFLOCKED);
  isclose(handle);
  EXPECT_EQ(other_.Now(Do::kOpen, ISINOUT | ISEXCLLOCK), 0);
}

TEST_F(Locks, ALockedRecordIsRefusedOrWaitedFor) {
  OpenBoth(ISINOUT | ISMANULOCK);
  ASSERT_EQ(Read(handle_, ISEQUAL | ISLOCK, 2), 0);
  EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL, 2), 0);  // a plain read asks no lock
  EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL | ISLOCK, 2), ELOCKED);
  EXPECT_EQ(other_.Now(Do::kPid), static_cast<int>(getpid()));
  EXPECT_EQ(other_.Now(Do::kDelete, 0, 2), ELOCKED);
  ASSERT_EQ(other_.Now(Do::kRead, ISEQUAL, 1), 0);
  EXPECT_EQ(other_.Now(Do::kRead, ISNEXT | ISLOCK), ELOCKED);
  other_.Begin(Do::kRead, ISNEXT | ISLOCK | ISWAIT);  // the refused record is still the next one
  EXPECT_FALSE(other_.Answers(200));
  ASSERT_EQ(isrelrec(handle_, 2), 0);
  EXPECT_EQ(other_.Answer(), 0);
  EXPECT_EQ(Read(handle_, ISEQUAL | ISLOCK, 2), ELOCKED);
  EXPECT_EQ(ispid, other_.pid());
  EXPECT_EQ(other_.Now(Do::kClose), 0);
  EXPECT_EQ(Read(handle_, ISEQUAL | ISLOCK, 2), 0);
}

TEST_F(Locks, ADeletedRecordIsNotWaitedForInVain) {
  OpenBoth(ISINOUT | ISMANULOCK);
  ASSERT_EQ(Read(handle_, ISEQUAL | ISLOCK, 1), 0);
  other_.Begin(Do::kRead, ISFIRST | ISLOCK | ISWAIT);
  EXPECT_FALSE(other_.Answers(100));
  ASSERT_EQ(isdelete(handle_, Record(1, kLength).data()), 0);
  EXPECT_EQ(other_.Answer(), 0);
  EXPECT_EQ(Read(handle_, ISEQUAL | ISLOCK, 2), ELOCKED);  // it has got the next one
}

TEST_F(Locks, AutomaticLocksLastUntilTheNextCall) {
  OpenBoth(ISINOUT | ISAUTOLOCK);
  ASSERT_EQ(Read(handle_, ISFIRST), 0);
  EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL | ISLOCK, 1), ELOCKED);
  ASSERT_EQ(Read(handle_, ISNEXT), 0);
  EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL | ISLOCK, 1), 0);
  EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL | ISLOCK, 2), ELOCKED);
  ASSERT_EQ(isrewrite(handle_, Record(2, kLength, 'x').data()), 0);
  EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL | ISLOCK, 2), 0);
}

TEST_F(Locks, AllRecordsAtOnce) {
  OpenBoth(ISINOUT | ISMANULOCK);
  ASSERT_EQ(other_.Now(Do::kLock, 0, 4), 0);
  EXPECT_EQ(islockrec(handle_, 0, 0), -1);
  ASSERT_EQ(other_.Now(Do::kRelease, 0, 4), 0);
  ASSERT_EQ(islockrec(handle_, 0, 0), 0);
  ASSERT_EQ(Read(handle_, ISEQUAL | ISLOCK, 3), 0);
  ASSERT_EQ(isrelrec(handle_, 3), 0);
  EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL | ISLOCK, 3), ELOCKED);
  ASSERT_EQ(isrelrec(handle_, 0), 0);
  EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL | ISLOCK, 3), 0);
}

TEST_F(Locks, ChangesOfOthersAreSeen) {
  OpenBoth(ISINOUT | ISMANULOCK);
  ASSERT_EQ(Read(handle_, ISEQUAL, 3), 0);
  // Many records in between split the leaf under the position.
  for (int key = 100; key < 400; ++key) ASSERT_EQ(other_.Now(Do::kWrite, 0, key), 0);
  ASSERT_EQ(other_.Now(Do::kDelete, 0, 4), 0);
  EXPECT_EQ(Read(handle_, ISNEXT), 0);
  EXPECT_EQ(record_, Record(5, kLength));
  EXPECT_EQ(Read(handle_, ISLAST), 0);
  EXPECT_EQ(record_, Record(399, kLength));
  EXPECT_EQ(iswrite(handle_, Record(200, kLength).data()), -1);
  EXPECT_EQ(iserrno, EDUPL);
  EXPECT_EQ(other_.Now(Do::kUnique), 1);
  std::int32_t identifier = 0;
  EXPECT_EQ(isuniqueid(handle_, &identifier), 0);
  EXPECT_EQ(identifier, 2);
}

TEST_F(Locks, ARewriteByNumberMovesNoHandleThatStandsElsewhere) {
  const int first = Open(ISINOUT | ISMANULOCK), second = Open(ISINOUT | ISMANULOCK);
  ASSERT_EQ(Read(first, ISFIRST), 0);
  ASSERT_EQ(isdelrec(second, 1), 0);
  ASSERT_EQ(iswrite(second, Record(90, kLength).data()), 0);
  ASSERT_EQ(isrecnum, 1);
  ASSERT_EQ(isrewrec(first, 1, Record(91, kLength).data()), 0);
  EXPECT_EQ(Read(first, ISNEXT), 0);
  EXPECT_EQ(record_, Record(2, kLength));
  isclose(second);
  isclose(first);
}

TEST_F(Locks, HandlesOfOneProcess) {
  const int first = Open(ISINOUT | ISMANULOCK);
  EXPECT_EQ(Open(ISINOUT | ISEXCLLOCK | ISSHAREOWN), -1);  // the first one does not agree
  EXPECT_EQ(iserrno, EFLOCKED);
  EXPECT_EQ(errno, EACCES);
  const int second = Open(ISINPUT);
  ASSERT_GE(second, 0);
  ASSERT_EQ(Read(first, ISEQUAL | ISLOCK, 1), 0);
  EXPECT_EQ(Read(second, ISEQUAL | ISLOCK, 1), ELOCKED);
  EXPECT_EQ(Read(second, ISEQUAL | ISLOCK | ISWAIT, 1), ELOCKED);  // it would wait for ever
  EXPECT_EQ(iswrite(second, Record(9, kLength).data()), -1);
  EXPECT_EQ(iserrno, ENOTOPEN);
  isclose(first);
  EXPECT_EQ(Read(second, ISEQUAL | ISLOCK, 1), 0);
  // Closing one handle takes no lock away from the other.
  EXPECT_EQ(other_.Now(Do::kOpen, ISINOUT | ISEXCLLOCK), EFLOCKED);
  isclose(second);

  const int shared = Open(ISINOUT | ISMANULOCK | ISSHAREOWN);
  const int exclusive = Open(ISINOUT | ISEXCLLOCK);
  ASSERT_GE(exclusive, 0) << iserrno;
  EXPECT_EQ(other_.Now(Do::kOpen, ISINPUT), EFLOCKED);
  ASSERT_EQ(Read(shared, ISEQUAL | ISLOCK, 3), 0);
  isclose(exclusive);
  EXPECT_EQ(other_.Now(Do::kOpen, ISINPUT | ISMANULOCK), 0);
  EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL | ISLOCK, 3), ELOCKED);
  isclose(shared);
}

// An automatic lock lasts to the end of the next call, so that nobody comes between the two.
TEST_F(Locks, AnAutomaticLockIsKeptForTheCallThatFollows) {
  OpenBoth(ISINOUT | ISAUTOLOCK);
  for (int i = 0; i < 50; ++i) {
    ASSERT_EQ(Read(handle_, ISEQUAL, 2), 0);
    other_.Begin(Do::kRead, ISEQUAL | ISLOCK | ISWAIT, 2);
    ASSERT_FALSE(other_.Answers(1)) << "the record is locked";
    ASSERT_EQ(isrewrite(handle_, Record(2, kLength, 'x').data()), 0) << iserrno;
    ASSERT_EQ(other_.Answer(), 0);
    ASSERT_EQ(other_.Now(Do::kRelease, 0, 0), 0);
  }
}

TEST_F(Locks, AnExplicitLockOutlivesAutomaticOnes) {
  OpenBoth(ISINOUT | ISAUTOLOCK);
  ASSERT_EQ(Read(handle_, ISEQUAL, 2), 0);
  ASSERT_EQ(islockrec(handle_, 2, 0), 0);
  ASSERT_EQ(islockrec(handle_, 4, 0), 0);
  ASSERT_EQ(Read(handle_, ISEQUAL, 3), 0);
  ASSERT_EQ(Read(handle_, ISEQUAL, 5), 0);
  for (const int key : {2, 4, 5})
    EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL | ISLOCK, key), ELOCKED) << key;
  EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL | ISLOCK, 3), 0);
}

TEST_F(Locks, NamesWithASuffixCostNoLock) {
  OpenBoth(ISINOUT | ISMANULOCK);
  ASSERT_EQ(Read(handle_, ISEQUAL | ISLOCK, 2), 0);
  EXPECT_EQ(isopen((name_ + ".idx").c_str(), ISINOUT), -1);
  EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL | ISLOCK, 2), ELOCKED);
}

TEST_F(Locks, ALockThatEndsWhileTheFileIsExclusiveIsGone) {
  const int first = Open(ISINOUT | ISMANULOCK | ISSHAREOWN);
  ASSERT_EQ(Read(first, ISEQUAL | ISLOCK, 2), 0);
  const int exclusive = Open(ISINOUT | ISEXCLLOCK | ISSHAREOWN);
  ASSERT_GE(exclusive, 0) << iserrno;
  EXPECT_EQ(isrename(name_.c_str(), (name_ + "2").c_str()), -1);  // it is open
  EXPECT_EQ(iserrno, EFLOCKED);
  ASSERT_EQ(isrelrec(first, 2), 0);
  ASSERT_EQ(Read(first, ISEQUAL | ISLOCK, 3), 0);
  isclose(exclusive);
  EXPECT_EQ(other_.Now(Do::kOpen, ISINOUT | ISMANULOCK), 0);
  EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL | ISLOCK, 2), 0);
  EXPECT_EQ(other_.Now(Do::kRead, ISEQUAL | ISLOCK, 3), ELOCKED);
  isclose(first);
}

// A file that takes the name between open and lock is the one that is meant.
std::string opened_name;

TEST_F(Locks, AFileReplacedWhileItIsOpenedIsLeft) {
  const tolvane::test::SavedSystem saved;
  dir_.WriteFile("f.idx.new", dir_.ReadFile("f.idx"));
  opened_name = name_ + ".idx";
  tolvane::sys.open = [](const char* path, int flags, mode_t mode) {
    const int fd = ::open(path, flags, mode);
    if (path == opened_name) (void)std::rename((opened_name + ".new").c_str(), path);
    return fd;
  };
  const int handle = Open(ISINOUT | ISMANULOCK);
  ASSERT_EQ(iswrite(handle, Record(9, kLength).data()), 0) << iserrno;
  isclose(handle);
  const int again = Open(ISINPUT);
  EXPECT_EQ(Read(again, ISEQUAL, 9), 0);
  isclose(again);
}

}  // namespace
