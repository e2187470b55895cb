// Small files, byte by byte, as worked out by hand from the description of the format.

#include <gtest/gtest.h>
#include <isam.h>
#include <isam_ext.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "isam/support.h"
#include "support/temp_dir.h"

namespace {

using isam_test::Key;
using isam_test::Record;
using tolvane::test::FromHex;
using tolvane::test::ToHex;

constexpr int kLength = 80;
constexpr std::size_t kNode = 1024;

class Layout : public testing::Test {
 protected:
  void Build(int mode = 0, keydesc key = Key(0, 8), int length = kLength) {
    handle_ = isbuild(dir_.Path("f").c_str(), length, &key, ISINOUT | ISEXCLLOCK | mode);
    ASSERT_GE(handle_, 0) << iserrno;
  }
  void Write(int key, char fill = '.') {
    ASSERT_EQ(iswrite(handle_, Record(key, kLength, fill).data()), 0) << iserrno;
  }
  void WriteRun(int first, int last, int step = 1) {
    for (int key = first; key <= last; key += step) Write(key);
  }
  std::string Bytes(std::size_t offset, std::size_t count) {
    return ToHex(dir_.ReadFile("f.idx").substr(offset, count));
  }
  std::string NodeBytes(std::size_t node, std::size_t offset, std::size_t count) {
    return Bytes((node - 1) * kNode + offset, count);
  }
  // Used bytes and level of a node.
  std::string Head(std::size_t node) {
    return NodeBytes(node, 0, 2) + " / " + NodeBytes(node, kNode - 2, 1);
  }

