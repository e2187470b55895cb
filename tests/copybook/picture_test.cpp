#include "copybook/picture.h"

#include <gtest/gtest.h>

#include <string>

namespace tolvane::copybook {
namespace {

std::string Analyze(std::string_view text) {
  constexpr const char* kNames[] = {"none",    "alphabetic",     "alphanumeric", "alpha-edited",
                                    "numeric", "numeric-edited", "boolean",      "national"};
  Picture picture;
  PictureError error;
  if (!AnalyzePicture(text, Settings(), picture, error))
    return "error at " + std::to_string(error.at);
  std::string out = kNames[static_cast<int>(picture.category)];
  for (const auto& part :
       {std::string(" "), std::to_string(picture.size), std::string(" "),
        std::to_string(picture.digits), std::string(","), std::to_string(picture.decimals)})
    out += part;
  return out + (picture.is_signed ? " signed" : "");
}

TEST(Picture, MeasuresEveryClass) {
  const struct {
    const char* text;
    const char* expected;
  } cases[] = {
      {"X(10)", "alphanumeric 10 0,0"},
      {"a(3)", "alphabetic 3 0,0"},
      {"X9A", "alphanumeric 3 0,0"},
      {"XXBX/0", "alpha-edited 6 0,0"},
      {"9(5)", "numeric 5 5,0"},
      {"s9(7)v99", "numeric 9 9,2 signed"},
      {"VPP9(3)", "numeric 3 3,5"},
      {"PP9", "numeric 1 1,3"},
      {"S9(3)PPP", "numeric 3 3,-3 signed"},
      {"9(5).99", "numeric-edited 8 7,2"},
      {"Z,ZZ9.99CR", "numeric-edited 10 6,2 signed"},
      {"$$$,$$9.99", "numeric-edited 10 7,2"},
      {"-(5)9.9", "numeric-edited 8 6,1 signed"},
      {"+++.++", "numeric-edited 6 4,2 signed"},
      {"**,***.99DB", "numeric-edited 11 7,2 signed"},
      {"99/99/9999", "numeric-edited 10 8,0"},
      {"9(5)-", "numeric-edited 6 5,0 signed"},
      {"+$Z(3).99", "numeric-edited 8 5,2 signed"},
      // With DECIMAL-POINT IS COMMA.
      {"Z.ZZZ.ZZ9,99", "numeric-edited 12 9,2"},
      {"9.999,9-", "numeric-edited 8 5,1 signed"},
      {"99.99.9999", "numeric-edited 10 8,0"},
      {"1(12)", "boolean 12 0,0"},
      {"N(4)", "national 4 0,0"},
      {"X(2147483647)", "alphanumeric 2147483647 0,0"},
  };
  for (const auto& test : cases) EXPECT_EQ(Analyze(test.text), test.expected) << test.text;
}

TEST(Picture, NamesThePlaceOfWhatIsWrong) {
  const struct {
    std::string text;
    std::size_t at;
  } cases[] = {
      {"X(5", 1},
      {"X(0)", 1},
      {"X()", 1},
      {"9(5)Q", 4},
      {"9S9", 1},
      {"S9S9", 2},
      {"9V9V9", 3},
      {"9,9.9,9.9", 7},
      {"9V9PP", 3},
      {"Z9Z", 2},
      {"Z*9", 1},
      {"$-9", 1},
      {"9CR9", 3},
      {"+9CR", 2},
      {"+-9", 1},
      {"X9V9", 2},
      {"V", 0},
      {"PP", 0},
      {"XC", 1},
      {"9(32)", 0},
      {"9(1000000000)", 0},
      {"X(2147483648)", 1},
      {"X(99999999999999999999)", 1},
      {"X(2147483647)X", 0},
      {std::string(256, '9'), 0},
      {"1X", 1},
      {"ZS9", 1},
      {"9E9", 1},
  };
  for (const auto& test : cases)
    EXPECT_EQ(Analyze(test.text), "error at " + std::to_string(test.at)) << test.text;
}

}  // namespace
}  // namespace tolvane::copybook
