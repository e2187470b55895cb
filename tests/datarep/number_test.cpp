#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>

#include "datarep/decimal.h"
#include "datarep/float.h"
#include "support/temp_dir.h"

namespace tolvane {
namespace {

using test::FromHex;
using test::ToHex;

std::span<Byte> Bytes(std::string& text) {
  return {reinterpret_cast<Byte*>(text.data()), text.size()};
}

TEST(Packed, StoresRightAlignedAndLoadsBack) {
  std::string field(3, '\xEE');
  StorePacked(Bytes(field), "123", kPackedNegative);
  EXPECT_EQ(ToHex(field), "00 12 3D");
  StorePacked(Bytes(field), "98765", kPackedPositive);
  EXPECT_EQ(ToHex(field), "98 76 5C");
  const Unpacked loaded = LoadPacked(Bytes(field));
  EXPECT_EQ(loaded.digits, "98765");
  EXPECT_EQ(loaded.sign_nibble, 0xC);
}

TEST(DigitString, KeepsLowDigitsAndMarksNegatives) {
  std::string field(4, ' ');
  mstintuc(Bytes(field), 7);
  EXPECT_EQ(field, "0007");
  mstintuc(Bytes(field), 123456);
  EXPECT_EQ(field, "3456");
  mstintuc(Bytes(field), -12);
  EXPECT_EQ(field, "001r");
  mstintuc(Bytes(field), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(field.substr(0, 3), "580");
}

struct HexFloat {
  const char* hex;
  double value;
};

// The bytes are worked out by hand: 0.fraction * 16^(exponent - 64).
TEST(HexFloat, DoublesConvertBothWays) {
  const HexFloat cases[] = {
      {"41 10 00 00 00 00 00 00", 1.0},      {"C1 10 00 00 00 00 00 00", -1.0},
      {"42 64 00 00 00 00 00 00", 100.0},    {"40 80 00 00 00 00 00 00", 0.5},
      {"C2 76 A0 00 00 00 00 00", -118.625}, {"00 00 00 00 00 00 00 00", 0.0},
      {"41 20 00 00 00 00 00 01", 2.0},  // more bits than the machine has: rounded
  };
  for (const HexFloat& c : cases) {
    std::string field = FromHex(c.hex);
    ASSERT_TRUE(mflt3tou(Bytes(field)));
    double value = 0;
    std::memcpy(&value, field.data(), sizeof value);
    EXPECT_EQ(value, c.value) << c.hex;
    ASSERT_TRUE(mfltuto3(Bytes(field)));
    const bool exact = std::string(c.hex).back() != '1';
    EXPECT_EQ(ToHex(field), exact ? c.hex : "41 20 00 00 00 00 00 00");
  }
}

TEST(HexFloat, SinglesRoundAndStayInRange) {
  const struct {
    float value;
    const char* hex;
  } cases[] = {
      {0.1F, "40 19 99 9A"},     {-118.625F, "C2 76 A0 00"},
      {FLT_MAX, "60 FF FF FF"},  {1.17549435e-38F, "21 40 00 00"},
      {INFINITY, "7F FF FF FF"}, {-INFINITY, "FF FF FF FF"},
      {NAN, "00 00 00 00"},      {16777215.0F, "46 FF FF FF"},
  };
  for (const auto& c : cases) {
    std::string field(4, 0);
    std::memcpy(field.data(), &c.value, sizeof c.value);
    ASSERT_TRUE(mfltuto3(Bytes(field)));
    EXPECT_EQ(ToHex(field), c.hex) << c.value;
  }
}

TEST(HexFloat, OutOfRangeBecomesLargestOrZero) {
  std::string large = FromHex("7F FF FF FF");  // 7.2e75
  ASSERT_TRUE(mflt3tou(Bytes(large)));
  EXPECT_EQ(LoadNative<float>(Bytes(large).data()), FLT_MAX);
  std::string small = FromHex("00 10 00 00");  // 5.4e-79
  ASSERT_TRUE(mflt3tou(Bytes(small)));
  EXPECT_EQ(LoadNative<float>(Bytes(small).data()), 0.0F);

  const struct {
    double value;
    const char* hex;
  } cases[] = {
      {1e300, "7F FF FF FF FF FF FF FF"},
      {-1e-300, "00 00 00 00 00 00 00 00"},
      {std::numeric_limits<double>::quiet_NaN(), "00 00 00 00 00 00 00 00"},
  };
  for (const auto& c : cases) {
    std::string field(8, 0);
    std::memcpy(field.data(), &c.value, sizeof c.value);
    ASSERT_TRUE(mfltuto3(Bytes(field)));
    EXPECT_EQ(ToHex(field), c.hex) << c.value;
  }
  std::string odd(5, 'x');
  EXPECT_FALSE(mflt3tou(Bytes(odd)));
  EXPECT_FALSE(mfltuto3(Bytes(odd)));
  EXPECT_EQ(odd, "xxxxx");
}

}  // namespace
}  // namespace tolvane
