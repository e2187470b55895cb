#include "files/platform_records.h"

#include <isam.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <optional>
#include <span>

#include "files/fixed_fields.h"
#include "platform/console.h"
#include "platform/paths.h"
#include "platform/trace.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {
namespace {

// A field whose text stands in a record that says nothing else there.
struct Default {
  Field field;
  const char* text;
};

// System record.
namespace zorsys {
constexpr const char* kFile = "zorsys";
constexpr std::size_t kRecord = 512;
constexpr Field kType{0, 1};  // "F", a file
constexpr Field kName{1, 8};  // logical file name, upper case
constexpr Field kNumber{9, 2};
constexpr std::size_t kKeyBytes = 11;  // the three fields before: what a record is found by
constexpr Field kDescription{19, 28};
constexpr Field kDate{47, 6}, kTime{53, 4};
constexpr Field kProgram{57, 8};
constexpr Field kUnprintable{81, 1};  // made a blank if it is not printable
constexpr Field kPath{103, 64};
constexpr Field kFileType{183, 2};
constexpr Field kOrganisation{185, 1};
constexpr Field kBlockSize{186, 5};
constexpr Field kKeyCount{207, 4};
constexpr Field kLogicalDelete{413, 1}, kLogicalNumber{415, 4};
constexpr Field kRecordSize{424, 5};
// What only the platform looks at.
constexpr Default kDefaults[] = {
    {{82, 1}, "S"}, {{83, 1}, "T"},     {{84, 1}, "N"},     {{85, 1}, "N"},
    {{87, 1}, "N"}, {{195, 4}, "0512"}, {{203, 4}, "0001"},
};

// The fields of a key, counted from 0; the last two bytes of its slot are the platform's.
struct KeySlot {
  static constexpr std::size_t kFirst = 211, kWidth = 11;
  explicit constexpr KeySlot(std::size_t key)
      : start{kFirst + key * kWidth, 4},
        length{start.offset + 4, 3},
        duplicates{start.offset + 7, 1},
        changes{start.offset + 8, 1} {}
  Field start, length;
  Field duplicates, changes;  // "Y" or "N"
};
}  // namespace zorsys

// Security record.
namespace zorsec {
constexpr const char* kFile = "zorsec";
constexpr std::size_t kRecord = 512;
constexpr const char* kOwner = "ZOR$Y$";
constexpr Field kOwnerName{0, 8};
constexpr Field kType{8, 1}, kName{9, 8};      // "F", logical file name
constexpr std::size_t kKeyBytes = 17;          // the three fields before
constexpr Field kType2{17, 1}, kName2{18, 8};  // the same again
constexpr Field kShort255{26, 2}, kShort0{28, 2};
constexpr Field kDate{40, 6}, kTime{46, 4};
constexpr Field kProgram{50, 8};
constexpr Default kDefaults[] = {{kOwnerName, kOwner}, {{38, 1}, "1"}};
}  // namespace zorsec

// Catalogue record.
namespace zorcatlg {
constexpr const char* kFile = "zorcatlg";
constexpr std::size_t kRecord = 200;
constexpr Field kVolume{0, 6}, kLabel{6, 44}, kName{56, 8}, kPath{65, 64};
constexpr Field kDate{129, 6}, kProgram{135, 8};
}  // namespace zorcatlg

constexpr int kForWriting = ISOUTPUT | ISAUTOLOCK;

std::string ToUpper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

std::string ProgramName() { return std::string(progName) + " "; }

void FillDefaults(FieldRecord& record, std::span<const Default> defaults) {
  for (const Default& row : defaults)
    if (record.IsBlank(row.field)) record.Text(row.field, row.text);
}

FieldRecord SystemKey(const std::string& name) {
  FieldRecord record(zorsys::kRecord);
  record.Text(zorsys::kType, "F");
  record.Text(zorsys::kName, name);
  record.Text(zorsys::kNumber, "00");
  return record;
}

FieldRecord SecurityKey(const std::string& name) {
  FieldRecord record(zorsec::kRecord);
  record.Text(zorsec::kOwnerName, zorsec::kOwner);
  record.Text(zorsec::kType, "F");
  record.Text(zorsec::kName, name);
  return record;
}

void FillKeySlots(FieldRecord& record) {
  for (std::size_t i = 0; i < opt.keyDescr.size(); ++i) {
    const KeyEntry& key = opt.keyDescr[i];
    const zorsys::KeySlot slot(i);
    // Deliberate: of a key without length only the length is written.
    record.Digits(slot.length, std::max(key.length, 0), "key length");
    if (key.length <= 0) continue;
    record.Digits(slot.start, key.location, "key location");
    record.Text(slot.duplicates, key.duplicates ? "Y" : "N");
    record.Text(slot.changes, key.changes ? "Y" : "N");
  }
}

void FillSystemRecord(FieldRecord& record, SystemFileType type) {
  record.Text(zorsys::kType, "F");
  record.Text(zorsys::kName, ToUpper(opt.addsysfile), "name");
  record.Text(zorsys::kNumber, "00");
  if (record.IsBlank(zorsys::kDescription))
    record.Text(zorsys::kDescription, std::string("created by ") + progName + " utility  ");
  record.Date(zorsys::kDate);
  record.Time(zorsys::kTime);
  record.Text(zorsys::kProgram, ProgramName());
  if (std::isprint(static_cast<unsigned char>(record.Get(zorsys::kUnprintable)[0])) == 0)
    record.Text(zorsys::kUnprintable, " ");
  FillDefaults(record, zorsys::kDefaults);
  record.Text(zorsys::kPath, opt.outfile, "path");
  if (record.IsBlank(zorsys::kFileType)) record.Digits(zorsys::kFileType, static_cast<int>(type));
  record.Text(zorsys::kOrganisation, type == SystemFileType::kIndexed    ? "3"
                                     : type == SystemFileType::kRelative ? "2"
                                                                         : "1");
  record.Digits(zorsys::kBlockSize, opt.gblBlkSize, "block size");
  record.Digits(zorsys::kKeyCount, lasting.nKeysNo);
  FillKeySlots(record);
  record.Digits(zorsys::kRecordSize, opt.gblRecSize, "record size");
}

void FillSecurityRecord(FieldRecord& record) {
  FillDefaults(record, zorsec::kDefaults);
  for (const Field field : {zorsec::kType, zorsec::kType2}) record.Text(field, "F");
  for (const Field field : {zorsec::kName, zorsec::kName2}) record.Text(field, opt.addsysfile);
  if (record.IsBlank(zorsec::kShort255)) record.Short(zorsec::kShort255, 255);
  if (record.IsBlank(zorsec::kShort0)) record.Short(zorsec::kShort0, 0);
  record.Date(zorsec::kDate);
  record.Time(zorsec::kTime);
  if (record.IsBlank(zorsec::kProgram)) record.Text(zorsec::kProgram, ProgramName());
}

// The two files that a record is made up in from what is there: how it is looked for, and the words
// that differ in their messages.
struct Registry {
  const char* file;
  std::size_t record_size;
  FieldRecord (*make_key)(const std::string& name);
  std::size_t key_bytes;
  const char* noun;     // of the file
  const char* record;   // before "record"
  const char* updated;  // behind "record updated for"
};
constexpr Registry kSystem = {zorsys::kFile, zorsys::kRecord, SystemKey, zorsys::kKeyBytes,
                              "control",     "file",          "lfn "};
constexpr Registry kSecurity = {zorsec::kFile, zorsec::kRecord, SecurityKey, zorsec::kKeyBytes,
                                "security",    "security",      ""};

// The record of a name, else the platform's template, else blanks; none after an error, which has
// been reported. Deliberate: the name is looked for as it was typed, though it is stored in upper
// case, so that a name in lower case always begins with the template.
std::optional<FieldRecord> FindOrDefault(RecordFile& file, const Registry& registry) {
  for (const std::string& name : {opt.addsysfile, std::string("DEFAULT")}) {
    FieldRecord record = registry.make_key(name);
    const Found found = file.Read(record, registry.key_bytes);
    if (found == Found::kError) return std::nullopt;
    if (found == Found::kYes) return record;
  }
  return FieldRecord(registry.record_size);
}

void StoreRecord(RecordFile& file, FieldRecord& record, const Registry& registry) {
  const char* const name = opt.addsysfile.c_str();
  if (file.Write(record) == 0) {
    PrintOutput("Zorva %s record added for lfn '%s'.\n", registry.record, name);
  } else if (iserrno != EDUPL) {
    PrintOutput("Could not write to Zorva %s file: error %d\n", registry.noun, iserrno);
  } else if (opt.sw_overwrite == 0) {
    PrintWarning("Zorva %s record already exists. (not updated)\n", registry.record);
  } else if (file.Rewrite(record) == 0) {
    PrintOutput("Zorva %s record updated for %s'%s'.\n", registry.record, registry.updated, name);
  } else {
    PrintError("Zorva %s record already exists.\n", registry.record);
    PrintError("Error %d attempting rewrite of record\n", iserrno);
  }
}

// Brings the record of opt.addsysfile into a registry; `fill` completes it.
template <typename Fill>
int AddRecord(const Registry& registry, Fill fill) {
  RecordFile file(registry.file, registry.record_size, kForWriting);
  if (!file.is_open()) {
    PrintError("Opening Zorva %s file, error:%d\n", registry.noun, iserrno);
    return 0;
  }
  auto record = FindOrDefault(file, registry);
  if (!record) return 1;  // only a file that does not open is a failure
  fill(*record);
  StoreRecord(file, *record, registry);
  return 1;
}

}  // namespace

