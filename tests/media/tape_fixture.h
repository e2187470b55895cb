// What the tests of tapes share: volumes of records of 4 bytes, written and read.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "media/tape_image.h"
#include "media/tape_out.h"
#include "state/options.h"
#include "support/faults.h"
#include "support/temp_dir.h"

namespace tolvane {

using Records = std::vector<std::string>;

class Tape : public ::testing::Test {
 protected:
  Tape() {
    opt = OptionSet{};
    sys.time = [](std::time_t*) { return std::time_t{1700000000}; };  // 2023-11-14
    setenv("TZ", "UTC", 1);
  }
  // Writes records of 4 bytes in blocks of two.
  std::int64_t Write(const std::string& path, const Records& records, bool fixed = true) {
    auto tape = openTapeOut({.path = path,
                             .block_size = fixed ? 8 : 20,
                             .record_size = 4,
                             .volume_serial = "SER001",
                             .file_label = "PAYROLL",
                             .fixed = fixed});
    if (tape == nullptr) return -1;
    for (const std::string& record : records)
      if (!putTapeOut(*tape, reinterpret_cast<const Byte*>(record.data()))) return -2;
    return closeTapeOut(*tape);
  }
  Records Read(const std::string& path, bool fixed = true) {
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    Records records;
    if (auto tape = openTapeIn({.path = path,
                                .record_size = record_size_,
                                .block_size = block_size_,
                                .kind = kind_,
                                .fixed = fixed})) {
      for (;;) {
        const TapeRecord record = getTapeIn(*tape, 100);
        if (record.length == 0) break;
        records.emplace_back(record.data.begin(), record.data.end());
      }
      closeTapeIn(*tape);
    } else {
      records.emplace_back("not opened");
    }
    said_ = ::testing::internal::GetCapturedStdout();
    complained_ = ::testing::internal::GetCapturedStderr();
    return records;
  }
  // Makes the image "t" of blocks, "*" for a mark.
  void WriteObjects(const std::vector<std::string>& objects) {
    TapeImageWriter writer(ImageFormat::kTap);
    EXPECT_TRUE(writer.Open(dir_.Path("t")));
    for (const std::string& object : objects) {
      if (object == "*") {
        writer.WriteMark();
      } else {
        writer.WriteBlock({reinterpret_cast<const Byte*>(object.data()), object.size()});
      }
    }
    EXPECT_TRUE(writer.Close());
  }
  // The blocks of an image: labels in ASCII, "*" for a mark.
  Records Blocks(const std::string& name) {
    TapeImageReader reader(ImageFormat::kTap);
    EXPECT_TRUE(reader.Open(dir_.Path(name)));
    Records blocks;
    for (;;) {
      const TapeObject object = reader.Next();
      if (object.kind == TapeObject::Kind::kEnd) return blocks;
      if (object.kind == TapeObject::Kind::kMark) {
        blocks.emplace_back("*");
      } else {
        blocks.push_back(
            ReadLabel(object.data).value_or(std::string(object.data.begin(), object.data.end())));
      }
    }
  }
  std::string Images(const std::string& kind, const std::vector<std::string>& names) const {
    std::string path;
    for (const std::string& name : names) path += (path.empty() ? "" : ",") + dir_.Path(name);
    return kind + path;
  }

  test::TempDir dir_;
  test::SavedSystem saved_;
  std::string said_, complained_;
  std::int32_t record_size_ = 4, block_size_ = 8;
  InputKind kind_ = InputKind::kTape;
};

inline std::string Padded(std::string label) {
  label.resize(80, ' ');
  return label;
}

}  // namespace tolvane