  tolvane::test::TempDir dir_;
  int handle_ = -1;
};

TEST_F(Layout, DictionaryAndKeyDescription) {
  Build();
  ASSERT_EQ(isclose(handle_), 0);
  EXPECT_EQ(Bytes(0, 25),
            "FE 53 02 02 04 04 03 FF 00 01 07 02 00 00 50 00 00 00 02 00 00 00 00 00 00");
  // Free lists, highest record, highest node, change counter left out, unique identifier, audit.
  EXPECT_EQ(Bytes(25, 16), "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 03");
  EXPECT_EQ(
      Bytes(45, 32),
      "00 00 00 01 00 00 00 00 00 08 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
      "00 00");
  EXPECT_EQ(Bytes(kNode - 6, 6), "00 00 56 51 52 7A");
  EXPECT_EQ(NodeBytes(2, 0, 19), "00 12 00 00 00 00 00 0C 00 00 00 03 00 00 08 00 00 00 00");
  EXPECT_EQ(NodeBytes(2, kNode - 3, 3), "FF 7E 00");
  EXPECT_EQ(Head(3), "00 02 / 00");
  EXPECT_EQ(dir_.ReadFile("f.idx").size(), 3 * kNode);
}

TEST_F(Layout, FlagsAndNullBytesInKeyDescriptions) {
  Build(ISTRAILER | ISNODESIZE(1) | ISDUPWIDTH(4), Key(4, 6, ISDUPS | COMPRESS | NULLKEY, 0x2000));
  ASSERT_EQ(isclose(handle_), 0);
  EXPECT_EQ(Bytes(6, 6), "01 FF 00 01 07 04");
  EXPECT_EQ(Bytes(512 - 6, 2), "00 01");
  EXPECT_EQ(Bytes(512, 19), "00 13 00 00 00 00 00 0D 00 00 00 03 17 80 06 00 04 20 00");
}

TEST_F(Layout, LeafSlotsAndCounters) {
  Build(0, Key(0, 8, ISDUPS));
  Write(7);
  Write(5);
  Write(7);
  ASSERT_EQ(isdelrec(handle_, 2), 0);
  ASSERT_EQ(isclose(handle_), 0);
  EXPECT_EQ(NodeBytes(3, 0, 30),
            "00 1E 30 30 30 30 30 30 30 37 00 00 00 00 00 01 30 30 30 30 30 30 30 37 00 01 "
            "00 00 00 03");
  const std::string data = dir_.ReadFile("f.dat");
  ASSERT_EQ(data.size(), 3U * (kLength + 1));
  EXPECT_EQ(data.substr(0, kLength + 1), Record(7, kLength) + "\n");
  // A deleted record keeps its bytes.
  EXPECT_EQ(data.substr(kLength + 1, kLength + 1), Record(5, kLength) + std::string(1, '\0'));
  // The list of free records is a node of its own, taken behind the root.
  EXPECT_EQ(Bytes(25, 16), "00 00 00 04 00 00 00 00 00 00 00 03 00 00 00 04");
  EXPECT_EQ(NodeBytes(4, 0, 10), "00 0A 00 00 00 00 00 00 00 02");
  EXPECT_EQ(NodeBytes(4, kNode - 3, 2), "FF 7F");
}

TEST_F(Layout, AnAscendingRunLeavesFullNodes) {
  Build();
  WriteRun(1, 84);
  EXPECT_EQ(Head(3), "03 F2 / 00");  // 2 + 84 * 12
  Write(85);
  ASSERT_EQ(isclose(handle_), 0);
  EXPECT_EQ(Head(3), "00 1A / 01");
  EXPECT_EQ(NodeBytes(3, 2, 24),
            ToHex(Record(84, 8)) + " 00 00 00 04 " + ToHex(Record(85, 8)) + " 00 00 00 05");
  EXPECT_EQ(Head(4), "03 F2 / 00");
  EXPECT_EQ(NodeBytes(5, 0, 14), "00 0E " + ToHex(Record(85, 8)) + " 00 00 00 55");
}

TEST_F(Layout, AFullNodeIsSplitInTheMiddle) {
  Build();
  WriteRun(2, 168, 2);
  Write(83);  // before the 42nd key
  ASSERT_EQ(isclose(handle_), 0);
  EXPECT_EQ(Head(4), "02 06 / 00");  // 2 + 43 * 12
  EXPECT_EQ(Head(5), "01 FA / 00");  // 2 + 42 * 12
  EXPECT_EQ(NodeBytes(4, 2 + 41 * 12, 24),
            ToHex(Record(83, 8)) + " 00 00 00 55 " + ToHex(Record(84, 8)) + " 00 00 00 2A");
  EXPECT_EQ(NodeBytes(3, 2, 12), ToHex(Record(84, 8)) + " 00 00 00 04");
}

TEST_F(Layout, CompressedEntries) {
  Build(0, Key(0, 10, ISDUPS | COMPRESS));
  for (const char* name : {"SMALL     ", "SMITH     ", "SMITH     "})
    ASSERT_EQ(iswrite(handle_, (name + std::string(kLength, '.')).data()), 0);
  ASSERT_EQ(isclose(handle_), 0);
  EXPECT_EQ(NodeBytes(3, 0, 38),
            "00 20 00 05 53 4D 41 4C 4C 00 00 00 00 00 01 "  // SMALL
            "02 05 49 54 48 00 00 80 00 00 02 "              // ITH, repeated
            "00 01 00 00 00 03 00 00 00 00 00 00");
}

TEST_F(Layout, NumbersComeBackLastFreedFirst) {
  Build();
  WriteRun(1, 10);
  for (const int number : {5, 9, 7}) ASSERT_EQ(isdelrec(handle_, number), 0);
  std::vector<int> given;
  for (int key = 11; key <= 14; ++key) {
    Write(key);
    given.push_back(isrecnum);
  }
  EXPECT_EQ(given, (std::vector<int>{7, 9, 5, 11}));
  // The list's node went back with the last number: it is the head of the list of free nodes.
  ASSERT_EQ(isclose(handle_), 0);
  EXPECT_EQ(Bytes(25, 8), "00 00 00 00 00 00 00 04");
  EXPECT_EQ(NodeBytes(4, 0, 6), "00 06 00 00 00 00");
}

// The number comes back to a record of the same key, which stands behind all others of that key.
TEST_F(Layout, ANumberGivenAgainIsAnotherRecord) {
  const keydesc fill = Key(70, 1, ISDUPS);
  Build();
  ASSERT_EQ(isaddindex(handle_, &fill), 0);
  WriteRun(1, 6);
  char record[kLength];
  ASSERT_EQ(isstart(handle_, &fill, 0, record, ISFIRST), 0);
  for (int i = 0; i < 3; ++i) ASSERT_EQ(isread(handle_, record, ISNEXT), 0);
  ASSERT_EQ(isdelcurr(handle_), 0);
  Write(9);
  ASSERT_EQ(isrecnum, 3);
  std::vector<int> order;
  for (int mode = ISPREV; isread(handle_, record, mode) == 0; mode = ISNEXT)
    order.push_back(isrecnum);
  EXPECT_EQ(order, (std::vector<int>{2, 4, 5, 6, 3}));
  ASSERT_EQ(isclose(handle_), 0);
}

// As the death of a machine leaves it: the dictionary is older than the data.
TEST_F(Layout, RecordsThatTheDictionaryDoesNotKnowAreKept) {
  constexpr std::size_t kHighestRecord = 33;
  Build();
  WriteRun(1, 100);
  ASSERT_EQ(isclose(handle_), 0);
  std::string index = dir_.ReadFile("f.idx");
  index[kHighestRecord + 3] = 50;
  dir_.WriteFile("f.idx", index);
  handle_ = isopen(dir_.Path("f").c_str(), ISINOUT | ISEXCLLOCK);
  EXPECT_EQ(iswrite(handle_, Record(200, kLength).data()), -1);
  EXPECT_EQ(iserrno, EBADFILE);
  ASSERT_EQ(isclose(handle_), 0);
  EXPECT_EQ(dir_.ReadFile("f.dat").size(), 100 * (kLength + 1));
}

TEST_F(Layout, PreciousNumbersAreNotGivenAgain) {
  Build();
  WriteRun(1, 6);
  ASSERT_EQ(isdelrec(handle_, 3), 0);
  ASSERT_EQ(isprecious(handle_, 1), 0);
  ASSERT_EQ(isdelrec(handle_, 2), 0);
  dictinfo info;
  ASSERT_EQ(isisaminfo(handle_, &info), 0);
  EXPECT_EQ(info.di_nrecords, 6);
  Write(7);
  EXPECT_EQ(isrecnum, 7);
  ASSERT_EQ(isprecious(handle_, 0), 0);
  Write(8);
  EXPECT_EQ(isrecnum, 2);
  Write(9);
  EXPECT_EQ(isrecnum, 3);
  ASSERT_EQ(isclose(handle_), 0);
}

// The third node of the list has no mark, or names a number that was never given.
TEST_F(Layout, ADamagedListIsNotGivenBack) {
  constexpr int kRecords = 900;
  constexpr std::size_t kMark = kNode - 3, kNumber = 6, kListHead = 25, kNext = 2;
  for (const auto& [place, byte] : {std::pair{kMark, '\0'}, {kNumber, '\x7F'}}) {
    Build();
    WriteRun(1, kRecords);
    for (int number = 1; number < kRecords; ++number) ASSERT_EQ(isdelrec(handle_, number), 0);
    ASSERT_EQ(isclose(handle_), 0);
    std::string index = dir_.ReadFile("f.idx");
    std::size_t at = kListHead;
    for (int node = 0; node < 3; ++node)
      at =
          (std::stoul("0x" + ToHex(index.substr(at + 2, 2)).erase(2, 1), nullptr, 16) - 1) * kNode +
          kNext;
    index[at - kNext + place] = byte;
    dir_.WriteFile("f.idx", index);
    handle_ = isopen(dir_.Path("f").c_str(), ISINOUT | ISEXCLLOCK);
    EXPECT_EQ(isprecious(handle_, 1), -1);
    EXPECT_EQ(iserrno, EBADFILE);
    isclose(handle_);
    EXPECT_EQ(dir_.ReadFile("f.idx"), index);
    ASSERT_EQ(iserase(dir_.Path("f").c_str()), 0);
  }
}

TEST_F(Layout, RecordsOfAFileWithoutDataLiveByTheirEntries) {
  Build(0, Key(0, 8), 0);
  for (int key = 1; key <= 2; ++key) Write(key);
  ASSERT_EQ(isdelrec(handle_, 1), 0);
  EXPECT_EQ(isrewrec(handle_, 1, Record(3, kLength).data()), -1);
  EXPECT_EQ(iserrno, ENOREC);
  EXPECT_EQ(isrewrec(handle_, 2, Record(2, kLength).data()), 0);
  EXPECT_EQ(isrewrec(handle_, 2, Record(4, kLength).data()), 0);
  char records[kLength];
  EXPECT_EQ(isscan(handle_, records, 1, nullptr), -1);
  EXPECT_EQ(iserrno, EBADARG);
  ASSERT_EQ(isclose(handle_), 0);
}

TEST_F(Layout, WhatIsNoIndexFileIsNamedSo) {
  dir_.WriteFile("f.idx", "a text of some length that is no index");
  EXPECT_EQ(isopen(dir_.Path("f").c_str(), ISINPUT), -1);
  EXPECT_EQ(iserrno, EBADFILE);
  dir_.WriteFile("taken.dat", "x");
  setenv("ZORISAMDAT", "no", 1);
  keydesc key = Key(0, 8);
  const int handle = isbuild(dir_.Path("bare").c_str(), kLength, &key, ISINOUT | ISEXCLLOCK);
  key.k_nparts = -1;
  char record[kLength] = {};
  EXPECT_EQ(isstart(handle, &key, 0, record, ISFIRST), -1);
  EXPECT_EQ(iserrno, EBADKEY);
  isclose(handle);
  EXPECT_EQ(isrename(dir_.Path("bare").c_str(), dir_.Path("taken").c_str()), -1);
  EXPECT_EQ(iserrno, EEXIST);
  unsetenv("ZORISAMDAT");
}

TEST_F(Layout, NamesOfTheFiles) {
  setenv("ZORISAMDAT", "no", 1);
  Build();
  ASSERT_EQ(isclose(handle_), 0);
  EXPECT_TRUE(dir_.Exists("f"));
  unsetenv("ZORISAMDAT");
  handle_ =
      isopen(dir_.Path("f").c_str(), ISINPUT);  // the bare name is found where it is all there is
  EXPECT_GE(handle_, 0) << iserrno;
  isclose(handle_);
  ASSERT_EQ(isrename(dir_.Path("f").c_str(), dir_.Path("g").c_str()), 0) << iserrno;
  EXPECT_TRUE(dir_.Exists("g"));
  dir_.WriteFile("f.lnk", dir_.Path("g"));
  handle_ = isopen(dir_.Path("f").c_str(), ISINPUT);
  EXPECT_GE(handle_, 0) << iserrno;
  isclose(handle_);
  const std::string long_name(1596, 'x');
  EXPECT_EQ(isopen(long_name.c_str(), ISINPUT), -1);
  EXPECT_EQ(iserrno, EFNAME);
  const keydesc key = Key(0, 8);
  handle_ = isbuild(dir_.Path("h").c_str(), 0, &key, ISINOUT);
  EXPECT_GE(handle_, 0) << iserrno;
  isclose(handle_);
  EXPECT_TRUE(dir_.Exists("h.idx"));
  EXPECT_FALSE(dir_.Exists("h.dat"));  // a record length of 0 needs none
}

}  // namespace
