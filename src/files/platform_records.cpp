#include "files/platform_records.h"

#include <isam.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "datarep/decimal.h"
#include "files/isam_file.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/paths.h"
#include "platform/trace.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {
namespace {

struct Field {
  std::size_t offset, width;
};

struct PlatformFile {
  const char* name;
  std::size_t record_size;
};

// System record: 512 bytes.
namespace zorsys {
constexpr PlatformFile kFile{"zorsys", 512};
constexpr Field kType{0, 1};           // "F", a file
constexpr Field kName{1, 8};           // logical file name, upper case
constexpr Field kNumber{9, 2};         // "00"
constexpr std::size_t kKeyBytes = 11;  // the three fields before
constexpr Field kDescription{19, 28};
constexpr Field kDate{47, 6}, kTime{53, 4};
constexpr Field kProgram{57, 8};
constexpr Field kUnprintable{81, 1};  // made a blank if it is not printable
constexpr Field kPath{103, 64};
constexpr Field kFileType{183, 2};
constexpr Field kOrganisation{185, 1};
constexpr Field kBlockSize{186, 5};
constexpr Field kKeyCount{207, 4};
constexpr std::size_t kKeySlots = 211, kKeySlotWidth = 11;
constexpr Field kLogicalDelete{413, 1}, kLogicalNumber{415, 4};
constexpr Field kRecordSize{424, 5};
// Within a key slot.
constexpr Field kKeyStart{0, 4}, kKeyLength{4, 3}, kKeyDuplicates{7, 1}, kKeyChanges{8, 1};
}  // namespace zorsys

// Security record: 512 bytes.
namespace zorsec {
constexpr PlatformFile kFile{"zorsec", 512};
constexpr const char* kOwner = "ZOR$Y$";
constexpr Field kOwnerName{0, 8};
constexpr Field kType{8, 1}, kName{9, 8};      // "F", logical file name
constexpr std::size_t kKeyBytes = 17;          // what a record is found by
constexpr Field kType2{17, 1}, kName2{18, 8};  // the same again
constexpr Field kShort255{26, 2}, kShort0{28, 2};
constexpr Field kDate{40, 6}, kTime{46, 4};
constexpr Field kProgram{50, 8};
}  // namespace zorsec

// Catalogue record: 200 bytes.
namespace zorcatlg {
constexpr PlatformFile kFile{"zorcatlg", 200};
constexpr Field kVolume{0, 6}, kLabel{6, 44}, kName{56, 8}, kPath{65, 64};
constexpr Field kDate{129, 6}, kProgram{135, 8};
}  // namespace zorcatlg

// Fields that are filled only when blank.
struct Default {
  Field field;
  const char* text;
};
constexpr Default kSystemDefaults[] = {
    {{82, 1}, "S"}, {{83, 1}, "T"},     {{84, 1}, "N"},     {{85, 1}, "N"},
    {{87, 1}, "N"}, {{195, 4}, "0512"}, {{203, 4}, "0001"},
};
constexpr Default kSecurityDefaults[] = {{zorsec::kOwnerName, zorsec::kOwner}, {{38, 1}, "1"}};

std::string ToUpper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// A record under construction: blanks, then fields.
class PlatformRecord {
 public:
  explicit PlatformRecord(std::size_t size) : bytes_(size, ' ') {}

