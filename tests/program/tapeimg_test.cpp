// The tool beside the program that lists, packs and unpacks tape images.

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/program.h"
#include "support/temp_dir.h"

namespace tolvane::test {
namespace {

class Tapeimg : public ::testing::Test {
 protected:
  ProgramResult Run(std::vector<std::string> arguments) {
    return RunProgram(BuiltProgram("tapeimg"),
                      {.arguments = std::move(arguments), .directory = dir_.Path()});
  }
  TempDir dir_;
};

// A block of .tap with its markers, and a tape mark.
std::string Block(const std::string& data, char error = 0) {
  const std::string marker{static_cast<char>(data.size()), 0, 0, error};
  return marker + data + std::string(data.size() % 2, '\0') + marker;
}
const std::string kMark(4, '\0');

TEST_F(Tapeimg, PacksAndUnpacks) {
  dir_.WriteFile("one", "abcdefg");
  dir_.WriteFile("two", "xy");
  EXPECT_EQ(Run({"pack", "--block", "4", "x.tap", "one", "two"}).status, 0);
  EXPECT_EQ(dir_.ReadFile("x.tap"),
            Block("abcd") + Block("efg") + kMark + Block("xy") + kMark + kMark);
  EXPECT_EQ(Run({"unpack", "x.tap", "to"}).status, 0);
  EXPECT_EQ(dir_.ReadFile("to/file-001"), "abcdefg");
  EXPECT_EQ(dir_.ReadFile("to/file-002"), "xy");
}

TEST_F(Tapeimg, WhatCanNotBePackedLeavesTheImageAsItWas) {
  dir_.WriteFile("x.tap", "image");
  dir_.WriteFile("one", "abc");
  dir_.WriteFile("empty", "");
  ASSERT_EQ(link(dir_.Path("x.tap").c_str(), dir_.Path("linked").c_str()), 0);
  const struct {
    const char* input;
    const char* said;
  } cases[] = {
      {"x.tap", "tapeimg: 'x.tap': it is the image itself\n"},
      {"linked", "tapeimg: 'linked': it is the image itself\n"},
      {"mising", "tapeimg: 'mising': No such file or directory\n"},
      {".", "tapeimg: '.': Is a directory\n"},
      {"empty", "tapeimg: 'empty': it is empty, and two tape marks would end the tape\n"},
  };
  for (const auto& c : cases) {
    const ProgramResult result = Run({"pack", "x.tap", "one", c.input});
    EXPECT_EQ(result.status, 2) << c.input;
    EXPECT_EQ(result.err, c.said);
  }
  for (const char* block : {"10x", "-1", "", "0", "99999999"})
    EXPECT_EQ(Run({"pack", "--block", block, "x.tap", "one"}).status, 2) << block;
  EXPECT_EQ(dir_.ReadFile("x.tap"), "image");
  EXPECT_EQ(Run({"list", "--help"}).status, 0);
}

TEST_F(Tapeimg, UnpackKeepsTheNumbersOfFilesAndTellsOfReadErrors) {
  dir_.WriteFile("x.tap", Block("one") + kMark + kMark + Block("three", '\x80') + kMark + kMark);
  const ProgramResult result = Run({"unpack", "x.tap", "to"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "tapeimg: to/file-003: the block at offset 20 was read with an error\n");
  EXPECT_EQ(dir_.ReadFile("to/file-002"), "");
  EXPECT_EQ(access(dir_.Path("to/file-002").c_str(), F_OK), 0);
  EXPECT_EQ(dir_.ReadFile("to/file-003"), "three");
  EXPECT_NE(access(dir_.Path("to/file-004").c_str(), F_OK), 0);
}

}  // namespace
}  // namespace tolvane::test
