#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "media/tape_io.h"
#include "support/faults.h"
#include "support/temp_dir.h"

namespace tolvane {
namespace {

using test::FromHex;
using Records = std::vector<std::string>;

class TapeIn : public ::testing::Test {
 protected:
  void Open(const std::string& content, TapeInRequest request) {
    dir_.WriteFile("in", content);
    request.path = dir_.Path("in");
    tape_ = openTapeIn(request);
    ASSERT_NE(tape_, nullptr);
  }
  // All records to the end, and what was said on the way.
  Records ReadAll(std::int32_t capacity = 100) {
    ::testing::internal::CaptureStderr();
    Records records;
    for (;;) {
      const TapeRecord record = getTapeIn(*tape_, capacity);
      if (record.length == 0) break;
      records.emplace_back(record.data.begin(), record.data.end());
    }
    said_ = ::testing::internal::GetCapturedStderr();
    return records;
  }
  std::string Said(std::string text) const {  // with the path in place of NAME
    const std::string name = "NAME";
    for (auto at = text.find(name); at != std::string::npos; at = text.find(name))
      text.replace(at, name.size(), dir_.Path("in"));
    return text;
  }

  test::TempDir dir_;
  std::unique_ptr<TapeIo> tape_;
  std::string said_;
};

TEST_F(TapeIn, FixedRecordsComeBlockByBlock) {
  Open("aaaabbbbccccdd", {.record_size = 4, .block_size = 8});
  EXPECT_EQ(ReadAll(), (Records{"aaaa", "bbbb", "cccc", "dd"}));
  EXPECT_EQ(tape_->blocks_read, 2);
  EXPECT_EQ(said_, Said("\nWARNING: 'NAME' ends inside record 4: 2 of 4 bytes.\n"));
}

TEST_F(TapeIn, RestOfABlockIsPassedOverWithAWarning) {
  Open("aaaabbbb..ccccdddd..ee", {.record_size = 4, .block_size = 10});
  EXPECT_EQ(ReadAll(), (Records{"aaaa", "bbbb", "cccc", "dddd", "ee"}));
  EXPECT_EQ(said_, Said("\nWARNING: Block 1 of 'NAME' ends in 2 bytes that are no whole record of "
                        "4; such rests are passed over.\n"
                        "\nWARNING: 'NAME' ends inside record 5: 2 of 4 bytes.\n"));
}

TEST_F(TapeIn, TextLinesArePaddedSplitAndEndedByControlZ) {
  Open("ab\r\n\r\nabcdef\r\ncr\rx\r\n\x1A\r\nlost\r\n",
       {.record_size = 4, .kind = InputKind::kMsdosText});
  EXPECT_EQ(ReadAll(), (Records{"ab  ", "    ", "abcd", "ef  ", "cr\rx"}));
  EXPECT_EQ(said_,
            Said("\nWARNING: Line 3 of 'NAME' is longer than the record size 4; it goes on "
                 "in the next record.\n"
                 "\nWARNING: 'NAME' has text behind the Ctrl-Z in line 6; it is not read.\n"));
  Open("abc\r", {.record_size = 3, .kind = InputKind::kMsdosText});
  EXPECT_EQ(ReadAll(), Records{"abc"});
  EXPECT_EQ(said_, "");
  Open("abcd\nab\r\nlast", {.record_size = 4, .kind = InputKind::kUnixText});
  EXPECT_EQ(ReadAll(), (Records{"abcd", "ab\r ", "last"}));
  EXPECT_EQ(said_, "");
}

TEST_F(TapeIn, VariableBlocksGiveTheirRecordsWithoutDescriptors) {
  // The first block ends in one byte that is too few for a record.
  Open(FromHex("0012 0000 0007 0000 616263 0006 0000 6465 00 000A 0000 0006 0000 6667"),
       {.record_size = 20, .fixed = false});
  EXPECT_EQ(ReadAll(), (Records{"abc", "de", "fg"}));
  EXPECT_EQ(said_, "");
  EXPECT_FALSE(tape_->damaged);
}

struct Damage {
  const char* name;
  const char* hex;
  std::int32_t capacity;
  Records records;
  const char* said;
};

// Every kind of damage ends the input with a message that names the file and the place.
TEST_F(TapeIn, DamagedVariableVolumesEndWithAMessage) {
  const Damage cases[] = {
      {"block of 3",
       "0003 0000 FF",
       9,
       {},
       "\nERROR: Block 1 of 'NAME' has an impossible length: 3.\n"},
      {"negative block",
       "8000 0000",
       9,
       {},
       "\nERROR: Block 1 of 'NAME' has an impossible length: -32768.\n"},
      {"cut in the descriptor",
       "0009 0000 0005 0000 61 0009",
       9,
       {"a"},
       "\nERROR: 'NAME' ends inside the descriptor of block 2: 2 of 4 bytes.\n"},
      {"cut in the block",
       "0015 0000 0005 0000 61 0006 0000 6263",
       9,
       {"a", "bc"},
       "\nWARNING: Incomplete V.B. with size=21 at E-O-F\n"
       "\nWARNING: 'NAME' ends inside block 1: 11 of 17 bytes.\n"},
      {"record of 0", "000C 0000 0005 0000 61 0000 00", 9, {"a"}, ""},
      {"record of 0 with room",
       "000E 0000 0005 0000 61 0000 0000 00",
       9,
       {"a"},
       "\nERROR: Record 2 of 'NAME' (block 1) has an impossible length: 0.\n"},
      {"records of 4 are empty, at a block's end too",
       "0016 0000 0005 0000 61 0004 0000 0005 0000 62 0004 0000 0009 0000 0005 0000 63",
       9,
       {"a", "", "b", "", "c"},
       ""},
      {"record of 3 behind four odd bytes",
       "000D 0000 0005 0000 61 40404040 000B 0000 0003 0000 626364",
       9,
       {"a"},
       "\nERROR: Record 2 of 'NAME' (block 2) has an impossible length: 3.\n"},
      {"negative record",
       "0009 0000 FFFF 0000 61",
       9,
       {},
       "\nERROR: Record 1 of 'NAME' (block 1) has an impossible length: -1.\n"},
      {"longer than the capacity",
       "000B 0000 0007 0000 616263",
       2,
       {},
       "\nERROR: Variable Rec-Size=7 > Booksize=2\n"},
      {"completed by the next block",
       "000A 0000 0008 0000 6162 000E 0000 6364 0008 0000 65666768",
       9,
       {"abcd", "efgh"},
       "\nWARNING: Record 1 of 'NAME' runs past the end of block 1.\n"},
      {"completed by blocks shorter than the record",
       "000A 0000 000A 0000 6162 0006 0000 6364 000C 0000 6566 0006 0000 6768 "
       "0009 0000 0005 0000 69",
       9,
       {"abcdef", "gh", "i"},
       "\nWARNING: Record 1 of 'NAME' runs past the end of block 1.\n"},
      {"nothing completes it",
       "000A 0000 0009 0000 6162 0006 0000 6364",
       9,
       {"abcd"},
       "\nWARNING: Record 1 of 'NAME' runs past the end of block 1.\n"
       "\nWARNING: 'NAME' ends inside record 1: 4 of 5 bytes.\n"},
  };
  for (const Damage& c : cases) {
    SCOPED_TRACE(c.name);
    Open(FromHex(c.hex), {.record_size = 20, .fixed = false});
    EXPECT_EQ(ReadAll(c.capacity), c.records);
    EXPECT_EQ(said_, Said(c.said));
  }
}

TEST_F(TapeIn, InputsThatCannotBeReadSayWhy) {
  errno = 0;
  EXPECT_EQ(openTapeIn({.path = dir_.Path("missing"), .record_size = 1}), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(openTapeIn({.path = dir_.Path(), .record_size = 1}), nullptr);
  EXPECT_EQ(errno, EISDIR);
  dir_.WriteFile("empty", "");
  EXPECT_EQ(openTapeIn({.path = dir_.Path("empty"), .record_size = 1}), nullptr);
  EXPECT_EQ(errno, 0);
}

TEST_F(TapeIn, HugeDeclaredSizesTakeNoMemory) {
  Open("abc", {.record_size = 2147483647, .block_size = 2147483647});
  EXPECT_EQ(ReadAll(), (Records{"abc"}));
}

int reads;

TEST_F(TapeIn, ShortAndInterruptedReadsAreCompleted) {
  const test::SavedSystem saved;
  reads = 0;
  sys.read = [](int fd, void* buffer, std::size_t) {
    if (++reads % 3 == 0) {
      errno = EINTR;
      return ssize_t{-1};
    }
    return ::read(fd, buffer, 1);
  };
  Open("aaaabbbb", {.record_size = 4, .block_size = 8});
  EXPECT_EQ(ReadAll(), (Records{"aaaa", "bbbb"}));
  EXPECT_EQ(said_, "");
}

TEST_F(TapeIn, AReadErrorEndsTheInputAndIsReported) {
  const test::SavedSystem saved;
  reads = 0;
  sys.read = [](int fd, void* buffer, std::size_t) {
    if (++reads == 1) return ::read(fd, buffer, 6);
    errno = EIO;
    return ssize_t{-1};
  };
  Open("aaaabbbbcccc", {.record_size = 4, .block_size = 4});
  EXPECT_EQ(ReadAll(), (Records{"aaaa", "bb"}));
  EXPECT_NE(said_.find("Reading '" + dir_.Path("in") + "' after block 2: Input/output error"),
            std::string::npos);
  EXPECT_TRUE(tape_->damaged);
}

}  // namespace
}  // namespace tolvane
