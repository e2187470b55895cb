#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "dates/age_date.h"
#include "dates/expand_date.h"
#include "dates/guess.h"

namespace tolvane {
namespace {

constexpr std::int64_t kDay = 86400;

class Aging : public ::testing::Test {
 protected:
  static void Zone(const char* name) {
    setenv("TZ", name, 1);
    tzset();
  }
  // The field after aging; "failed" with the message when it could not be aged.
  static std::string Age(char layout, std::string field, std::int64_t seconds) {
    const AgeEntry entry{"DATE", 15, 6, 1997, layout, seconds};
    DateAger ager(entry);
    ::testing::internal::CaptureStderr();
    std::string first;
    for (int i = 0; i < 2; ++i) {  // the second time from memory
      std::string copy = field;
      const int result = ager.AgeDate({reinterpret_cast<Byte*>(copy.data()), copy.size()});
      if (result == 0) copy = "failed: " + copy;
      EXPECT_EQ(copy, i == 1 ? first : copy);
      first = copy;
    }
    const std::string said = ::testing::internal::GetCapturedStderr();
    return said.empty() ? first : first + said.substr(0, said.size() / 2);
  }
};

TEST_F(Aging, EveryLayoutMovesByADay) {
  Zone("UTC");
  const struct {
    char layout;
    const char *from, *to;
  } cases[] = {
      {'A', "19991231", "20000101"},
      {'B', "12311999", "01012000"},
      {'C', "31121999", "01012000"},
      {'D', "30", "01"},
      {'E', "311299", "010100"},
      {'F', "1999", "1999"},
      {'G', "991231", "000101"},
      {'J', "99365", "00001"},
      {'M', "06", "06"},
      {'R', "123199", "010100"},
      {'S', "91231", "00101"},
      {'Y', "99", "99"},
      {'Z', "9912", "9912"},
      {'G', "960228", "960229"},
      {'G', "970228", "970301"},
      {'A', "20360229", "20360301"},
      {'A', "19680229", "19680301"},
      {'A', "00000229", "00000301"},
  };
  for (const auto& c : cases) EXPECT_EQ(Age(c.layout, c.from, kDay), c.to) << c.layout;
  EXPECT_EQ(Age('G', "000101", -kDay), "991231");
  EXPECT_EQ(Age('G', "991231tail", kDay), "000101tail");
}

TEST_F(Aging, BlanksZerosAndNinesStay) {
  for (const char* field : {"      ", "000000", "999999"}) EXPECT_EQ(Age('G', field, kDay), field);
  EXPECT_EQ(Age('J', "99999", kDay), "99999");
}

TEST_F(Aging, DatesThatDoNotExistAreNormalisedOrRefused) {
  Zone("UTC");
  EXPECT_EQ(Age('G', "970230", kDay), "970303");
  EXPECT_EQ(Age('G', "970000", kDay), "970616") << "zero parts take the defaults";
  EXPECT_EQ(Age('G', "97AB01", kDay),
            "failed: 97AB01\nERROR: Age error on date: year =   97, month = AB, day = 01\n");
  EXPECT_EQ(Age('A', "1997", kDay),
            "failed: 1997\nERROR: Age error on date: year =     , month =   , day =   \n");
  EXPECT_EQ(Age('A', "99990101", 400 * kDay).substr(0, 16), "failed: 99990101");
  EXPECT_EQ(Age('Q', "970101", kDay),
            "failed: 970101\nERROR: Extract date - unsupported date format 'Q'\n");
}

TEST_F(Aging, CenturiesAndZonesTakePart) {
  Zone("UTC");
  EXPECT_EQ(Age('A', "19970615", 36525 * kDay), "20970615");
  EXPECT_EQ(Age('A', "19970615", -36525 * kDay), "18970614");
  Zone("XXX-5");  // five hours east: local midnight is the day before in UTC
  EXPECT_EQ(Age('A', "19970615", 0), "19970614");
  Zone("XXX5");
  EXPECT_EQ(Age('A', "19970615", 0), "19970615");
  Zone("UTC");
}

TEST(ExpandDate, PutsTheCenturyBeforeTheYear) {
  const struct {
    char layout;
    const char *date, *century, *expanded;
  } cases[] = {
      {'E', "311299", "19", "31121999"}, {'R', "123199", "19", "12311999"},
      {'G', "991231", "19", "19991231"}, {'J', "99365", "20", "2099365"},
      {'S', "91231", "199", "19991231"}, {'Y', "99", "19", "1999"},
      {'Z', "9912", "19", "199912"},     {'G', "      ", " ", "        "},
      {'S', "00000", "0", "00000000"},   {'F', "1999", "19", ""},
      {'A', "19991231", "19", ""},       {'G', "9912", "19", ""},
  };
  for (const auto& c : cases) {
    Byte to[8];
    const std::string date = c.date;
    const std::size_t length = ExpandDateField(
        {reinterpret_cast<const Byte*>(date.data()), date.size()}, c.layout, c.century, to);
    EXPECT_EQ(std::string(to, to + length), c.expanded) << c.layout;
  }
}

TEST(Layouts, NamesSizesAndLetters) {
  EXPECT_EQ(GetFormatTypeFromString("yymmdd"), 'G');
  EXPECT_EQ(GetFormatTypeFromString("YYJJJ"), 'J');
  EXPECT_EQ(GetFormatTypeFromString("YYY"), 0);
  std::string sizes;
  for (const char letter : std::string("ABCDEFGJMRSYZ"))
    sizes += letter + std::to_string(GetExtPackedDateSize(letter)) +
             std::to_string(GetExtBinDateSize(letter)) + " ";
  EXPECT_EQ(sizes, "A00 B00 C00 D00 E58 F48 G58 J48 M00 R58 S58 Y32 Z48 ");
}

TEST(Guess, EveryDigitCountHasItsRules) {
  const struct {
    std::int64_t value;
    int digits;
    bool packed;
    const char* letters;
  } cases[] = {
      {0, 2, false, "0"},        {98, 2, false, "Y"},      {99, 2, false, "9"},
      {199, 2, false, "9"},      {1970, 4, false, "F"},    {2036, 4, false, "F"},
      {2037, 4, false, "X"},     {9812, 4, false, "Z"},    {9913, 4, false, "9"},
      {99999, 5, true, "9"},     {97366, 5, true, "J"},    {97131, 5, true, "J"},
      {70131, 5, true, "JS"},    {70931, 5, true, "S"},    {97999, 5, true, "X"},
      {971231, 6, false, "G"},   {123197, 6, false, "R"},  {311297, 6, false, "E"},
      {101097, 6, false, "RE"},  {999999, 6, false, "9"},  {319999, 6, false, "X"},
      {19971231, 8, true, "A"},  {12311997, 8, true, "B"}, {31121997, 8, true, "C"},
      {99991231, 8, true, "A"},  {18121231, 8, true, "A"}, {10101231, 8, true, "X"},
      {10101997, 8, true, "BC"}, {99999999, 8, true, "9"}, {97131, 6, true, "X"},
      {1231997, 7, true, "B"},   {123, 3, true, ""},       {123, 3, false, "X"},
      {123456789, 9, true, ""},  {1234567, 7, false, "X"}, {1, 1, false, "X"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(GuessLayouts(c.value, c.digits, c.packed), c.letters) << c.value << "/" << c.digits;
}

}  // namespace
}  // namespace tolvane