int AddRecordToSystemFile(SystemFileType type) {
  TRACE_FRAME();
  return AddRecord(kSystem, [type](FieldRecord& record) { FillSystemRecord(record, type); });
}

int AddRecordToSecurityFile() {
  TRACE_FRAME();
  return AddRecord(kSecurity, FillSecurityRecord);
}

int AddRecordToZorCatLg() {
  TRACE_FRAME();
  RecordFile file(zorcatlg::kFile, zorcatlg::kRecord, kForWriting);
  if (!file.is_open()) {
    PrintOutput("Error opening Zorva zorcatlg file, error:%d\n", iserrno);
    return 0;
  }
  FieldRecord record(zorcatlg::kRecord);
  record.Text(zorcatlg::kVolume, opt.hmvsn);
  record.Text(zorcatlg::kLabel, opt.hmlbl);
  record.Text(zorcatlg::kName, opt.addsysfile);
  record.Text(zorcatlg::kPath, opt.holdenvpath.empty() ? opt.outfile : opt.holdenvpath);
  record.Date(zorcatlg::kDate);
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

void TakeKeySlots(const FieldRecord& record) {
  for (std::size_t i = 0; i < opt.keyDescr.size(); ++i) {
    const zorsys::KeySlot slot(i);
    KeyEntry& key = opt.keyDescr[i];
    key.length = record.GetDigits(slot.length).value_or(0);
    if (key.length <= 0) continue;
    key.location = record.GetDigits(slot.start).value_or(-1);
    key.duplicates = record.Get(slot.duplicates) == "Y";
    key.changes = record.Get(slot.changes) == "Y";
  }
}

// The path of the file, or its name, in the platform's directory unless it says where.
std::string PathOf(const FieldRecord& record) {
  const std::string text =
      record.Get(record.IsBlank(zorsys::kPath) ? zorsys::kName : zorsys::kPath);
  const std::string path = text.substr(0, text.find(' '));
  const bool is_absolute = !record.IsBlank(zorsys::kPath) && path.starts_with('/');
  return is_absolute ? path : platform_paths.zorvafiles + "/" + path;
}

}  // namespace

int ReadSystemRecord(const std::string& logical_name, std::string& path) {
  TRACE_FRAME();
  RecordFile file(zorsys::kFile, zorsys::kRecord, ISINPUT | ISMANULOCK);
  if (!file.is_open()) {
    if (iserrno == ENOENT) return 0;
    PrintError("Opening Zorva control file, error:%d\n", iserrno);
    return -1;
  }
  FieldRecord record = SystemKey(ToUpper(logical_name.substr(0, zorsys::kName.width)));
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
  if (record.Get(zorsys::kLogicalDelete) == "L")
    TRACE_LINE("logical deletion, number %s\n", record.Get(zorsys::kLogicalNumber).c_str());
  path = PathOf(record);
  return 1;
}

}  // namespace tolvane
