#include "media/output_stream.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "support/faults.h"
#include "support/temp_dir.h"

namespace tolvane {
namespace {

class OutputStreamTest : public ::testing::Test {
 protected:
  void WriteRecord(const std::string& record) {
    std::copy(record.begin(), record.end(), output_.Room(record.size()));
    output_.Commit(record.size());
  }
  test::TempDir dir_;
  test::SavedSystem saved_;
  OutputStream output_{"Record"};
};

TEST_F(OutputStreamTest, ARecordThatDoesNotFitIsCutOffAndTheNextOnesAreTried) {
  sys.write = test::WriteToSmallDisk;
  test::disk_room = 10;
  ASSERT_TRUE(output_.Open(dir_.Path("out")));
  for (const char* record : {"aaaa", "bbbb", "cccc", "cccc", "dd", "eeee", "ffff", "gggg"})
    WriteRecord(record);
  ::testing::internal::CaptureStderr();
  ASSERT_TRUE(output_.Close());
  const std::string why = "\nERROR: Error 28 on file " + dir_.Path("out") + "\n";
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "\nERROR: Record 3 could not be written; the run goes on with the next one.\n" + why +
                "\nERROR: Records 3 to 4 could not be written.\n"
                "\nERROR: Record 6 could not be written; the run goes on with the next one.\n" +
                why + "\nERROR: Records 6 to 8 could not be written.\n");
  EXPECT_EQ(dir_.ReadFile("out"), "aaaabbbbdd");
  EXPECT_EQ(output_.lost(), 5);
}

TEST_F(OutputStreamTest, EmptyUnitsAreNotLost) {
  ASSERT_TRUE(output_.Open(dir_.Path("out")));
  WriteRecord("");
  ASSERT_TRUE(output_.Close());
  EXPECT_EQ(output_.lost(), 0);
}

int writes;

TEST_F(OutputStreamTest, ShortAndInterruptedWritesAreCompleted) {
  writes = 0;
  sys.write = [](int fd, const void* from, std::size_t count) -> ssize_t {
    if (++writes % 2 == 0) {
      errno = EINTR;
      return -1;
    }
    return ::write(fd, from, std::min<std::size_t>(count, 3));
  };
  ASSERT_TRUE(output_.Open(dir_.Path("out")));
  for (const char* record : {"aaaa", "bbbb", "cccc"}) WriteRecord(record);
  ASSERT_TRUE(output_.Close());
  EXPECT_EQ(dir_.ReadFile("out"), "aaaabbbbcccc");
  EXPECT_EQ(output_.lost(), 0);
}

TEST_F(OutputStreamTest, AFlushWhileAUnitIsBuiltLeavesItWhereItIs) {
  ASSERT_TRUE(output_.Open(dir_.Path("out")));
  WriteRecord("first");
  Byte* const room = output_.Room(6);
  std::memcpy(room, "sec", 3);
  output_.Flush();
  EXPECT_EQ(dir_.ReadFile("out"), "first");
  std::memcpy(room + 3, "ond", 3);
  output_.Commit(6);
  ASSERT_TRUE(output_.Close());
  EXPECT_EQ(dir_.ReadFile("out"), "firstsecond");
}

TEST_F(OutputStreamTest, LargePiecesHoldWholeRecordsInOrder) {
  ASSERT_TRUE(output_.Open(dir_.Path("out")));
  std::string expected;
  for (int i = 0; i < 40000; ++i) {
    const std::string record =
        std::string(static_cast<std::size_t>(i % 97), 'x') + std::to_string(i);
    WriteRecord(record);
    expected += record;
  }
  WriteRecord(std::string(1 << 20, 'y'));
  ASSERT_TRUE(output_.Close());
  EXPECT_EQ(dir_.ReadFile("out"), expected + std::string(1 << 20, 'y'));
}

}  // namespace
}  // namespace tolvane
