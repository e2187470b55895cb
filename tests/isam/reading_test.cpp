// What reads give: records in the order of keys of every type, and by number.

#include <gtest/gtest.h>
#include <isam.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "isam/support.h"
#include "support/temp_dir.h"

namespace {

using isam_test::Key;
using isam_test::Record;
using tolvane::test::FromHex;
using tolvane::test::ToHex;

template <typename Value>
std::string Native(std::initializer_list<Value> values) {
  std::string bytes;
  for (const Value value : values)
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);  // NOLINT: its bytes
  return bytes;
}

class Reading : public testing::Test {
 protected:
  int Build(const keydesc& key, std::size_t length) {
    return isbuild(dir_.Path("f").c_str(), static_cast<int>(length), &key, ISINOUT | ISEXCLLOCK);
  }
  tolvane::test::TempDir dir_;
};

TEST_F(Reading, KeysOfEveryTypeAreInOrder) {
  const struct {
    int type;
    std::size_t width;
    std::string ascending;
  } cases[] = {
      {CHARTYPE, 2,
       "\x01z"
       "A "
       "Az"
       "\xFF\x01"},
      {STRINGTYPE, 3,
       std::string("A\0z"
                   "AB\0"
                   "ABC"
                   "B\0\0",
                   12)},
      {INTTYPE, 2, FromHex("8000 FFFF 0000 0001 7FFF")},
      {LONGTYPE, 4, FromHex("80000000 FFFFFFFE 00000000 7FFFFFFF")},
      {MINTTYPE, 2, Native<std::int16_t>({-32768, -1, 0, 1, 256, 32767})},
      {MLONGTYPE, 4, Native<std::int32_t>({-70000, -1, 0, 255, 65536})},
      {FLOATTYPE, 4, Native<float>({NAN, -1e30F, -1.5F, -0.0F, 0.0F, 1e-10F, 2.5F, INFINITY})},
      {DOUBLETYPE, 8, Native<double>({-INFINITY, -2.0, -1e-300, 0.0, 1e-300, 3.0})},
  };
  for (const auto& c : cases) {
    for (const bool descending : {false, true}) {
      std::vector<std::string> keys;
      for (std::size_t at = 0; at < c.ascending.size(); at += c.width)
        keys.push_back(c.ascending.substr(at, c.width));
      if (descending) std::reverse(keys.begin(), keys.end());
      const auto width = static_cast<int>(c.width);
      const int handle =
          Build(Key(0, width, ISNODUPS, c.type | (descending ? ISDESC : 0)), c.width);
      for (const std::size_t first : {1U, 0U})
        for (std::size_t i = first; i < keys.size(); i += 2)
          EXPECT_EQ(iswrite(handle, keys[i].data()), 0) << c.type << " " << ToHex(keys[i]);
      std::vector<std::string> read;
      std::string record(c.width, ' ');
      while (isread(handle, record.data(), ISNEXT) == 0) read.push_back(record);
      EXPECT_EQ(read, keys) << c.type << (descending ? " descending" : "");
      isclose(handle);
      ASSERT_EQ(iserase(dir_.Path("f").c_str()), 0);
    }
  }
}

TEST_F(Reading, ByNumber) {
  constexpr std::size_t kLength = 20;
  const int handle = Build(Key(0, 8), kLength);
  for (int key = 6; key >= 1; --key) ASSERT_EQ(iswrite(handle, Record(key, kLength).data()), 0);
  for (const int number : {1, 4}) ASSERT_EQ(isdelrec(handle, number), 0);
  const keydesc by_number{};
  std::string record(kLength, ' ');
  ASSERT_EQ(isstart(handle, &by_number, 0, record.data(), ISFIRST), 0);
  const struct {
    int mode, wanted, found;  // found: the record's number, or less the error
  } cases[] = {
      {ISNEXT, 0, 2},         {ISNEXT, 0, 3},         {ISNEXT, 0, 5},         {ISPREV, 0, 3},
      {ISCURR, 0, 3},         {ISLAST, 0, 6},         {ISNEXT, 0, -EENDFILE}, {ISPREV, 0, 6},
      {ISFIRST, 0, 2},        {ISPREV, 0, -EENDFILE}, {ISEQUAL, 5, 5},        {ISEQUAL, 4, -ENOREC},
      {ISEQUAL, 7, -ENOCURR}, {ISGREAT, 3, 5},        {ISGTEQ, 4, 5},         {ISGTEQ, 0, 2},
      {ISGREAT, 6, -ENOREC},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("mode " + std::to_string(c.mode) + ", number " + std::to_string(c.wanted));
    isrecnum = c.wanted;
    const int result = isread(handle, record.data(), c.mode);
    EXPECT_EQ(result == 0 ? isrecnum : -iserrno, c.found);
    if (result == 0) {
      EXPECT_EQ(record, Record(7 - c.found, kLength));
    }
  }
  isclose(handle);
}

}  // namespace
