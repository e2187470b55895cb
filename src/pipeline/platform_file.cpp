#include "pipeline/platform_file.h"

#include <isam.h>
#include <isam_ext.h>

#include <cerrno>
#include <vector>

#include "files/isam_file.h"
#include "files/status.h"
#include "media/input_stream.h"
#include "pipeline/record_format.h"
#include "platform/console.h"
#include "platform/file_error.h"
#include "state/options.h"

namespace tolvane {
namespace {

// A relative file's records end in a marker, zero for a deleted one.
class FlatFile : public PlatformFile {
 public:
  FlatFile(std::size_t record_size, bool relative)
      : record_size_(record_size), slot_(record_size + (relative ? 1 : 0)) {}

  [[nodiscard]] bool Open(const std::string& path, void (*before_wait)()) {
    stream_.before_wait = before_wait;
    return stream_.Open(path);
  }

  std::optional<std::span<const Byte>> Next() override {
    for (;;) {
      const auto shown = stream_.Peek(slot_);
      if (shown.size() < slot_) return LastRecord(shown);
      stream_.Skip(slot_);
      ++slots_;
      if (slot_ == record_size_ || shown[record_size_] != kDeletedMarker)
        return shown.first(record_size_);
      ++deleted_;
    }
  }

  bool Failed() override {
    if (stream_.error() == 0) return false;
    processError(stream_.error(), opt.infile);
    return true;
  }

  std::int64_t deleted() const override { return deleted_; }

 private:
  // What the end of the file left of a record, filled with blanks.
  std::optional<std::span<const Byte>> LastRecord(std::span<const Byte> rest) {
    if (rest.empty() || stream_.error() != 0) return std::nullopt;
    PrintWarning("'%s' ends inside record %ld: %zu of %zu bytes; it is filled with blanks.\n",
                 opt.infile.c_str(), slots_ + 1, rest.size(), slot_);
    last_.assign(rest.begin(), rest.end());
    last_.resize(record_size_, ' ');
    stream_.Skip(rest.size());
    return last_;
  }

  std::size_t record_size_;
  std::size_t slot_;
  InputStream stream_;
  std::vector<Byte> last_;
  std::int64_t slots_ = 0;
  std::int64_t deleted_ = 0;
};

// Reads leaf by leaf, each under one lock.
class IndexedFile : public PlatformFile {
 public:
  // False with iserrno set.
  [[nodiscard]] bool Open() {
    const int length = file_.RecordLength();
    keydesc prime{};
    if (length < 0 || isindexinfo(file_.handle(), &prime, 1) != 0) return false;
    record_size_ = static_cast<std::size_t>(length);
    records_.resize(record_size_ * kAtOnce);
    return isstart(file_.handle(), &prime, 0, Text(), ISFIRST) == 0;
  }
  [[nodiscard]] std::size_t record_size() const { return record_size_; }

  std::optional<std::span<const Byte>> Next() override {
    if (given_ == held_) {
      held_ = isscan(file_.handle(), Text(), kAtOnce, nullptr);
      given_ = 0;
      if (held_ <= 0) {
        error_ = iserrno;
        held_ = 0;
        return std::nullopt;
      }
    }
    return std::span<const Byte>(records_).subspan(
        static_cast<std::size_t>(given_++) * record_size_,
        static_cast<std::size_t>(opt.gblRecSize));
  }
  bool Failed() override {
    if (error_ == 0 || error_ == EENDFILE) return false;
    InterpretIsamError(error_, opt.infile, {});
    return true;
  }

 private:
  static constexpr int kAtOnce = 256;
  char* Text() { return reinterpret_cast<char*>(records_.data()); }  // NOLINT: C interface

  IsamFile file_{opt.infile, ISINPUT | ISMANULOCK};
  std::size_t record_size_ = 0;
  std::vector<Byte> records_;
  int held_ = 0, given_ = 0;
  int error_ = 0;
};

}  // namespace

std::unique_ptr<PlatformFile> OpenIndexedFile() {
  auto file = std::make_unique<IndexedFile>();
  if (!file->Open()) {
    InterpretIsamError(iserrno, opt.infile, {});
    return nullptr;
  }
  const auto size = static_cast<std::int32_t>(file->record_size());
  if (opt.gblRecSize < 1) opt.gblRecSize = size;
  if (opt.gblRecSize < size)
    PrintWarning("The records of '%s' have %d bytes; the first %d of each are backed up.\n",
                 opt.infile.c_str(), size, opt.gblRecSize);
  if (opt.gblRecSize <= size) return file;
  PrintError("The records of '%s' have %d bytes, not %d\n", opt.infile.c_str(), size,
             opt.gblRecSize);
  return nullptr;
}

std::unique_ptr<PlatformFile> OpenFlatFile(std::int32_t record_size, bool relative,
                                           void (*before_wait)()) {
  auto file = std::make_unique<FlatFile>(static_cast<std::size_t>(record_size), relative);
  if (file->Open(opt.infile, before_wait)) return file;
  processError(errno, opt.infile);
  return nullptr;
}

}  // namespace tolvane
