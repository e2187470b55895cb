#include "isam/issystem.h"

#include <isam.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/system_calls.h"

namespace isam {

using tolvane::sys;

bool mapping_allowed = true;

namespace {

// Files grow in steps of this, more for larger ones.
constexpr std::uint64_t kLeastStep = std::uint64_t{64} << 10;
constexpr std::uint64_t kMostStep = std::uint64_t{4} << 20;
// Address space is taken far beyond the file, so that it seldom moves.
constexpr std::uint64_t kLeastMapping = std::uint64_t{1} << 30;

// Parts of secondary codes: the kind of call.
constexpr int kIoRead = 1, kIoWrite = 2, kIoGrow = 3, kIoSync = 4, kIoLock = kIoIndex + 96;

// Without opening it: closing an index file would drop the locks that the process has on it.
bool IsReadable(const std::string& path) { return sys.access(path.c_str(), R_OK) == 0; }

// The first line of the link file as it stands, its line feed included.
std::string FollowLink(const std::string& base) {
  constexpr std::size_t kMostLine = 1600;
  const int fd = sys.open((base + ".lnk").c_str(), O_RDONLY | O_CLOEXEC, 0);
  if (fd < 0) return base;
  std::string line(kMostLine, '\0');
  ssize_t got = -1;
  do got = sys.read(fd, line.data(), line.size() - 1);
  while (got < 0 && errno == EINTR);
  sys.close(fd);
  line.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  if (line.empty()) return base;
  const auto end = line.find('\n');
  // Deliberate: a line feed stays part of the name; link files are written without one.
  return end == std::string::npos ? line : line.substr(0, end + 1);
}

std::string DataName(const std::string& base) {
  const char* const preference = std::getenv("ZORISAMDAT");
  const bool prefers_bare = preference != nullptr && (*preference == 'n' || *preference == 'N');
  const std::string suffixed = base + ".dat";
  if (prefers_bare) return !IsReadable(base) && IsReadable(suffixed) ? suffixed : base;
  return !IsReadable(suffixed) && IsReadable(base) ? base : suffixed;
}

}  // namespace

int makename(std::string& name, const std::string& base, NameKind kind) {
  if (base.size() > kMostName) return 1;
  name = FollowLink(base);
  switch (kind) {
    case NameKind::kIndex:
      name += ".idx";
      break;
    case NameKind::kData:
      name = DataName(name);
      break;
    case NameKind::kBase:
      break;
  }
  errno = 0;
  return 0;
}

void Storage::Attach(int fd, bool writable, int io) {
  fd_ = fd;
  writable_ = writable;
  io_ = io;
  may_map_ = mapping_allowed;
  RefreshSize();
}

void Storage::Close() {
  Unmap();
  if (fd_ >= 0) sys.close(fd_);
  fd_ = -1;
  size_ = 0;
}

void Storage::RefreshSize() {
  struct stat status {};
  if (sys.fstat(fd_, &status) != 0) throw Failure{errno, io_ + kIoRead};
  size_ = static_cast<std::uint64_t>(status.st_size);
  if (may_map_ && size_ > mapped_) Map(size_);
}

// Maps more than the file has: what the file grows into is then in the mapping already. Where the
// system cannot map, the file is read and written from then on.
void Storage::Map(std::uint64_t bytes) {
  Unmap();
  const std::uint64_t wanted = std::max(kLeastMapping, bytes * 2);
  const int protection = writable_ ? PROT_READ | PROT_WRITE : PROT_READ;
  void* const address = sys.mmap(wanted, protection, MAP_SHARED, fd_, 0);
  if (address == MAP_FAILED) {
    may_map_ = false;
    return;
  }
  base_ = static_cast<Byte*>(address);
  mapped_ = wanted;
}

void Storage::Unmap() {
  if (base_ != nullptr) sys.munmap(base_, mapped_);
  base_ = nullptr;
  mapped_ = 0;
}

// The file may have grown by another process's hand since its size was looked at.
const Byte* Storage::ReadSlow(std::uint64_t offset, std::size_t bytes, Byte* scratch) {
  if (offset + bytes > size_) RefreshSize();
  if (offset + bytes > size_) throw Failure{EBADFILE, io_ + kIoRead};
  if (base_ != nullptr) return base_ + offset;
  for (std::size_t done = 0; done < bytes;) {
    const ssize_t got =
        sys.pread(fd_, scratch + done, bytes - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) throw Failure{got == 0 ? EBADFILE : errno, io_ + kIoRead};
    done += static_cast<std::size_t>(got);
  }
  return scratch;
}

void Storage::Write(std::uint64_t offset, const void* from, std::size_t bytes) {
  if (base_ != nullptr) {
    sys.store(base_ + offset, from, bytes);
    return;
  }
  const auto* const source = static_cast<const Byte*>(from);
  for (std::size_t done = 0; done < bytes;) {
    const ssize_t put =
        sys.pwrite(fd_, source + done, bytes - done, static_cast<off_t>(offset + done));
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) throw Failure{put == 0 ? ENOSPC : errno, io_ + kIoWrite};
    done += static_cast<std::size_t>(put);
  }
}

