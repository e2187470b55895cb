// Tape devices: what is opened, how often, and where marks and rewinding leave the tape.

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "media/tape_fixture.h"

namespace tolvane {
namespace {

// A tape device: objects on a tape, one place, opened by a rewinding and a no-rewind name.
struct FakeTape {
  std::vector<std::string> objects;  // "" is a mark
  std::size_t place = 0;
  bool writing = false, dirty = false, rewinds = false;
  int busy_opens = 0, sleeps = 0, transient = 0;
};
FakeTape fake;

class TapeDevice : public Tape {
 protected:
  TapeDevice() {
    fake = {};
    setenv("ZORTAPE", "/dev/fake", 1);
    setenv("ZORTAPENRWD", "/dev/faken", 1);
    sys.stat = [](const char*, struct stat* status) {
      *status = {};
      status->st_mode = S_IFCHR;
      return 0;
    };
    sys.open = [](const char* path, int flags, mode_t) {
      if (fake.busy_opens > 0) {
        --fake.busy_opens;
        errno = EBUSY;
        return -1;
      }
      fake.rewinds = std::strcmp(path, "/dev/fake") == 0;
      if (fake.rewinds) fake.place = 0;
      fake.writing = (flags & O_ACCMODE) != O_RDONLY;
      return 1000;
    };
    sys.close = [](int) {
      if (fake.dirty)
        fake.objects.insert(fake.objects.begin() + static_cast<long>(fake.place++), "");
      fake.dirty = false;
      if (fake.rewinds) fake.place = 0;
      return 0;
    };
    sys.sleep = [](unsigned seconds) {
      fake.sleeps += static_cast<int>(seconds);
      return 0U;
    };
    sys.read = [](int, void* to, std::size_t most) -> ssize_t {
      if (fake.transient > 0) {
        --fake.transient;
        errno = EAGAIN;
        return -1;
      }
      if (fake.place == fake.objects.size()) return 0;
      const std::string& object = fake.objects[fake.place++];
      if (object.size() > most) {
        errno = ENOMEM;
        return -1;
      }
      std::memcpy(to, object.data(), object.size());
      return static_cast<ssize_t>(object.size());
    };
    sys.write = [](int, const void* from, std::size_t count) -> ssize_t {
      fake.objects.resize(fake.place);
      fake.objects.emplace_back(static_cast<const char*>(from), count);
      ++fake.place;
      fake.dirty = true;
      return static_cast<ssize_t>(count);
    };
  }
  ~TapeDevice() override {
    unsetenv("ZORTAPEREAD");
    unsetenv("ZORTAPE");
    unsetenv("ZORTAPENRWD");
  }
};

TEST_F(TapeDevice, WritesMarksByClosingAndRewindsAtTheEnd) {
  const Records records{"aaaa", "bbbb", "cccc"};
  ASSERT_EQ(Write("", records), 2);
  ASSERT_EQ(fake.objects.size(), 10U);
  for (const std::size_t mark : {3U, 6U, 9U}) EXPECT_EQ(fake.objects[mark], "");
  EXPECT_EQ(fake.place, 0U);
  EXPECT_EQ(fake.sleeps, 4);  // one second a mark, one for rewinding
  EXPECT_EQ(Read(""), records);
  EXPECT_EQ(fake.place, 0U);
}

TEST_F(TapeDevice, TransientErrorsAreTriedAgainSoManyTimes) {
  ASSERT_EQ(Write("", {"aaaa", "bbbb"}), 1);
  fake.transient = 20;
  EXPECT_EQ(Read(""), (Records{"aaaa", "bbbb"}));
  fake.sleeps = 0;
  auto tape = openTapeIn({.record_size = 4, .block_size = 8});
  ASSERT_NE(tape, nullptr);
  fake.busy_opens = 21;
  closeTapeIn(*tape);
  EXPECT_EQ(fake.busy_opens, 0);
  EXPECT_EQ(fake.sleeps, 1 + 1 + 21 * 3);
}

TEST_F(TapeDevice, ZortapereadPutsBlocksTogetherFromTheirParts) {
  const std::string eof1 = Padded("EOF1"), eof2 = Padded("EOF2");
  const std::string hdr1 = Padded("HDR1FILE" + std::string(19, ' ') + "0001");
  record_size_ = 8;
  for (const bool labelled : {true, false}) {
    fake.objects = {"aaaa", "bbbb", "cc", "cc", "cccc", "dd", ""};
    if (labelled) {
      fake.objects.insert(fake.objects.begin(), {hdr1, ""});
      fake.objects.insert(fake.objects.end(), {eof1, eof2, ""});
    }
    setenv("ZORTAPEREAD", "f", 1);
    EXPECT_EQ(Read(""), (Records{"aaaabbbb", "cccccccc", "dd"})) << complained_;
    EXPECT_EQ(complained_.find("trailer"), std::string::npos) << "the mark behind a short block";
    unsetenv("ZORTAPEREAD");
    EXPECT_NE(Read("").size(), 3U);
  }
}

TEST_F(TapeDevice, ABlockTooLongForALabelIsReadFromTheStart) {
  fake.objects = {std::string((1 << 20) + 1, 'x'), ""};
  EXPECT_EQ(Read(""), Records{});
  EXPECT_EQ(complained_,
            "\nERROR: Block 1 of '/dev/fake' is longer than the block size 8 (of BLOCK SIZE IS or "
            "the HDR2 label).\n");
}

TEST_F(TapeDevice, EnterWithoutAnotherTapeReadsItsLabelsAgain) {
  ASSERT_EQ(Write("", {"aaaa", "bbbb"}), 1);
  auto tape = openTapeIn({.record_size = 4, .block_size = 8});
  ASSERT_NE(tape, nullptr);
  EXPECT_EQ(tape->volume_number, 1);
  fake.place = 1;
  ASSERT_TRUE(tape->drive->TakeMounted());
  EXPECT_EQ(readHdr(*tape), 1);
  EXPECT_EQ(tape->volume_serial, "SER001");
}

TEST_F(TapeDevice, LabelsAreNotWrittenWhereMarksLoseThePlace) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(Write("/fake", {"aaaa"}), -1);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("does not rewind, in ZORTAPENRWD"),
            std::string::npos);
  EXPECT_TRUE(fake.objects.empty());
}

TEST_F(TapeDevice, BothNamesMustBeInTheEnvironment) {
  unsetenv("ZORTAPENRWD");
  EXPECT_EQ(Read(""), Records{"not opened"});
  EXPECT_EQ(complained_,
            "\nERROR: Specify input device OR environment variables ZORTAPE and ZORTAPENRWD.\n");
}

}  // namespace
}  // namespace tolvane
