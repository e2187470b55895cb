#include "convert/sdf_record.h"

#include <gtest/gtest.h>

#include "state/options.h"
#include "support/temp_dir.h"

namespace tolvane {
namespace {

using Quarters = std::vector<std::uint16_t>;

std::string Hex(const std::vector<Byte>& bytes) {
  return test::ToHex({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

TEST(Comp1100, ValuesOfEveryWidthThereAndBack) {
  const struct {
    int digits;
    bool is_signed;
    Quarters quarters;
    const char* hex;
  } cases[] = {
      {1, true, {0776}, "FF FF"},
      {2, false, {0777}, "01 FF"},
      {3, true, {0, 0144}, "00 64"},
      {4, true, {0754, 0360}, "D8 F1"},  // -9,999
      {5, true, {0474, 0540}, "FF FE 79 61"},
      {6, true, {0777, 0777, 0776}, "FF FF FF FF"},
      {7, false, {0046, 0132, 0177}, "00 98 B4 7F"},
      {9, true, {0003, 0465, 0312, 0777}, "1C D5 95 FF"},
      {10, true, {0777, 0777, 0777, 0775}, "FF FF FF FF FF FF FF FE"},
      {13, true, {0, 1, 0, 0, 0}, "00 00 00 00 08 00 00 00"},
      {15, false, {1, 0, 0, 0, 0, 0}, "00 00 20 00 00 00 00 00"},
      {18, true, {0776, 0777, 0777, 0777, 0777, 0777, 0777}, "FF C0 00 00 00 00 00 00"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.digits);
    const Comp1100 field = Comp1100Of(c.digits);
    ASSERT_EQ(field.quarters, c.quarters.size());
    std::vector<Byte> bytes(field.bytes);
    EXPECT_TRUE(process1100Comp(field, c.is_signed, c.quarters.data(), bytes.data()));
    EXPECT_EQ(Hex(bytes), c.hex);
    Quarters back(field.quarters);
    EXPECT_TRUE(make1100Comp(field, c.is_signed, bytes.data(), back.data()));
    EXPECT_EQ(back, c.quarters);
  }
  EXPECT_EQ(Comp1100Of(0).quarters, 0U);
  EXPECT_EQ(Comp1100Of(19).quarters, 0U);
}

TEST(Comp1100, NegativeZeroIsZeroAndWhatDoesNotFitIsTold) {
  const Comp1100 field = Comp1100Of(4);  // 18 bits to 16
  std::vector<Byte> bytes(2);
  const Quarters negative_zero{0777, 0777}, large{0200, 0}, low{0477, 0777};
  EXPECT_TRUE(process1100Comp(field, true, negative_zero.data(), bytes.data()));
  EXPECT_EQ(Hex(bytes), "00 00");
  EXPECT_FALSE(process1100Comp(field, true, large.data(), bytes.data()));
  EXPECT_FALSE(process1100Comp(field, true, low.data(), bytes.data()));
  const Byte most[] = {0x01, 0x00};
  Quarters quarter(1);
  EXPECT_FALSE(make1100Comp(Comp1100Of(2), true, most, quarter.data()));
  EXPECT_TRUE(make1100Comp(Comp1100Of(2), false, most, quarter.data()));
}

TEST(Comp1100, SizesThatNoFieldHasAreRefused) {
  const Quarters quarters(1);
  Byte byte = 1;
  Quarters back(1, 1);
  EXPECT_FALSE(process1100Comp({8, 8}, true, quarters.data(), &byte));
  EXPECT_FALSE(process1100Comp({1, 4}, true, quarters.data(), &byte));
  EXPECT_FALSE(make1100Comp({12, 12}, true, &byte, back.data()));
  EXPECT_EQ(byte + back[0], 2);
}

class SdfRecord : public ::testing::Test {
 protected:
  SdfRecord() { opt = OptionSet{}; }
  std::string Convert(const Quarters& record) {
    SdfConverter converter(items_);
    if (!converter.Compile()) return "refused";
    std::vector<Byte> out(converter.MostBytes(record.size()));
    out.resize(converter.ConvertSdfRec(record, out.data()));
    return {out.begin(), out.end()};
  }
  MaskList items_;
};

TEST_F(SdfRecord, ShortRecordsAreFilledAndRawFieldsKeepTheirLength) {
  items_.push_back({.type = mask_type::kBinary, .length = 3, .location = 2});
  EXPECT_EQ(Convert({'A', 'B', 0, 1, 2, 'C'}), std::string("AB\0\2\2C", 6));
  EXPECT_EQ(Convert({'A', 'B', 0, 1}), "AB   ");
  EXPECT_EQ(Convert({}), "     ");
}

TEST_F(SdfRecord, SignsAreThoseOfTheTargetCompiler) {
  items_.push_back({.type = mask_type::kMfUnpacked, .length = 2, .location = 0});
  items_.push_back({.type = mask_type::kMbpUnpacked, .length = 2, .location = 2});
  EXPECT_EQ(Convert({'1', 'J', '1', 'J'}), "1q1A");
  EXPECT_EQ(Convert({'1', '}', '1', '}'}), "1p1@");
  EXPECT_EQ(Convert({'1', 'B', '1', '2'}), "1212");
  EXPECT_EQ(Convert({' ', ' ', ' ', ' '}), "    ");
}

TEST_F(SdfRecord, FieldsThatCanNotBePlacedAreRefused) {
  items_.push_back({.type = mask_type::kBinary,
                    .length = 1,
                    .location = 3,
                    .digits = 1,
                    .name = "N",
                    .expanded_location = 4});
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(Convert({}), "refused");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "\nERROR: Before 'N' stands a field without a name that is no text; give it a name in "
            "the copybook.\n");
  items_ = {{.type = mask_type::kBinary, .length = 8, .location = 4, .name = "FILLER"}};
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(Convert({}), "refused");
  EXPECT_EQ(
      ::testing::internal::GetCapturedStderr(),
      "\nERROR: Binary field 'FILLER' (-B4:8) of 36-bit data can not be converted: the most is "
      "7 quarter-words.\n");
  items_ = {{.type = mask_type::kFloat, .length = 4, .name = "F"}};
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(Convert({}), "refused");
  (void)::testing::internal::GetCapturedStderr();
}

}  // namespace
}  // namespace tolvane
