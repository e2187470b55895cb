// The engine against a model: the same random operations on an indexed file and on ordered maps in
// memory, compared step by step and, for every index, record by record; the checker, which shares
// no code with the engine, reads the files in between.

#include <gtest/gtest.h>
#include <isam.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "check.h"
#include "support/temp_dir.h"

namespace {

struct Shape {
  const char* name;
  int mode;  // node size and counter width
  int primary_flags, second_flags;
  int key_length;  // of both keys
  int variety;     // different keys
};

void PrintTo(const Shape& shape, std::ostream* out) { *out << shape.name; }

constexpr int kRecordLength = 40;

keydesc Key(int start, int length, int flags) {
  keydesc key{};
  key.k_flags = static_cast<std::int16_t>(flags);
  key.k_nparts = 1;
  key.k_part[0] = {static_cast<std::int16_t>(start), static_cast<std::int16_t>(length), CHARTYPE};
  return key;
}

class Model : public testing::TestWithParam<Shape> {
 protected:
  void SetUp() override {
    const Shape& shape = GetParam();
    primary_ = Key(0, shape.key_length, shape.primary_flags);
    second_ = Key(20, shape.key_length, shape.second_flags);
    name_ = dir_.Path("f");
    handle_ = isbuild(name_.c_str(), kRecordLength, &primary_, ISINOUT | ISEXCLLOCK | shape.mode);
    ASSERT_GE(handle_, 0) << iserrno;
    ASSERT_EQ(isaddindex(handle_, &second_), 0) << iserrno;
  }
  void TearDown() override { isclose(handle_); }

  std::string RandomRecord() {
    const Shape& shape = GetParam();
    std::string record(kRecordLength, '.');
    for (const int start : {0, 20}) {
      std::string key = std::to_string(random_() % static_cast<unsigned>(shape.variety));
      key.resize(static_cast<std::size_t>(shape.key_length), ' ');
      record.replace(static_cast<std::size_t>(start), key.size(), key);
    }
    return record;
  }
  std::string KeyOf(const keydesc& key, const std::string& record) const {
    return record.substr(static_cast<std::size_t>(key.k_part[0].kp_start),
                         static_cast<std::size_t>(key.k_part[0].kp_leng));
  }
  bool Occurs(const keydesc& key, const std::string& value, std::int32_t but) const {
    return std::any_of(records_.begin(), records_.end(), [&](const auto& entry) {
      return entry.first != but && KeyOf(key, entry.second) == value;
    });
  }
  bool Clashes(const std::string& record, std::int32_t but) const {
    return ((primary_.k_flags & ISDUPS) == 0 && Occurs(primary_, KeyOf(primary_, record), but)) ||
           ((second_.k_flags & ISDUPS) == 0 && Occurs(second_, KeyOf(second_, record), but));
  }
  std::int32_t AnyRecord() {
    if (records_.empty()) return 0;
    auto at = records_.begin();
    std::advance(at, static_cast<std::ptrdiff_t>(random_() % records_.size()));
    return at->first;
  }

  void Write() {
    const std::string record = RandomRecord();
    const bool clashes = Clashes(record, 0);
    ASSERT_EQ(iswrite(handle_, record.data()), clashes ? -1 : 0) << iserrno;
    if (clashes) {
      ASSERT_EQ(iserrno, EDUPL);
    } else {
      ASSERT_EQ(records_.count(isrecnum), 0U);
      records_[isrecnum] = record;
    }
  }
  void Rewrite() {
    const std::int32_t number = AnyRecord();
    if (number == 0) return;
    const std::string record = RandomRecord();
    const bool clashes = Clashes(record, number);
    ASSERT_EQ(isrewrec(handle_, number, record.data()), clashes ? -1 : 0) << iserrno;
    if (!clashes) records_[number] = record;
  }
  void Delete() {
    const std::int32_t number = AnyRecord();
    if (number == 0) return;
    ASSERT_EQ(isdelrec(handle_, number), 0) << iserrno;
    records_.erase(number);
  }

