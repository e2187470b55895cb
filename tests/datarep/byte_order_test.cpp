#include "datarep/byte_order.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

TEST(ByteOrder, NegativeValuesFillTheirWholeWidth) {
  Byte bytes[10];
  StoreBigWidth(bytes, 10, -2);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(bytes[i], 0xFF) << i;
  EXPECT_EQ(bytes[9], 0xFE);
  StoreBigWidth(bytes, 3, 0x12345678);
  EXPECT_EQ(LoadBigWidth(bytes, 3), 0x345678U);
}

TEST(ByteOrder, BigAndLittleReadEachOthersBytesReversed) {
  const Byte bytes[] = {0x80, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07};
  EXPECT_EQ(LoadBig<std::int16_t>(bytes), -32767);
  EXPECT_EQ(LoadLittle<std::uint16_t>(bytes), 0x0180);
  EXPECT_EQ(LoadBig<std::uint32_t>(bytes), 0x80010203U);
  EXPECT_EQ(LoadLittle<std::uint64_t>(bytes), 0x0706050403020180U);
  Byte out[8];
  StoreBig<std::int64_t>(out, LoadBig<std::int64_t>(bytes));
  EXPECT_EQ(LoadNative<std::uint64_t>(out), LoadNative<std::uint64_t>(bytes));
}

}  // namespace
}  // namespace tolvane
