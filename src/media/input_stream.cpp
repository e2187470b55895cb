#include "media/input_stream.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/interrupt.h"
#include "platform/system_calls.h"

namespace tolvane {
namespace {

constexpr std::size_t kPiece = std::size_t{512} << 10;
// Transient errors are tried again this often.
constexpr int kReadRetries = 20;

bool IsTransient(int error) { return error == EAGAIN || error == EINTR || error == EBUSY; }

}  // namespace

std::int64_t ReadPatiently(int fd, std::span<Byte> room, BeforeWait before_wait) {
  for (int attempt = 0;; ++attempt) {
    if (before_wait != nullptr) before_wait();
    const ssize_t got = sys.read(fd, room.data(), room.size());
    if (got >= 0) return got;
    if (errno == EINTR && InterruptScope::Pending() != 0) return 0;
    if (!IsTransient(errno) || attempt == kReadRetries) return -1;
  }
}

InputStream::~InputStream() {
  if (fd_ >= 0) sys.close(fd_);
}

bool InputStream::Open(const std::string& path) {
  fd_ = sys.open(path.c_str(), O_RDONLY | O_CLOEXEC, 0);
  if (fd_ < 0) return false;
  struct stat status {};
  if (sys.fstat(fd_, &status) != 0) return false;
  if (S_ISDIR(status.st_mode)) {
    errno = EISDIR;
    return false;
  }
  is_regular_ = S_ISREG(status.st_mode);
  return true;
}

std::span<const Byte> InputStream::Peek(std::size_t bytes) {
  while (Shown() < bytes && !at_end_)
    if (!Fill()) EndStream();
  return {buffer_.data() + start_, Shown()};
}

void InputStream::WithholdTrailer(std::size_t most, Measure measure) {
  withheld_ = most;
  measure_trailer_ = std::move(measure);
  if (at_end_) EndStream();
}

void InputStream::EndStream() {
  at_end_ = true;
  if (!measure_trailer_) return;
  const std::size_t held = std::min(end_ - start_, withheld_);
  trailer_ = measure_trailer_({buffer_.data() + end_ - held, held});
  end_ -= trailer_;
}

// Reads another piece behind what is there; false at the end.
bool InputStream::Fill() {
  if (start_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + start_, end_ - start_);
    end_ -= start_;
    start_ = 0;
  }
  if (end_ == buffer_.size()) buffer_.resize(buffer_.empty() ? kPiece : buffer_.size() * 2);
  const std::int64_t got =
      ReadPatiently(fd_, std::span(buffer_).subspan(end_), is_regular_ ? nullptr : before_wait);
  if (got < 0) error_ = errno;
  if (got <= 0) return false;
  end_ += static_cast<std::size_t>(got);
  return true;
}

}  // namespace tolvane