  // Both directions of an index list exactly the records, in key order.
  void CompareIndex(const keydesc& key) {
    std::vector<std::int32_t> forward, backward;
    char record[kRecordLength] = {};
    ASSERT_EQ(isstart(handle_, &key, 0, record, ISFIRST), 0) << iserrno;
    std::string before;
    while (isread(handle_, record, ISNEXT) == 0) {
      const std::string read(record, kRecordLength);
      ASSERT_EQ(records_.count(isrecnum), 1U) << isrecnum;
      ASSERT_EQ(records_[isrecnum], read);
      ASSERT_LE(before, KeyOf(key, read));
      before = KeyOf(key, read);
      forward.push_back(isrecnum);
    }
    ASSERT_EQ(iserrno, EENDFILE);
    ASSERT_EQ(forward.size(), records_.size());
    if (forward.empty()) return;
    while (isread(handle_, record, ISPREV) == 0) backward.push_back(isrecnum);
    std::reverse(backward.begin(), backward.end());
    ASSERT_EQ(backward, forward);
    std::sort(forward.begin(), forward.end());
    ASSERT_EQ(std::unique(forward.begin(), forward.end()), forward.end());
  }

  void CheckFiles() {
    ASSERT_EQ(isclose(handle_), 0);
    isamck::Report report(name_);
    isamck::CheckFile(isamck::FindFiles(name_), report);
    if (report.status() != isamck::Status::kSound) report.PrintText();
    ASSERT_EQ(report.status(), isamck::Status::kSound);
    ASSERT_EQ(report.live_records, records_.size());
    handle_ = isopen(name_.c_str(), ISINOUT | ISEXCLLOCK);
    ASSERT_GE(handle_, 0) << iserrno;
  }

  tolvane::test::TempDir dir_;
  std::string name_;
  keydesc primary_{}, second_{};
  int handle_ = -1;
  std::map<std::int32_t, std::string> records_;
  std::mt19937 random_{20240229};
};

TEST_P(Model, AgreesAfterRandomOperations) {
  constexpr int kRounds = 12, kSteps = 250;
  for (int round = 0; round < kRounds; ++round) {
    // Growing and shrinking rounds take turns, so that nodes split and empty.
    const unsigned deletes = round % 3 == 2 ? 7 : 1;
    for (int step = 0; step < kSteps; ++step) {
      const auto choice = static_cast<unsigned>(random_() % 10);
      if (choice < deletes) {
        ASSERT_NO_FATAL_FAILURE(Delete()) << "step " << step;
      } else if (choice < deletes + 2) {
        ASSERT_NO_FATAL_FAILURE(Rewrite()) << "step " << step;
      } else {
        ASSERT_NO_FATAL_FAILURE(Write()) << "step " << step;
      }
    }
    ASSERT_NO_FATAL_FAILURE(CompareIndex(primary_)) << "round " << round;
    ASSERT_NO_FATAL_FAILURE(CompareIndex(second_)) << "round " << round;
    ASSERT_NO_FATAL_FAILURE(CheckFiles()) << "round " << round;
    dictinfo info;
    ASSERT_EQ(isisaminfo(handle_, &info), 0);
    ASSERT_EQ(info.di_nrecords, static_cast<int>(records_.size()));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, Model,
    testing::Values(Shape{"plain", ISNODESIZE(1), ISNODUPS, ISDUPS, 8, 100000},
                    Shape{"many_duplicates", ISNODESIZE(1), ISDUPS, ISDUPS, 8, 40},
                    Shape{"narrow_counter", ISNODESIZE(1) | ISDUPWIDTH(1), ISNODUPS, ISDUPS, 8,
                          3000},
                    Shape{"compressed", ISNODESIZE(1), COMPRESS, ISDUPS | COMPRESS, 16, 4000},
                    Shape{"compressed_duplicates", ISNODESIZE(1), ISDUPS | COMPRESS,
                          ISDUPS | DCOMPRESS, 16, 60},
                    Shape{"leading", ISNODESIZE(2), LCOMPRESS, ISDUPS | TCOMPRESS, 18, 2000},
                    Shape{"wide_nodes", ISNODESIZE(32), ISNODUPS, ISNODUPS, 8, 100000}),
    [](const auto& shape) { return std::string(shape.param.name); });

}  // namespace
