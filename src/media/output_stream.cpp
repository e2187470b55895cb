#include "media/output_stream.h"

#include <algorithm>
#include <cerrno>

#include "platform/console.h"
#include "platform/system_calls.h"
#include "reports/side_reports.h"

namespace tolvane {
namespace {

constexpr std::size_t kPieceLimit = std::size_t{256} << 10;

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

bool OutputStream::WriteHeader(const Byte* header, std::size_t bytes) {
  if (WriteSome(fd_, header, bytes) < bytes) return false;
  position_ += static_cast<off_t>(bytes);
  return true;
}

void OutputStream::MakeRoom(std::size_t bytes) {
  Flush();
  start_ = have_ = 0;
  if (piece_.size() < bytes) piece_.resize(std::max(bytes, 2 * kPieceLimit));
}

void OutputStream::Flush() {
  if (flushing_) return;  // a message of LoseUnit brings us here again
  flushing_ = true;
  std::size_t unit = 0;  // the first one not yet written
  while (start_ < have_ && !HasStopped()) {
    const std::size_t written = WriteSome(fd_, piece_.data() + start_, have_ - start_);
    const int error = errno;
    const std::size_t reached = start_ + written;
    while (unit < ends_.size() && ends_[unit] <= reached) start_ = ends_[unit++];
    position_ += static_cast<off_t>(written - (reached - start_));
    if (start_ == have_) break;
    LoseUnit(unit, reached - start_, error);
    start_ = ends_[unit++];
  }
  if (HasStopped()) {
    lost_ += static_cast<std::int64_t>(ends_.size() - unit);
    start_ = have_;
  }
  handed_out_ += static_cast<std::int64_t>(ends_.size());
  ends_.clear();
  flushing_ = false;
}

// A unit of the piece could not be written, or only its first `written` bytes.
void OutputStream::LoseUnit(std::size_t unit, std::size_t written, int error) {
  if (written > 0 && is_regular_ && sys.ftruncate(fd_, position_) == 0)
    (void)sys.lseek(fd_, position_, SEEK_SET);  // cannot fail on a regular file
  if (++lost_ > 1) return;
  const auto number = handed_out_ + static_cast<std::int64_t>(unit) + 1;
  PrintError("%s %ld could not be written; %s.\n", noun_, number,
             HasStopped() ? "nothing is written behind it" : "the run goes on with the next one");
  processError(error, path_);
}

bool OutputStream::Close() {
  if (fd_ < 0) return true;
  Flush();
  const int result = sys.close(fd_);
  fd_ = -1;
  return result == 0;
}

}  // namespace tolvane
