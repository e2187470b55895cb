#include "convert/convert.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstring>

#include "convert/conditions.h"
#include "datarep/decimal.h"
#include "reports/side_reports.h"
#include "state/options.h"
#include "state/run.h"
#include "support/temp_dir.h"

namespace tolvane {
namespace {

using test::FromHex;
using test::ToHex;

class Convert : public ::testing::Test {
 protected:
  Convert() {
    opt = OptionSet{};
    run = {};
    mask_list.clear();
    opt.outfile = dir_.Path("out");
    std::setlocale(LC_ALL, "C");
  }
  ~Convert() override { mask_list.clear(); }

  static void Field(char type, std::int32_t location, std::int64_t length,
                    std::int16_t occurs = 1) {
    AddNewItemToMaskList({.type = type, .length = length, .location = location, .occurs = occurs});
  }
  static void Condition(std::int64_t start, const std::string& op, const std::string& value) {
    AddNewItemToMaskList({.type = mask_type::kCondition,
                          .condition_start = start,
                          .condition_end = start + static_cast<std::int64_t>(value.size()),
                          .op = RelationOf(op),
                          .value = value});
  }
  // The converted record in hexadecimal; "stopped" when the conversion did.
  static std::string ToAscii(const std::string& hex) { return Converted(hex, false); }
  static std::string ToEbcdic(const std::string& hex) { return Converted(hex, true); }

  static std::string Converted(const std::string& hex, bool sw_a2e) {
    const std::string in = FromHex(hex);
    const RecordConverter converter(mask_list, sw_a2e);
    std::string out(in.size() + converter.growth(), '\xEE');
    const auto result = converter.ConvertBinChars(
        {reinterpret_cast<const Byte*>(in.data()), in.size()}, reinterpret_cast<Byte*>(out.data()));
    return result == 0 ? "stopped" : ToHex(out) + (result == 1 ? " no match" : "");
  }

