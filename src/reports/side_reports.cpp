#include "reports/side_reports.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "datarep/charset.h"
#include "platform/console.h"
#include "platform/file_error.h"
#include "platform/system_calls.h"
#include "platform/trace.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {

namespace {

constexpr std::size_t kShownKeyBytes = 20;         // in the reports
constexpr std::size_t kShownDuplicateBytes = 300;  // in the duplicate message

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

std::string NameOfReport(const char* suffix) {
  return (run.report_name.empty() ? opt.outfile : run.report_name) + suffix;
}

void AnnounceReport(bool opened, const char* announcement, const char* noun,
                    const std::string& name) {
  if (opened) {
    PrintOutput("\n%s '%s'\n\n", announcement, name.c_str());
  } else {
    PrintError("Could not open %s file '%s'; error:%d\n", noun, name.c_str(), errno);
  }
}

// A report: its suffix, what is said when it is opened, and its name in messages.
struct SideFile {
  const char* suffix;
  const char* announcement;
  const char* noun;
  std::unique_ptr<std::FILE, CloseFile> file = nullptr;

  // Null, after a message, when it cannot be opened.
  std::FILE* Open() {
    if (before_message != nullptr) before_message();  // the output has what the entry speaks of
    if (file != nullptr) return file.get();
    const std::string name = NameOfReport(suffix);
    file.reset(std::fopen(name.c_str(), "w"));
    AnnounceReport(file != nullptr, announcement, noun, name);
    return file.get();
  }
};

SideFile binary_data{kBinaryReport, "Binary data in output file, see", "binary report"};
SideFile non_matching{kNonMatchingReport, "Non matching records in output file, see",
                      "non-matching (bad) report"};

// The duplicates file, which holds records that are nowhere else: each goes out at once, and what
// a failed write left of one is cut off again.
class DuplicatesFile {
 public:
  void File(const std::string& line) {
    if (opt.sw_dupsfound == 0) Open();
    if (fd_ >= 0 && WriteSome(fd_, line.data(), line.size()) == line.size()) {
      end_ += static_cast<off_t>(line.size());
      return;
    }
    const int error = errno;
    if (fd_ >= 0) (void)sys.ftruncate(fd_, end_);  // the failure that counts is the write's
    if (fd_ >= 0 && unfiled_ == 0) processError(error, opt.outfile);
    ++unfiled_;
  }
  [[nodiscard]] std::int64_t unfiled() const { return unfiled_; }

 private:
  void Open() {
    const std::string name = NameOfReport(kDuplicatesReport);
    fd_ = sys.open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd_ >= 0) end_ = sys.lseek(fd_, 0, SEEK_END);
    AnnounceReport(fd_ >= 0, "Duplicate records are written to:", "Duplicate message", name);
  }

  off_t end_ = 0;
  int fd_ = -1;  // open until the end of the process
  std::int64_t unfiled_ = 0;
};

DuplicatesFile duplicates;

// The bytes of a key, as far as the record has them, `most` at the most.
std::span<const Byte> KeyBytes(const KeyEntry& key, std::span<const Byte> record,
                               std::size_t most) {
  if (key.length < 1 || key.location < 0) return {};
  const auto location = static_cast<std::size_t>(key.location);
  if (location >= record.size()) return {};
  const auto length = std::min(static_cast<std::size_t>(key.length), most);
  return record.subspan(location, std::min(length, record.size() - location));
}

// Ends an entry: with the prime key's bytes in hexadecimal and as characters, if there is one.
void EndEntry(std::FILE* file, std::span<const Byte> record, bool translate) {
  const KeyEntry& prime = lasting.prime_key_of_input ? *lasting.prime_key_of_input
                                                     : KeyOf(std::max(opt.nPrimeKeyNo, 1));
  if (prime.length < 1) {
    std::fputc('\n', file);
    return;
  }
  const ByteTable& table = run.sw_a2e ? asc2ebc : ebc2asc;
  std::string hex, characters;
  for (const Byte byte : KeyBytes(prime, record, kShownKeyBytes)) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%.2x", byte);
    hex += digits;
    characters += static_cast<char>(translate ? table[byte] : byte);
  }
  std::fprintf(file, "\n   Key in hex: %s  Char: ", hex.c_str());
  std::fwrite(characters.data(), 1, characters.size(), file);
  std::fputc('\n', file);
}

}  // namespace

void FileDuplicate(std::span<const Byte> record) {
  TRACE_FRAME();
  if (before_message != nullptr) before_message();  // the output has the record it repeats
  const auto size = static_cast<std::size_t>(std::max(opt.gblRecSize, 0));
  std::string line(record.begin(), record.end());
  line.resize(std::max(size, line.size()), ' ');
  duplicates.File(line + '\n');
  opt.sw_dupsfound = 1;
  std::string key = "Attempt to write duplicate record. Key:";
  for (const Byte byte : KeyBytes(KeyOf(1), record, kShownDuplicateBytes))
    key += static_cast<char>(byte);
  PrintOutput("%s\n", key.c_str());
}

std::int64_t UnfiledDuplicates() { return duplicates.unfiled(); }

void WriteErrorMessageOnBinaryData(std::span<const Byte> record, std::size_t offset) {
  std::FILE* const file = binary_data.Open();
  if (file == nullptr) return;
  std::fprintf(file, "Binary sensitive data: record %ld, offset %d, hex value %.2x",
               run.nCurrOutputRec + 1, static_cast<int>(offset), record[offset]);
  EndEntry(file, record, true);
}

void writeBadMsg(std::span<const Byte> record) {
  std::FILE* const file = non_matching.Open();
  if (file == nullptr) return;
  std::fprintf(file, "Non matching record: (relative #) %ld", run.nCurrOutputRec + 1);
  EndEntry(file, record, run.sw_a2e || opt.sw_interchange == 0);
}

void FlushReports() {
  for (const SideFile* side : {&binary_data, &non_matching}) {
    if (side->file == nullptr) continue;
    errno = 0;
    if (std::fflush(side->file.get()) != 0 || std::ferror(side->file.get()) != 0)
      processError(errno != 0 ? errno : EIO, NameOfReport(side->suffix));
  }
}

}  // namespace tolvane
