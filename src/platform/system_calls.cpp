#include "platform/system_calls.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tolvane {
namespace {

int Open(const char* path, int flags, mode_t mode) {
  int fd = -1;
  do fd = ::open(path, flags, mode);
  while (fd < 0 && errno == EINTR);
  return fd;
}

void* Map(std::size_t bytes, int protection, int flags, int fd, off_t offset) {
  return ::mmap(nullptr, bytes, protection, flags, fd, offset);
}

int Access(const char* path, int mode) { return ::faccessat(AT_FDCWD, path, mode, AT_EACCESS); }

void Store(void* mapped, const void* from, std::size_t bytes) { std::memcpy(mapped, from, bytes); }

int Lock(int fd, int command, struct flock* region) { return ::fcntl(fd, command, region); }

}  // namespace

SystemCalls sys = {
    .open = Open,
    .close = ::close,
    .read = ::read,
    .write = ::write,
    .pread = ::pread,
    .pwrite = ::pwrite,
    .lseek = ::lseek,
    .fsync = ::fsync,
    .ftruncate = ::ftruncate,
    .fallocate = ::posix_fallocate,
    .mmap = Map,
    .munmap = ::munmap,
    .store = Store,
    .access = Access,
    .stat = ::stat,
    .lstat = ::lstat,
    .fstat = ::fstat,
    .rename = ::rename,
    .unlink = ::unlink,
    .symlink = ::symlink,
    .mkdir = ::mkdir,
    .chmod = ::chmod,
    .lock = Lock,
    .sleep = ::sleep,
    .time = ::time,
    .exit = std::exit,
};

std::optional<FileId> FileIdOf(const std::string& path) {
  struct stat status {};
  if (sys.stat(path.c_str(), &status) != 0) return std::nullopt;
  return FileId(status.st_dev, status.st_ino);
}

std::optional<FileId> FileIdOf(int fd) {
  struct stat status {};
  if (sys.fstat(fd, &status) != 0) return std::nullopt;
  return FileId(status.st_dev, status.st_ino);
}

std::size_t WriteSome(int fd, const void* bytes, std::size_t count) {
  constexpr int kRetries = 20;
  const char* const from = static_cast<const char*>(bytes);
  std::size_t done = 0;
  int retries = 0;
  while (done < count) {
    const ssize_t n = sys.write(fd, from + done, count - done);
    if (n > 0) {
      done += static_cast<std::size_t>(n);
      retries = 0;
    } else if (n == 0) {
      errno = ENOSPC;
      break;
    } else if ((errno != EINTR && errno != EAGAIN) || ++retries > kRetries) {
      break;
    }
  }
  return done;
}

}  // namespace tolvane