  test::TempDir dir_;
};

struct SignCase {
  char type;
  bool sw_a2e;
  const char* in;
  const char* out;
};

TEST_F(Convert, SignsOfUnpackedFields) {
  const SignCase cases[] = {
      {'U', false, "F1 F2 D3", "31 32 73"}, {'M', false, "F1 F2 D3", "31 32 43"},
      {'U', false, "F1 F2 C3", "31 32 33"}, {'M', false, "F1 F2 F3", "31 32 33"},
      {'U', false, "40 40 40", "20 20 20"}, {'U', false, "F1 F2 20", "31 32 20"},
      {'U', true, "31 32 73", "F1 F2 D3"},  {'U', true, "31 32 33", "F1 F2 C3"},
      {'M', true, "31 32 43", "F1 F2 C3"},  {'M', true, "31 32 D3", "F1 F2 D3"},
      {'U', true, "20 20 20", "40 40 40"},
  };
  for (const SignCase& c : cases) {
    mask_list.clear();
    Field(c.type, 0, 3);
    EXPECT_EQ(Converted(c.in, c.sw_a2e), c.out) << c.type << " from " << c.in;
  }
}

TEST_F(Convert, FieldsAreLeftAloneAndTextAroundThemIsTranslated) {
  Field('P', 1, 2, 2);
  Field('B', 6, 2);
  Field('N', 9, 1);
  EXPECT_EQ(ToAscii("C1 12 3C 45 6D C2 C1 C2 40 F7"), "41 12 3C 45 6D 42 C1 C2 20 37");
  EXPECT_EQ(ToAscii("C1 40 40 45 6D C2 C1 C2 40 F7"), "41 20 20 E1 5F 42 C1 C2 20 37")
      << "a blank occurrence ends the item";
  EXPECT_EQ(ToEbcdic("41 12 3C 20 20 42 C1 C2 20 37"), "C1 12 3C 40 40 C2 C1 C2 40 F7");
  mask_list.clear();
  AddNewItemToMaskList(
      {.type = 'P', .length = 2, .location = 0, .occurs = 2, .has_sign_nibble = false});
  EXPECT_EQ(ToAscii("40 40 12 34 C1"), "40 40 12 34 41") << "without a sign 4040 is a number";
  EXPECT_EQ(ToEbcdic("20 20 12 34 41"), "20 20 12 34 C1");
}

TEST_F(Convert, SignsMayStandInTheFirstByte) {
  AddNewItemToMaskList(
      {.type = 'U', .length = 2, .location = 0, .occurs = 2, .sign_leading = true});
  EXPECT_EQ(ToAscii("D1 F2 C3 F4"), "71 32 33 34");
  EXPECT_EQ(ToEbcdic("71 32 33 34"), "D1 F2 C3 F4");
  EXPECT_EQ(ToAscii("40 40"), "20 20");
  std::string signs = "K2", out = signs;
  ConvertAsciiSigns({reinterpret_cast<const Byte*>(signs.data()), 2},
                    reinterpret_cast<Byte*>(out.data()));
  EXPECT_EQ(out, "r2");
  const std::string ascii = FromHex("71 32 33 34");
  out = FromHex("F1 F2 F3 F4");
  KeepEbcdicSigns({reinterpret_cast<const Byte*>(ascii.data()), 4},
                  reinterpret_cast<Byte*>(out.data()));
  EXPECT_EQ(ToHex(out), "D1 F2 43 F4");
}

std::string OfMachine(auto number) {
  std::string bytes(sizeof number, '\0');
  std::memcpy(bytes.data(), &number, sizeof number);
  return ToHex(bytes);
}

// The copybook's usage decides; further occurrences have none.
TEST_F(Convert, FloatingPointTakesTheFormOfTheOtherSide) {
  const auto add = [](std::int64_t length, std::int32_t location, char usage) {
    AddNewItemToMaskList({.type = 'F', .length = length, .location = location, .usage = usage});
  };
  add(4, 1, 'R');
  add(4, 5, 0);
  add(8, 9, 'R');
  const std::string machine = OfMachine(-1.5F) + " 41 18 00 00 " + OfMachine(2.5) + " ";
  const std::string mainframe = "C1 18 00 00 41 18 00 00 41 28 00 00 00 00 00 00 ";
  EXPECT_EQ(ToAscii("C1 " + mainframe + "C2"), "41 " + machine + "42");
  EXPECT_EQ(ToEbcdic("41 " + machine + "42"), "C1 " + mainframe + "C2");
  EXPECT_EQ(ToAscii("C1 C1 18"), "41 C1 18") << "not there whole";
  mask_list.clear();
  add(5, 0, 'R');
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(ToAscii("C1 18 00 00 00 C1"), "C1 18 00 00 00 41");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "\nERROR: Mismatch in size: Cannot convert floating point number.");
}

TEST_F(Convert, GroupsStartFromTheRecord) {
  Field('B', 1, 2);
  Condition(0, "EQ", "\xC1");
  Field('U', 1, 2);
  EXPECT_EQ(ToAscii("C1 F1 D2"), "41 31 72");
  EXPECT_EQ(ToAscii("C1 40 40"), "41 20 20");
  AddNewItemToMaskList({.type = mask_type::kCondition,
                        .location = -1,
                        .condition_start = 0,
                        .condition_end = 3,
                        .op = RelationOf("LT"),
                        .is_record_number = true});
  Field('B', 0, 1);
  EXPECT_EQ(ToAscii("C1 F1 D2"), "C1 31 72") << "a record number only adds fields";
  mask_list.clear();
  Field('B', 3, 2);
  Condition(0, "EQ", "\xC1");
  Field('P', 1, 2, 2);
  EXPECT_EQ(ToAscii("C1 40 40 40 40"), "41 20 20 20 20") << "behind a blank field stands text";
}

TEST_F(Convert, ShortRecordsPassOverWhatTheyDoNotHave) {
  Field('U', 1, 3);
  Field('P', 4, 2);
  Condition(0, "EQ", "\xC1");
  Field('B', 1, 1);
  EXPECT_EQ(ToAscii("C1"), "41");
  EXPECT_EQ(ToAscii("C1 F1 F2"), "41 F1 32");
  EXPECT_EQ(ToAscii("C2 F1 F2 D3 12"), "42 31 32 73 12 no match");
}

TEST_F(Convert, ConditionsChooseTheFieldsThatApply) {
  Field('B', 4, 1);
  Condition(0, "EQ", "\xC1\xC1");
  Field('B', 2, 1);
  Condition(0, "GT", "\xC2\xC2");
  Field('B', 3, 1);
  opt.sw_matchId = 1;
  EXPECT_EQ(ToAscii("C1 C1 C1 C1 C1"), "41 41 C1 41 C1");
  EXPECT_EQ(ToAscii("C3 C1 C1 C1 C1"), "43 41 41 C1 C1");
  EXPECT_FALSE(dir_.Exists("out.bad"));
  run.nCurrOutputRec = 6;
  EXPECT_EQ(ToAscii("C2 C2 C1 C1 C1"), "42 42 41 41 C1 no match");
  FlushReports();
  EXPECT_EQ(dir_.ReadFile("out.bad"), "Non matching record: (relative #) 7\n");
}

TEST_F(Convert, BitsBecomeCharactersAndMoveTheTextBehindThem) {
  AddNewItemToMaskList({.type = '1', .length = 1, .location = 0, .digits = 3, .source_bit = 6});
  Field('P', 2, 1);
  EXPECT_EQ(ToAscii("03 80 1C C1"), "31 31 31 1C 41");
}

TEST_F(Convert, WithoutMaskTheFirstByteThatIsNoTextStops) {
  EXPECT_EQ(ToAscii("C1 40 00 05 FF F0"), "41 20 00 09 FF 30");
  EXPECT_EQ(ToAscii("C1 C2 01 02"), "stopped");
  FlushReports();
  EXPECT_EQ(dir_.ReadFile("out.rpt"), "Binary sensitive data: record 1, offset 2, hex value 01\n");
  opt.sw_relaxed = 1;
  EXPECT_EQ(ToAscii("C1 01 C2"), "41 01 42");
  opt.sw_relaxed_fill = 1;
  opt.relaxedFillChar = ' ';
  EXPECT_EQ(ToAscii("C1 01 C2"), "41 20 42");
  EXPECT_EQ(ToEbcdic("41 01 42 7F"), "C1 20 C2 07");
}

TEST_F(Convert, RelaxedSignsAreFoundBehindDigits) {
  opt.sw_relaxed = opt.sw_relaxed_sign = opt.sw_mf = 1;
  EXPECT_EQ(ToAscii("F1 D2 C1 D2"), "31 72 41 4B");
  opt.sw_mbp = 1;
  EXPECT_EQ(ToAscii("F1 D2"), "31 42");
  EXPECT_EQ(ToEbcdic("31 72 41 72"), "F1 D2 C1 99");
  EXPECT_EQ(ToEbcdic("31 42"), "F1 D2");
}

TEST_F(Convert, RelaxedKeepsUnprintableBytesBetweenFields) {
  Field('P', 1, 1);
  Field('N', 3, 1);
  opt.sw_relaxed = 1;
  EXPECT_EQ(ToAscii("C1 1C 01 01 FA"), "41 1C 01 01 FA");
  EXPECT_EQ(ToAscii("C1 1C 05 05 40"), "41 1C 05 09 20") << "the item keeps the plain translation";
}

TEST_F(Convert, InterchangeCopiesTextAndTurnsSignsBack) {
  opt.sw_interchange = 1;
  Field('U', 1, 2);
  EXPECT_EQ(ToEbcdic("41 31 4B 7A"), "41 31 D2 7A");
  EXPECT_EQ(ToEbcdic("41 20 20 7A"), "41 20 20 7A");
}

TEST_F(Convert, PackedFieldsAreValidatedOnRequest) {
  const struct {
    const char* hex;
    bool valid;
  } cases[] = {{"12 3C", true}, {"1A 3C", false}, {"12 39", false}, {"0F", true}, {"A3 3C", false}};
  Field('P', 0, 2);
  opt.sw_validate = 1;
  for (const auto& c : cases) {
    const std::string field = FromHex(c.hex);
    EXPECT_EQ(validatePacked({reinterpret_cast<const Byte*>(field.data()), field.size()}),
              c.valid ? 0 : -1)
        << c.hex;
  }
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(ToAscii("1A 3C"), "1A 3C");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "\nWARNING: Invalid characters in packed numerics. Loc = 0\n");
  mask_list.clear();
  AddNewItemToMaskList({.type = 'P', .length = 2, .location = 0, .has_sign_nibble = false});
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(ToAscii("12 34"), "12 34");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(Convert, AsciiSignsAreRewrittenWhereTheFieldsApply) {
  Field('U', 0, 2);
  Condition(2, "EQ", "A");
  Field('M', 3, 2, 2);
  const auto convert = [](std::string record) {
    std::string out(record.size(), '\0');
    ConvertAsciiSigns({reinterpret_cast<const Byte*>(record.data()), record.size()},
                      reinterpret_cast<Byte*>(out.data()));
    return out;
  };
  EXPECT_EQ(convert("1KA2K3K"), "1rA2B3K");  // K is the overpunched -2
  EXPECT_EQ(convert("1 B2K3K"), "1 B2K3K");
  EXPECT_EQ(convert("1BA"), "12A");
  mask_list.clear();
  Field('U', 0, 2);
  Condition(0, "EQ", "1K");
  Field('U', 2, 2);
  EXPECT_EQ(convert("1K2K"), "1K2r") << "the compared range is copied again";
}

TEST(MaskList, SortsSegmentsAndNamesOverlaps) {
  mask_list.clear();
  AddNewItemToMaskList({.type = 'B', .length = 4, .location = 10, .name = "<UNNAMED>"});
  AddNewItemToMaskList({.type = 'P', .length = 2, .location = 12, .name = "<UNNAMED>"});
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(SortMaskList(0), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "\nERROR: Overlapping field definitions:\n\t<UNNAMED> (type B, offset 10, length 4, "
            "occurs 1)\n\t<UNNAMED> (type P, offset 12, length 2, occurs 1)\n");

  mask_list.clear();
  for (const int location : {30, 10, 20})
    AddNewItemToMaskList({.type = 'B', .length = 4, .location = location});
  AddNewItemToMaskList({.type = mask_type::kCondition, .length = 1, .location = 5});
  for (const int location : {8, 2})
    AddNewItemToMaskList({.type = 'B', .length = 4, .location = location});
  EXPECT_EQ(SortMaskSegments(0), 1);
  std::string order;
  for (const MaskItem& item : mask_list) order += std::to_string(item.location) + item.type + " ";
  EXPECT_EQ(order, "10B 20B 30B 5I 2B 8B ");

  AddNewItemToMaskList({.type = mask_type::kCondition, .length = 3, .location = 7});
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(SortMaskSegments(0), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "\nERROR: Meaningless option -I7:3:1\n");
  mask_list.clear();
}

TEST(Conditions, EveryOperatorKnowsThreeOutcomes) {
  const struct {
    const char* op;
    const char* outcomes;  // less, equal, greater
  } cases[] = {{"EQ", "010"}, {"NE", "101"}, {"GT", "001"},
               {"GE", "011"}, {"LT", "100"}, {"LE", "110"}};
  for (const auto& c : cases) {
    const Relation* const op = RelationOf(c.op);
    ASSERT_NE(op, nullptr) << c.op;
    std::string outcomes;
    for (const int comparison : {-9, 0, 9}) outcomes += op->Holds(comparison) ? '1' : '0';
    EXPECT_EQ(outcomes, c.outcomes) << c.op;
  }
  EXPECT_EQ(RelationOf("XX"), nullptr);
}

}  // namespace
}  // namespace tolvane
