#include "reports/side_reports.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "datarep/charset.h"
#include "platform/console.h"
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

// A side file: its suffix, how it is opened, what is said of it then, and its name in messages.
struct SideFile {
  const char* suffix;
  const char* mode;
  const char* announcement;
  const char* noun;
  std::unique_ptr<std::FILE, CloseFile> file = nullptr;

  // Null, after a message, when it cannot be opened.
  std::FILE* Open() {
    if (before_message != nullptr) before_message();  // the output has what the entry speaks of
    if (file != nullptr) return file.get();
    const std::string name = opt.outfile + suffix;
    file.reset(std::fopen(name.c_str(), mode));
    if (file == nullptr) {
      PrintError("Could not open %s file '%s'; error:%d\n", noun, name.c_str(), errno);
    } else {
      PrintOutput("\n%s '%s'\n\n", announcement, name.c_str());
    }
    return file.get();
  }
};

SideFile duplicates{".dups", "ab", "Duplicate records are written to:", "Duplicate message"};
SideFile binary_data{".rpt", "w", "Binary data in output file, see", "binary report"};
SideFile non_matching{".bad", "w", "Non matching records in output file, see",
                      "non-matching (bad) report"};

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
  const KeyEntry& prime = KeyOf(std::max(opt.nPrimeKeyNo, 1));
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
  if (std::FILE* const file = duplicates.Open(); file != nullptr) {
    const auto size = static_cast<std::size_t>(std::max(opt.gblRecSize, 0));
    std::string line(size, ' ');
    std::copy_n(record.begin(), std::min(size, record.size()), line.begin());
    line += '\n';
    if (std::fwrite(line.data(), 1, line.size(), file) != line.size() || std::fflush(file) != 0)
      processError(errno, opt.outfile);
  }
  opt.sw_dupsfound = 1;
  std::string key = "Attempt to write duplicate record. Key:";
  for (const Byte byte : KeyBytes(KeyOf(1), record, kShownDuplicateBytes))
    key += static_cast<char>(byte);
  PrintOutput("%s\n", key.c_str());
}

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
  for (const SideFile* side : {&duplicates, &binary_data, &non_matching}) {
    if (side->file == nullptr) continue;
    errno = 0;
    if (std::fflush(side->file.get()) != 0 || std::ferror(side->file.get()) != 0)
      processError(errno != 0 ? errno : EIO, opt.outfile + side->suffix);
  }
}

void processError(int error, const std::string& name) {
  switch (error) {
    case 0:
      return;
    case EPERM:
    case EACCES:
      return PrintError("Invalid permission for file '%s'\n", name.c_str());
    case ENOENT:
      return PrintError("No such file or directory '%s'\n", name.c_str());
    case EIO:
      return PrintError("I/O error opening '%s'\n", name.c_str());
    case EBUSY:
      return PrintError("Mount device is busy '%s'\n", name.c_str());
    case EEXIST:
      return PrintError("File already exists '%s'\n", name.c_str());
    default:
      PrintError("Error %d on file %s\n", error, name.c_str());
  }
}

}  // namespace tolvane
