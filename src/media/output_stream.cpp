#include "media/output_stream.h"

#include <algorithm>
#include <cerrno>

#include "platform/console.h"
#include "platform/file_error.h"
#include "platform/system_calls.h"

namespace tolvane {
namespace {

constexpr std::size_t kPieceLimit = std::size_t{256} << 10;
// Between two pages of a write the system lets a killed process go.
constexpr std::size_t kPage = 4096;

}  // namespace

OutputStream::~OutputStream() { (void)Close(); }  // for the early ways out: they have reported

bool OutputStream::Open(const std::string& path) {
  path_ = path;
  fd_ = sys.open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd_ < 0) return false;
  struct stat status {};
  is_regular_ = sys.fstat(fd_, &status) == 0 && S_ISREG(status.st_mode);
  piece_limit_ = is_regular_ ? kPieceLimit : 1;
  return true;
}

bool OutputStream::WriteAtOnce(const Byte* from, std::size_t bytes) {
  if (WriteSome(fd_, from, bytes) < bytes) return false;
  position_ += static_cast<off_t>(bytes);
  return true;
}

void OutputStream::MakeRoom(std::size_t bytes) {
  Flush();
  start_ = have_ = 0;
  if (piece_.size() < bytes) piece_.resize(std::max(bytes, 2 * kPieceLimit));
}

// One past the last unit of the next write. It goes on into another page only within its first
// unit, right at its beginning, where the process is hardly ever caught.
std::size_t OutputStream::EndOfWrite(std::size_t unit) const {
  if (!is_regular_) return ends_.size();
  const auto place = static_cast<std::size_t>(position_) - start_;  // of the piece in the file
  const std::size_t page_end = (place + ends_[unit] + kPage - 1) / kPage * kPage - place;
  std::size_t end = unit + 1;
  while (end < ends_.size() && ends_[end] <= page_end) ++end;
  return end;
}

void OutputStream::Flush() {
  if (flushing_) return;  // a message about a loss brings us here again
  flushing_ = true;
  std::size_t unit = 0;  // the first one not yet written
  while (unit < ends_.size()) {
    const std::size_t bytes = ends_[EndOfWrite(unit) - 1] - start_;
    const std::size_t written =
        losses_.are_final() ? 0 : WriteSome(fd_, piece_.data() + start_, bytes);
    const int error = errno;
    const std::size_t first = unit, reached = start_ + written;
    while (unit < ends_.size() && ends_[unit] <= reached) start_ = ends_[unit++];
    position_ += static_cast<off_t>(written - (reached - start_));
    if (unit > first) losses_.EndRun();
    if (written == bytes) continue;
    LoseUnit(unit, reached - start_, error);
    start_ = ends_[unit++];
  }
  handed_out_ += static_cast<std::int64_t>(ends_.size());
  ends_.clear();
  flushing_ = false;
}

// A unit of the piece could not be written, or only its first `written` bytes.
void OutputStream::LoseUnit(std::size_t unit, std::size_t written, int error) {
  if (written > 0 && is_regular_ && sys.ftruncate(fd_, position_) == 0)
    (void)sys.lseek(fd_, position_, SEEK_SET);  // cannot fail on a regular file
  if (losses_.Lose(handed_out_ + static_cast<std::int64_t>(unit) + 1)) processError(error, path_);
}

bool OutputStream::Close() {
  if (fd_ < 0) return true;
  Flush();
  losses_.EndRun();
  const int result = sys.close(fd_);
  fd_ = -1;
  return result == 0;
}

}  // namespace tolvane
