#include "media/splitbit.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/temp_dir.h"

namespace tolvane {
namespace {

std::vector<Byte> Bytes(const char* hex) {
  const std::string text = test::FromHex(hex);
  return {text.begin(), text.end()};
}

TEST(SplitBit, FieldataBecomesCharacters) {
  char text[5] = "";
  splitFieldData(Bytes("18 72 05").data(), 4, text);
  EXPECT_STREQ(text, "ABC ");
  char corners[5] = "";
  splitFieldData(Bytes("00 07 FE").data(), 4, corners);  // codes 0, 0, 31, 62
  EXPECT_STREQ(corners, "@@Z\"");
  char untouched[2] = "x";
  splitFieldData(nullptr, 0, untouched);
  EXPECT_STREQ(untouched, "x");
}

TEST(SplitBit, QuartersHalvesAndWordsOfOneGroup) {
  // Quarters 001 002 004 010 020 040 100 1FF (hexadecimal): word 1 is 001 002 004 010.
  const auto group = Bytes("00 80 80 80 80 80 81 01 FF");
  const SplitQuarters split = splitBits(group.data(), 72);
  EXPECT_EQ(split.count, 8);
  EXPECT_EQ(split.quarter, (Quarters{0x001, 0x002, 0x004, 0x008, 0x010, 0x020, 0x080, 0x1FF}));
  EXPECT_EQ(splitHalf(group.data(), 1), (0x001U << 9 | 0x002U));
  EXPECT_EQ(splitHalf(group.data(), 2), (0x004U << 9 | 0x008U));
  EXPECT_EQ(splitHalf(group.data(), 3), (0x010U << 9 | 0x020U));
  EXPECT_EQ(splitHalf(group.data(), 4), (0x080U << 9 | 0x1FFU));
  EXPECT_EQ(splitHalf(group.data(), 5), 0U);
  EXPECT_EQ(split32bits(group.data(), 1), (((0x001LL << 9 | 2) << 9 | 4) << 9 | 8));
  EXPECT_EQ(split32bits(group.data(), 3), 0);
  const auto negative = Bytes("FF FF FF FF E0 80 00 00 01");
  EXPECT_EQ(split32bits(negative.data(), 1), -2);
  EXPECT_EQ(split32bits(negative.data(), 2), -2147483647);
}

TEST(SplitBit, CountsAreRoundedUpButOnlyWholeBytesAreRead) {
  const auto group = Bytes("FF FF FF FF FF FF FF FF FF");
  EXPECT_EQ(splitBits(group.data(), 4).count, 1);
  EXPECT_EQ(splitBits(group.data(), 4).quarter[0], 0);
  EXPECT_EQ(splitBits(group.data(), 18).count, 2);
  EXPECT_EQ(splitBits(group.data(), 18).quarter[1], 0x1FC);  // 16 of its 18 bits were read
  EXPECT_EQ(splitBits(group.data(), 0).count, 0);
  EXPECT_EQ(splitBits(group.data(), 73).count, 0);
}

TEST(SplitBit, JoinsQuartersToTwosComplement) {
  const struct {
    std::vector<std::uint16_t> quarters;
    bool is_signed;
    const char* hex;
  } cases[] = {
      {{0x1FF}, true, "00 00"},  // negative zero
      {{0x1FE}, true, "FF FF"},  // -1
      {{0x1FE}, false, "01 FE"},
      {{0x000, 0x123}, true, "00 00 01 23"},
      {{0x1FF, 0x1FF, 0x1FD}, true, "FF FF FF FE"},
      {{1, 0, 0, 0}, true, "00 00 00 00 08 00 00 00"},
      {{0x1FF, 0x1FF, 0x1FF, 0x1FF, 0x1FF, 0x1FF, 0x1EF}, true, "FF FF FF FF FF FF FF F0"},
  };
  for (const auto& c : cases) {
    Byte to[8] = {};
    const int length =
        stringBits(static_cast<int>(c.quarters.size()), c.quarters, 0, to, c.is_signed);
    EXPECT_EQ(test::ToHex({reinterpret_cast<char*>(to), static_cast<std::size_t>(length)}), c.hex);
  }
  Byte to[8];
  const std::uint16_t two[] = {1, 2};
  EXPECT_EQ(stringBits(2, two, 1, to, false), 0);
  EXPECT_EQ(stringBits(8, two, 0, to, false), 0);
}

TEST(SplitBit, UnpacksGroupsAsQuartersCutToBytes) {
  std::vector<Byte> packed(9 * 5);
  for (std::size_t i = 0; i < packed.size(); ++i) packed[i] = static_cast<Byte>(i * 37 + 11);
  std::vector<Byte> unpacked(8 * 5);
  UnpackGroups(packed.data(), 5, unpacked.data());
  for (std::size_t i = 0; i < unpacked.size(); ++i)
    EXPECT_EQ(unpacked[i], splitBits(&packed[i / 8 * 9], 72).quarter[i % 8] & 0xFF) << i;
}

TEST(SplitBit, FullWordCountsItsTopBitsAsHigherPowers) {
  EXPECT_EQ(splitFull(Bytes("01 00 00 10 00 00 00 00").data()), 4294967297.0);
  EXPECT_EQ(splitFull(Bytes("FF FF FF 0F FF FF FF FF").data()), 268435455.0);
}

TEST(SplitBit, QuartersOfGroupsArePackedAgain) {
  const std::vector<Byte> packed{0x80, 0x7F, 0x01, 0xFE, 0x55, 0xAA, 0x33, 0xCC, 0x0F,
                                 0x00, 0xFF, 0x10, 0xEF, 0x20, 0xDF, 0x30, 0xCF, 0xF1};
  std::vector<std::uint16_t> quarters(16);
  UnpackQuarters(packed.data(), 2, quarters.data());
  for (std::size_t group = 0; group < 2; ++group) {
    const SplitQuarters split = splitBits(&packed[group * kGroupBytes], 72);
    for (std::size_t i = 0; i < kGroupQuarters; ++i)
      EXPECT_EQ(quarters[group * kGroupQuarters + i], split.quarter[i]) << group << " " << i;
  }
  std::vector<Byte> again(packed.size());
  PackQuarters(quarters.data(), 2, again.data());
  EXPECT_EQ(again, packed);
}

}  // namespace
}  // namespace tolvane
