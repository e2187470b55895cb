#include "pipeline/record_format.h"

#include <gtest/gtest.h>

#include "support/temp_dir.h"

namespace tolvane {
namespace {

std::string Hex(const Byte* bytes, std::size_t count) {
  return test::ToHex({reinterpret_cast<const char*>(bytes), count});
}

TEST(RecordFormat, PrefixHoldsTypeAndLength) {
  const struct {
    std::int32_t descriptor_length;
    const char* hex;
  } cases[] = {
      {5, "40 01"},    {104, "40 64"},        {4091, "4F F7"},        {4092, "40 00"},
      {4095, "40 00"}, {4096, "40 00 0F FC"}, {32767, "40 00 7F FB"},
  };
  for (const auto& c : cases) {
    const VariablePrefix prefix = PrefixOfVariableRecord(c.descriptor_length);
    EXPECT_EQ(Hex(prefix.bytes.data(), prefix.width), c.hex) << c.descriptor_length;
  }
}

TEST(RecordFormat, HeaderHoldsTheSettledLengths) {
  const auto header = VariableFileHeader(100, 0x1234);
  EXPECT_EQ(Hex(header.data(), 4), "30 7E 00 00");
  EXPECT_EQ(Hex(&header[36], 4), "00 3E 00 01");
  EXPECT_EQ(header[48], 1);
  EXPECT_EQ(Hex(&header[56], 6), "12 34 00 00 12 34");
  int others = 0;
  for (const Byte byte : header) others += byte;
  EXPECT_EQ(others, 0x30 + 0x7E + 0x3E + 1 + 1 + 2 * (0x12 + 0x34));
  const auto wide = VariableFileHeader(4096, 70000);
  EXPECT_EQ(Hex(wide.data(), 4), "30 00 00 7C");
  EXPECT_EQ(Hex(&wide[56], 2), "FF FF");
}

}  // namespace
}  // namespace tolvane