  // Text is cut at the field's width, with a warning that names it as `what`, and padded with
  // blanks.
  void Text(Field field, const std::string& text, const char* what = nullptr) {
    std::string value = text.substr(0, field.width);
    if (what != nullptr && value != text)
      PrintWarning("The %s '%s' is registered as '%s': there is room for %zu characters.\n", what,
                   text.c_str(), value.c_str(), field.width);
    value.resize(field.width, ' ');
    bytes_.replace(field.offset, field.width, value);
  }
  void Digits(Field field, std::int64_t value, const char* what = nullptr) {
    mstintuc(
        {reinterpret_cast<Byte*>(&bytes_[field.offset]), field.width},  // NOLINT: text as bytes
        value);
    if (what != nullptr && GetDigits(field) != value)
      PrintWarning("The %s %ld is registered as '%s': there is room for %zu digits.\n", what, value,
                   Get(field).c_str(), field.width);
  }
  void Short(Field field, std::int16_t value) {
    mstshort(reinterpret_cast<Byte*>(&bytes_[field.offset]), value);  // NOLINT: text as bytes
  }
  [[nodiscard]] std::string Get(Field field) const {
    return bytes_.substr(field.offset, field.width);
  }
  // Without trailing blanks.
  [[nodiscard]] std::string GetText(Field field) const {
    std::string text = Get(field);
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
  }
  // Nothing when the field holds anything but digits.
  [[nodiscard]] std::optional<std::int32_t> GetDigits(Field field) const {
    const std::string digits = Get(field);
    if (digits.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
    return static_cast<std::int32_t>(std::stol(digits));
  }
  [[nodiscard]] bool IsBlank(Field field) const {
    return Get(field).find_first_not_of(' ') == std::string::npos;
  }
  void FillBlank(const Default& row) {
    if (IsBlank(row.field)) Text(row.field, row.text);
  }
  void Clear() { bytes_.assign(bytes_.size(), ' '); }
  [[nodiscard]] char* data() { return bytes_.data(); }

 private:
  std::string bytes_;
};

void StampDate(PlatformRecord& record, Field date) {
  const std::tm now = LocalNow();
  record.Digits(date, (now.tm_year % 100) * 10000 + (now.tm_mon + 1) * 100 + now.tm_mday);
}

void StampTime(PlatformRecord& record, Field time) {
  const std::tm now = LocalNow();
  record.Digits(time, now.tm_hour * 100 + now.tm_min);
}

std::string ProgramName() { return std::string(progName) + " "; }

// What looking for a record came to.
enum class Found { kYes, kNo, kError };

// An open platform file, closed at the end.
class PlatformFileHandle {
 public:
  explicit PlatformFileHandle(const PlatformFile& file, int mode = ISOUTPUT | ISAUTOLOCK)
      : path_(platform_paths.zorvafiles + "/" + file.name), file_(path_, mode) {
    const int length = file_.RecordLength();
    if (length < 0 || length == static_cast<int>(file.record_size)) return;
    PrintError("'%s' has records of %d bytes where the platform's have %zu.\n", path_.c_str(),
               length, file.record_size);
    (void)file_.Close();  // nothing was written
    iserrno = EBADFILE;
  }

