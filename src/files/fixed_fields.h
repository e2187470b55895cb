// Records of fixed text fields, as the platform keeps them in its own indexed files, and those
// files.
//
// A field is a place in the record, counted from 0. Numbers stand in it as digits with leading
// zeros, texts with blanks behind them; what is not filled is blank.
#pragma once

#include <isam.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "files/isam_file.h"

namespace tolvane {

struct Field {
  std::size_t offset, width;
};

// A record under construction, or one that was read.
class FieldRecord {
 public:
  explicit FieldRecord(std::size_t size) : bytes_(size, ' ') {}

  // Fills a field. What does not fit is cut, a text behind and a number in front; where `what` is
  // given, a warning names the value by it then.
  void Text(Field field, const std::string& text, const char* what = nullptr);
  void Digits(Field field, std::int64_t value, const char* what = nullptr);
  // Two bytes, the high one first.
  void Short(Field field, std::int16_t value);
  // Now, by the local clock: YYMMDD and HHMM.
  void Date(Field field);
  void Time(Field field);

  [[nodiscard]] std::string Get(Field field) const {
    return bytes_.substr(field.offset, field.width);
  }
  // Nothing when the field holds anything but digits.
  [[nodiscard]] std::optional<std::int32_t> GetDigits(Field field) const;
  [[nodiscard]] bool IsBlank(Field field) const {
    return Get(field).find_first_not_of(' ') == std::string::npos;
  }

  // For the engine's calls.
  [[nodiscard]] char* data() { return bytes_.data(); }

 private:
  std::string bytes_;
};

// What looking for a record came to; an error has been reported.
enum class Found { kYes, kNo, kError };

// An open file of the platform.
class RecordFile {
 public:
  // Opens the file `name` in the platform's directory. is_open() tells whether that succeeded and
  // its records have `record_size` bytes; iserrno why not.
  RecordFile(const char* name, std::size_t record_size, int mode);

  [[nodiscard]] bool is_open() const { return file_.is_open(); }
  // Reads the first record whose key begins with the `bytes` bytes that stand in `record`; leaves
  // it alone when there is none.
  [[nodiscard]] Found Read(FieldRecord& record, std::size_t bytes);
  // As iswrite and isrewrite: 0, or -1 with iserrno set.
  [[nodiscard]] int Write(FieldRecord& record) { return iswrite(file_.handle(), record.data()); }
  [[nodiscard]] int Rewrite(FieldRecord& record) {
    return isrewrite(file_.handle(), record.data());
  }

 private:
  std::string path_;
  IsamFile file_;
};

}  // namespace tolvane