// Takes room up to a size; returns the error, 0 for none.
int Storage::Allocate(std::uint64_t bytes) const {
  int error = 0;
  do {
    error = sys.fallocate(fd_, static_cast<off_t>(size_), static_cast<off_t>(bytes - size_));
  } while (error == EINTR);
  return error;
}

// Takes room in large steps, on a nearly full disk just what is asked for.
void Storage::Grow(std::uint64_t bytes) {
  RefreshSize();
  if (bytes <= size_) return;
  const std::uint64_t step = std::clamp(size_, kLeastStep, kMostStep);
  std::uint64_t wanted = std::max(bytes, size_ + step);
  int error = Allocate(wanted);
  if (error == ENOSPC || error == EDQUOT || error == EFBIG) error = Allocate(wanted = bytes);
  if (error != 0) throw Failure{error, io_ + kIoGrow};
  const std::uint64_t old = size_;
  RefreshSize();
#ifdef MADV_POPULATE_WRITE
  // One call instead of a page fault for every 4 KiB; not every kernel has it.
  if (base_ != nullptr && wanted - old > kLeastStep)
    (void)madvise(base_ + old / 4096 * 4096, wanted - old / 4096 * 4096, MADV_POPULATE_WRITE);
#else
  (void)old;
#endif
}

// After the death of the machine the dictionary may be older than what stands behind its numbers.
bool Storage::IsUnused(std::uint64_t offset) {
  Byte scratch[4096];
  while (offset < size_) {
    const auto bytes = std::min<std::uint64_t>(size_ - offset, sizeof scratch);
    const Byte* const from = Read(offset, bytes, scratch);
    if (*from != 0 || std::memcmp(from, from + 1, bytes - 1) != 0) return false;
    offset += bytes;
  }
  return true;
}

void Storage::CutReserve(std::uint64_t bytes) {
  if (IsUnused(bytes)) CutTo(bytes);
}

void Storage::CutTo(std::uint64_t bytes) {
  if (!writable_ || bytes >= size_) return;
  int result = 0;
  do {
    result = sys.ftruncate(fd_, static_cast<off_t>(bytes));
  } while (result != 0 && errno == EINTR);
  if (result == 0) size_ = bytes;  // a reserved tail that stays does no harm
}

void Storage::Sync() const {
  while (sys.fsync(fd_) != 0)
    if (errno != EINTR) throw Failure{errno, io_ + kIoSync};
}

bool isFSlock(int fd, std::int64_t offset, std::int64_t length, LockRequest request, int& holder) {
  struct flock region {};
  const bool waits = request == LockRequest::kExclusiveWait || request == LockRequest::kSharedWait;
  constexpr short kTypes[] = {F_UNLCK, F_WRLCK, F_WRLCK, F_RDLCK, F_RDLCK};  // by request
  region.l_type = kTypes[static_cast<int>(request)];
  region.l_whence = SEEK_SET;
  region.l_start = static_cast<off_t>(offset);
  region.l_len = static_cast<off_t>(length);
  for (;;) {
    if (sys.lock(fd, waits ? F_SETLKW : F_SETLK, &region) == 0) return true;
    if (errno != EINTR && errno != EDEADLK) break;
  }
  if (errno == EBADF) return false;
  if (errno != EACCES && errno != EAGAIN) throw Failure{errno, kIoLock};
  holder = sys.lock(fd, F_GETLK, &region) == 0 && region.l_type != F_UNLCK ? region.l_pid : -1;
  return false;
}

bool isFSlockTest(int fd, std::int64_t offset, std::int64_t length, int& holder) {
  struct flock region {};
  region.l_type = F_WRLCK;
  region.l_whence = SEEK_SET;
  region.l_start = static_cast<off_t>(offset);
  region.l_len = static_cast<off_t>(length);
  if (sys.lock(fd, F_GETLK, &region) != 0) throw Failure{errno, kIoLock};
  if (region.l_type == F_UNLCK) return true;
  holder = region.l_pid;
  return false;
}

void isFatal(const char* source, int line) {
  std::fprintf(stderr, "fatal isam error %s(%d)\n", source, line);
  sys.exit(1);
  std::abort();  // it does not come back
}

}  // namespace isam