  [[nodiscard]] bool is_open() const { return file_.is_open(); }
  // Reads the first record whose key begins with the `bytes` bytes that stand in `record`; leaves
  // it alone when there is none. An error has been reported.
  [[nodiscard]] Found Read(PlatformRecord& record, std::size_t bytes) {
    keydesc prime{};
    PlatformRecord found = record;
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
  [[nodiscard]] int Write(PlatformRecord& record) { return iswrite(file_.handle(), record.data()); }
  [[nodiscard]] int Rewrite(PlatformRecord& record) {
    return isrewrite(file_.handle(), record.data());
  }

 private:
  std::string path_;
  IsamFile file_;
};

PlatformRecord SystemKey(const std::string& name) {
  PlatformRecord record(zorsys::kFile.record_size);
  record.Text(zorsys::kType, "F");
  record.Text(zorsys::kName, name);
  record.Text(zorsys::kNumber, "00");
  return record;
}

PlatformRecord SecurityKey(const std::string& name) {
  PlatformRecord record(zorsec::kFile.record_size);
  record.Text(zorsec::kOwnerName, zorsec::kOwner);
  record.Text(zorsec::kType, "F");
  record.Text(zorsec::kName, name);
  return record;
}

// The record of a name, else the platform's template, else blanks; none after an error, which has
// been reported. Deliberate: the name is looked for as it was typed, though it is stored in upper
// case, so that a name in lower case always begins with the template.
template <typename MakeKey>
std::optional<PlatformRecord> FindOrDefault(PlatformFileHandle& file, MakeKey make_key,
                                            std::size_t key_bytes) {
  PlatformRecord record = make_key("");
  for (const std::string& name : {opt.addsysfile, std::string("DEFAULT")}) {
    record = make_key(name);
    const Found found = file.Read(record, key_bytes);
    if (found == Found::kError) return std::nullopt;
    if (found == Found::kYes) return record;
  }
  record.Clear();
  return record;
}

void FillKeySlots(PlatformRecord& record) {
  for (std::size_t i = 0; i < opt.keyDescr.size(); ++i) {
    const KeyEntry& key = opt.keyDescr[i];
    const std::size_t slot = zorsys::kKeySlots + i * zorsys::kKeySlotWidth;
    const auto in_slot = [slot](Field field) { return Field{slot + field.offset, field.width}; };
    // Deliberate: of a key without length only the length is written.
    record.Digits(in_slot(zorsys::kKeyLength), std::max(key.length, 0), "key length");
    if (key.length <= 0) continue;
    record.Digits(in_slot(zorsys::kKeyStart), key.location, "key location");
    record.Text(in_slot(zorsys::kKeyDuplicates), key.duplicates ? "Y" : "N");
    record.Text(in_slot(zorsys::kKeyChanges), key.changes ? "Y" : "N");
  }
}

void FillSystemRecord(PlatformRecord& record, SystemFileType type) {
  record.Text(zorsys::kType, "F");
  record.Text(zorsys::kName, ToUpper(opt.addsysfile), "name");
  record.Text(zorsys::kNumber, "00");
  if (record.IsBlank(zorsys::kDescription))
    record.Text(zorsys::kDescription, std::string("created by ") + progName + " utility  ");
  StampDate(record, zorsys::kDate);
  StampTime(record, zorsys::kTime);
  record.Text(zorsys::kProgram, ProgramName());
  if (std::isprint(static_cast<unsigned char>(record.Get(zorsys::kUnprintable)[0])) == 0)
    record.Text(zorsys::kUnprintable, " ");
  for (const Default& row : kSystemDefaults) record.FillBlank(row);
  record.Text(zorsys::kPath, opt.outfile, "path");
  if (record.IsBlank(zorsys::kFileType)) record.Digits(zorsys::kFileType, static_cast<int>(type));
  record.Text(zorsys::kOrganisation, type == SystemFileType::kIndexed    ? "3"
                                     : type == SystemFileType::kRelative ? "2"
                                                                         : "1");
  record.Digits(zorsys::kBlockSize, opt.gblBlkSize);
  record.Digits(zorsys::kKeyCount, lasting.nKeysNo);
  FillKeySlots(record);
  record.Digits(zorsys::kRecordSize, opt.gblRecSize);
}

void FillSecurityRecord(PlatformRecord& record) {
  for (const Default& row : kSecurityDefaults) record.FillBlank(row);
  for (const Field field : {zorsec::kType, zorsec::kType2}) record.Text(field, "F");
  for (const Field field : {zorsec::kName, zorsec::kName2}) record.Text(field, opt.addsysfile);
  if (record.IsBlank(zorsec::kShort255)) record.Short(zorsec::kShort255, 255);
  if (record.IsBlank(zorsec::kShort0)) record.Short(zorsec::kShort0, 0);
  StampDate(record, zorsec::kDate);
  StampTime(record, zorsec::kTime);
  if (record.IsBlank(zorsec::kProgram)) record.Text(zorsec::kProgram, ProgramName());
}

// Words that differ between the system and the security file.
struct StoreWords {
  const char* record;   // "file", "security"
  const char* file;     // "control", "security"
  const char* updated;  // behind "record updated for"
};

void StoreRecord(PlatformFileHandle& file, PlatformRecord& record, const StoreWords& words) {
  const char* const name = opt.addsysfile.c_str();
  if (file.Write(record) == 0) {
    PrintOutput("Zorva %s record added for lfn '%s'.\n", words.record, name);
  } else if (iserrno != EDUPL) {
    PrintOutput("Could not write to Zorva %s file: error %d\n", words.file, iserrno);
  } else if (opt.sw_overwrite == 0) {
    PrintWarning("Zorva %s record already exists. (not updated)\n", words.record);
  } else if (file.Rewrite(record) == 0) {
    PrintOutput("Zorva %s record updated for %s'%s'.\n", words.record, words.updated, name);
  } else {
    PrintError("Zorva %s record already exists.\n", words.record);
    PrintError("Error %d attempting rewrite of record\n", iserrno);
  }
}

}  // namespace

int AddRecordToSystemFile(SystemFileType type) {
  TRACE_FRAME();
  PlatformFileHandle file(zorsys::kFile);
  if (!file.is_open()) {
    PrintError("Opening Zorva control file, error:%d\n", iserrno);
    return 0;
  }
  auto record = FindOrDefault(file, SystemKey, zorsys::kKeyBytes);
  if (!record) return 0;
  FillSystemRecord(*record, type);
  StoreRecord(file, *record, {"file", "control", "lfn "});
  return 1;
}

int AddRecordToSecurityFile() {
  TRACE_FRAME();
  PlatformFileHandle file(zorsec::kFile);
  if (!file.is_open()) {
    PrintError("Opening Zorva security file, error:%d\n", iserrno);
    return 0;
  }
  auto record = FindOrDefault(file, SecurityKey, zorsec::kKeyBytes);
  if (!record) return 0;
  FillSecurityRecord(*record);
  StoreRecord(file, *record, {"security", "security", ""});
  return 1;
}

int AddRecordToZorCatLg() {
  TRACE_FRAME();
  PlatformFileHandle file(zorcatlg::kFile);
  if (!file.is_open()) {
    PrintOutput("Error opening Zorva zorcatlg file, error:%d\n", iserrno);
    return 0;
  }
  PlatformRecord record(zorcatlg::kFile.record_size);
  record.Text(zorcatlg::kVolume, opt.hmvsn);
  record.Text(zorcatlg::kLabel, opt.hmlbl);
  record.Text(zorcatlg::kName, opt.addsysfile);
  record.Text(zorcatlg::kPath, opt.holdenvpath);
  StampDate(record, zorcatlg::kDate);
  record.Text(zorcatlg::kProgram, ProgramName());
  const char* const name = opt.addsysfile.c_str();
  if (file.Write(record) == 0) {
    PrintOutput("Zorva zorcatlg record added for lfn '%s'.\n", name);
  } else if (iserrno != EDUPL) {
    PrintOutput("Could not write to Zorva zorcatlg file :%d\n", iserrno);
  } else if (file.Rewrite(record) == 0) {
    PrintOutput("Zorva zorcatlg record updated for '%s'.\n", name);
  } else {
    PrintOutput("Zorva zorcatlg record already exists.\n");
    PrintOutput("ERROR: %d attempting rewrite of record\n", iserrno);
  }
  return 1;
}

namespace {

void TakeKeySlots(const PlatformRecord& record) {
  for (std::size_t i = 0; i < opt.keyDescr.size(); ++i) {
    const std::size_t slot = zorsys::kKeySlots + i * zorsys::kKeySlotWidth;
    const auto in_slot = [slot](Field field) { return Field{slot + field.offset, field.width}; };
    const auto start = record.GetDigits(in_slot(zorsys::kKeyStart));
    const auto length = record.GetDigits(in_slot(zorsys::kKeyLength));
    KeyEntry& key = opt.keyDescr[i];
    key.length = length.value_or(0);
    if (key.length <= 0) continue;
    key.location = start.value_or(-1);
    key.duplicates = record.Get(in_slot(zorsys::kKeyDuplicates)) == "Y";
    key.changes = record.Get(in_slot(zorsys::kKeyChanges)) == "Y";
  }
}

// The path of the file, or its name, in the platform's directory unless it says where.
std::string PathOf(const PlatformRecord& record) {
  const std::string text =
      record.Get(record.IsBlank(zorsys::kPath) ? zorsys::kName : zorsys::kPath);
  const std::string path = text.substr(0, text.find(' '));
  const bool is_absolute = !record.IsBlank(zorsys::kPath) && path.starts_with('/');
  return is_absolute ? path : platform_paths.zorvafiles + "/" + path;
}

}  // namespace

int ReadSystemRecord(const std::string& logical_name, std::string& path) {
  TRACE_FRAME();
  PlatformFileHandle file(zorsys::kFile, ISINPUT | ISMANULOCK);
  if (!file.is_open()) {
    if (iserrno == ENOENT) return 0;
    PrintError("Opening Zorva control file, error:%d\n", iserrno);
    return -1;
  }
  PlatformRecord record = SystemKey(ToUpper(logical_name.substr(0, zorsys::kName.width)));
  const Found found = file.Read(record, zorsys::kKeyBytes);
  if (found != Found::kYes) return found == Found::kNo ? 0 : -1;
  const std::string organisation = record.Get(zorsys::kOrganisation);
  opt.sw_relative = organisation == "2";
  opt.sw_sequential = organisation == "1";
  opt.sw_indexed = opt.sw_relative == 0 && opt.sw_sequential == 0;
  const auto size = record.GetDigits(zorsys::kRecordSize);
  const auto keys = record.GetDigits(zorsys::kKeyCount);
  if (!size || !keys || *keys > kKeys)
    PrintWarning(
        "The record of '%s' in the Zorva control file has impossible sizes: record '%s', "
        "keys '%s'.\n",
        logical_name.c_str(), record.Get(zorsys::kRecordSize).c_str(),
        record.Get(zorsys::kKeyCount).c_str());
  opt.gblRecSize = size.value_or(0);
  lasting.nKeysNo = keys && *keys <= kKeys ? *keys : 0;
  TakeKeySlots(record);
  if (record.Get(zorsys::kLogicalDelete) == "L") {
    lasting.sw_logidel = 1;
    TRACE_LINE("logical deletion, number %s\n", record.Get(zorsys::kLogicalNumber).c_str());
  }
  path = PathOf(record);
  return 1;
}

}  // namespace tolvane
