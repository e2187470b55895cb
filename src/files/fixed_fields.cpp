#include "files/fixed_fields.h"

#include <algorithm>

#include "datarep/decimal.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/paths.h"

namespace tolvane {
namespace {

Byte* AsBytes(char* text) { return reinterpret_cast<Byte*>(text); }  // NOLINT: text as bytes

}  // namespace

void FieldRecord::Text(Field field, const std::string& text, const char* what) {
  std::string value = text.substr(0, field.width);
  if (what != nullptr && value != text)
    PrintWarning("The %s '%s' is registered as '%s': there is room for %zu characters.\n", what,
                 text.c_str(), value.c_str(), field.width);
  value.resize(field.width, ' ');
  bytes_.replace(field.offset, field.width, value);
}

void FieldRecord::Digits(Field field, std::int64_t value, const char* what) {
  mstintuc({AsBytes(&bytes_[field.offset]), field.width}, value);
  if (what != nullptr && GetDigits(field) != value)
    PrintWarning("The %s %ld is registered as '%s': there is room for %zu digits.\n", what, value,
                 Get(field).c_str(), field.width);
}

void FieldRecord::Short(Field field, std::int16_t value) {
  StoreBig(AsBytes(&bytes_[field.offset]), value);
}

void FieldRecord::Date(Field field) {
  const std::tm now = LocalNow();
  Digits(field, (now.tm_year % 100) * 10000 + (now.tm_mon + 1) * 100 + now.tm_mday);
}

void FieldRecord::Time(Field field) {
  const std::tm now = LocalNow();
  Digits(field, now.tm_hour * 100 + now.tm_min);
}

std::optional<std::int32_t> FieldRecord::GetDigits(Field field) const {
  const std::string digits = Get(field);
  if (digits.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  return static_cast<std::int32_t>(std::stol(digits));
}

RecordFile::RecordFile(const char* name, std::size_t record_size, int mode)
    : path_(platform_paths.zorvafiles + "/" + name), file_(path_, mode) {
  const int length = file_.RecordLength();
  if (length < 0 || length == static_cast<int>(record_size)) return;
  PrintError("'%s' has records of %d bytes where the platform's have %zu.\n", path_.c_str(), length,
             record_size);
  (void)file_.Close();  // nothing was written
  iserrno = EBADFILE;
}

Found RecordFile::Read(FieldRecord& record, std::size_t bytes) {
  keydesc prime{};
  FieldRecord found = record;
  if (isindexinfo(file_.handle(), &prime, 1) == 0) {
    const int length = std::min(static_cast<int>(bytes), static_cast<int>(prime.k_len));
    if (isstart(file_.handle(), &prime, length, found.data(), ISEQUAL) == 0 &&
        isread(file_.handle(), found.data(), ISCURR) == 0) {
      record = found;
      return Found::kYes;
    }
    if (iserrno == ENOREC || iserrno == EENDFILE) return Found::kNo;
  }
  PrintError("Could not read '%s': error %d\n", path_.c_str(), iserrno);
  return Found::kError;
}

}  // namespace tolvane
