#include "datarep/charset.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <numeric>
#include <vector>

namespace tolvane {
namespace {

TEST(Charset, AgreesWithIconvButForTheExchangedPair) {
  const iconv_t converter = iconv_open("ISO-8859-1", "IBM037");
  ASSERT_NE(converter, iconv_t(-1));
  for (int code = 0; code < 256; ++code) {
    char in = static_cast<char>(code), out = 0;
    char *from = &in, *to = &out;
    std::size_t in_left = 1, out_left = 1;
    ASSERT_EQ(iconv(converter, &from, &in_left, &to, &out_left), 0U) << code;
    const int expected = code == 0xDF ? 0x9F : code == 0xFF ? 0xFF : static_cast<Byte>(out);
    EXPECT_EQ(ebc2asc[static_cast<std::size_t>(code)], expected) << code;
  }
  iconv_close(converter);
}

TEST(Charset, TablesAreEachOthersInverse) {
  for (std::size_t code = 0; code < 256; ++code) {
    EXPECT_EQ(asc2ebc[ebc2asc[code]], code);
    EXPECT_EQ(ebc2asc[asc2ebc[code]], code);
  }
}

TEST(Charset, TranslatesEveryLengthAndTouchesNothingBehind) {
  std::vector<Byte> in(300);
  std::iota(in.begin(), in.end(), Byte{7});
  for (std::size_t count = 0; count <= 260; ++count) {
    std::vector<Byte> out(in.size(), 0xAA);
    Translate(ebc2asc, in.data(), count, out.data());
    for (std::size_t i = 0; i < out.size(); ++i)
      ASSERT_EQ(out[i], i < count ? ebc2asc[in[i]] : 0xAA) << count << " bytes, at " << i;
  }
}

}  // namespace
}  // namespace tolvane
