#include "media/tape_image.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "support/temp_dir.h"

namespace tolvane {
namespace {

using test::FromHex;
using test::ToHex;

std::span<const Byte> Bytes(const std::string& text) {
  return {reinterpret_cast<const Byte*>(text.data()), text.size()};
}

class TapeImage : public ::testing::Test {
 protected:
  // Every object to the end: "block DATA", "mark", "gap", "end", "damage at OFFSET: TEXT".
  std::string Objects(ImageFormat format, const std::string& content) {
    dir_.WriteFile("image", content);
    TapeImageReader reader(format);
    EXPECT_TRUE(reader.Open(dir_.Path("image")));
    std::string said;
    for (;;) {
      const TapeObject object = reader.Next();
      const std::string data(object.data.begin(), object.data.end());
      switch (object.kind) {
        case TapeObject::Kind::kBlock:
          said += object.read_error ? "bad " + data + ", " : "block " + data + ", ";
          break;
        case TapeObject::Kind::kMark:
          said += "mark, ";
          break;
        case TapeObject::Kind::kGap:
          said += "gap, ";
          break;
        case TapeObject::Kind::kEnd:
          return said + "end";
        case TapeObject::Kind::kDamage:
          return said + "damage at " + std::to_string(object.offset) + ": " + object.damage;
      }
    }
  }
  std::string Written(ImageFormat format, const std::vector<std::string>& blocks) {
    TapeImageWriter writer(format);
    EXPECT_TRUE(writer.Open(dir_.Path("image")));
    for (const std::string& block : blocks) writer.WriteBlock(Bytes(block));
    writer.WriteMark();
    EXPECT_TRUE(writer.Close());
    return dir_.ReadFile("image");
  }
  test::TempDir dir_;
};

TEST_F(TapeImage, WritesBothContainersToTheByte) {
  const std::string label(80, 'v');
  EXPECT_EQ(Written(ImageFormat::kTap, {label}),
            FromHex("50 00 00 00") + label + FromHex("50 00 00 00 00 00 00 00"));
  EXPECT_EQ(Written(ImageFormat::kAws, {label}),
            FromHex("50 00 00 00 A0 00") + label + FromHex("00 00 50 00 40 00"));
  EXPECT_EQ(Written(ImageFormat::kTap, {"abc"}),
            FromHex("03 00 00 00 61 62 63 00 03 00 00 00 00 00 00 00"));
}

TEST_F(TapeImage, AwsBlocksOfMoreThanAChunkAreSplitAndJoined) {
  const std::string large(150000, 'x');
  const std::string image = Written(ImageFormat::kAws, {large, "y"});
  EXPECT_EQ(ToHex(image.substr(0, 6)), "FF FF 00 00 80 00");
  EXPECT_EQ(ToHex(image.substr(65541, 6)), "FF FF FF FF 00 00");
  EXPECT_EQ(ToHex(image.substr(2 * 65541, 6)), "F2 49 FF FF 20 00");
  EXPECT_EQ(Objects(ImageFormat::kAws, image), "block " + large + ", block y, mark, end");
}

TEST_F(TapeImage, ReadsEveryObjectAndNamesEveryDamage) {
  using enum ImageFormat;
  const struct {
    ImageFormat format;
    const char* hex;
    const char* said;
  } cases[] = {
      {kTap, "", "end"},
      {kTap, "00000000 00000000 FFFFFFFF 00", "mark, mark, end"},
      {kTap, "03000000 616263 00 03000000 01000000 64 00 01000000", "block abc, block d, end"},
      {kTap, "03000000 616263 03000000 01000000 64 01000000", "block abc, block d, end"},
      {kTap, "FEFFFFFF 02000000 6162 02000000 FFFFFEFF",
       "gap, block ab, gap, damage at 16: the "
       "image ends inside a marker"},
      {kTap, "02000080 6162 02000080", "bad ab, end"},
      {kTap, "0200", "damage at 0: the image ends inside a marker"},
      {kTap, "00000000 08000000 6162",
       "mark, damage at 4: the image ends inside a block of 8 bytes"},
      {kTap, "02000000 6162 03000000",
       "damage at 0: the opening marker 00000002 is closed by 00000003"},
      {kTap, "02000000 6162 02000080",
       "damage at 0: the opening marker 00000002 is closed by 80000002"},
      {kTap, "02000070 6162 02000070",
       "damage at 0: marker 70000002 is a private object of another program"},
      {kAws, "", "end"},
      {kAws, "0200 0000 A0 00 6162 0000 0200 40 00 0100 0000 A0 00 63",
       "block ab, mark, block c, "
       "end"},
      {kAws, "0100 0000 80 00 61 0100 0100 00 00 62 0100 0100 20 00 63", "block abc, end"},
      {kAws, "0200 00", "damage at 0: the image ends inside a chunk header"},
      {kAws, "0200 0000 A0 00 61", "damage at 0: the image ends inside a chunk of 2 bytes"},
      {kAws, "0100 0000 A0 00 61 0100 0200 A0 00 62",
       "block a, damage at 7: the chunk header says that 2 bytes stand before it, not 1"},
      {kAws, "0100 0000 40 00 61", "damage at 0: a tape mark with a length"},
      {kAws, "0100 0000 20 00 61", "damage at 0: a chunk without the first of its block"},
      {kAws, "0100 0000 80 00 61 0100 0100 A0 00 62",
       "damage at 0: a block begins before the last one has ended"},
      {kAws, "0100 0000 80 00 61 0000 0100 40 00", "damage at 0: a tape mark inside a block"},
      {kAws, "0100 0000 80 00 61", "damage at 0: the image ends inside a chunk header"},
      {kAws, "0100 0000 A1 00 61",
       "damage at 0: the chunk is compressed; compressed images are not supported"},
      {kAws, "0000 0000 A0 00", "damage at 0: a chunk without data"},
  };
  for (const auto& c : cases) EXPECT_EQ(Objects(c.format, FromHex(c.hex)), c.said) << c.hex;
}

}  // namespace
}  // namespace tolvane
