#include "pipeline/platform_file.h"

#include <cerrno>
#include <vector>

#include "media/input_stream.h"
#include "pipeline/record_format.h"
#include "platform/console.h"
#include "reports/side_reports.h"
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

}  // namespace

std::unique_ptr<PlatformFile> OpenFlatFile(std::int32_t record_size, bool relative,
                                           void (*before_wait)()) {
  auto file = std::make_unique<FlatFile>(static_cast<std::size_t>(record_size), relative);
  if (file->Open(opt.infile, before_wait)) return file;
  processError(errno, opt.infile);
  return nullptr;
}

}  // namespace tolvane
