// A library to be preloaded: makes one call of a program to the system fail, or go only half way.
//
//   FAULT_CALL   the name of the call
//   FAULT_AT     which of them, from 1 on; 0: none
//   FAULT_ERROR  the errno that it fails with; 0: a read or write moves only half of its bytes;
//                -1: the process is killed instead
//   FAULT_COUNT  a file that receives the number of calls made
//
// Calls are counted from the program's first fcntl on, with which it looks after its standard
// streams before it does anything else; what loader and libraries do before stays out of it.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

struct Plan {
  const char* call = nullptr;
  long at = 0;
  int error = 0;
  const char* count_file = nullptr;
};

Plan plan;
bool is_started = false;
long calls = 0;

__attribute__((constructor)) void ReadPlan() {
  plan.call = std::getenv("FAULT_CALL");
  if (const char* const at = std::getenv("FAULT_AT")) plan.at = std::atol(at);
  if (const char* const error = std::getenv("FAULT_ERROR")) plan.error = std::atoi(error);
  plan.count_file = std::getenv("FAULT_COUNT");
}

template <typename Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));  // NOLINT: the interface of dlsym
}

__attribute__((destructor)) void WriteCount() {
  is_started = false;
  if (plan.count_file == nullptr) return;
  char text[32];
  const int length = std::snprintf(text, sizeof text, "%ld\n", calls);
  const int fd = Next<int (*)(const char*, int, mode_t)>("open")(
      plan.count_file, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (write(fd, text, static_cast<std::size_t>(length)) < 0 || close(fd) != 0) std::abort();
}

// Whether this call is the one; counts it.
bool IsChosen(const char* call) {
  if (!is_started || plan.call == nullptr || std::strcmp(call, plan.call) != 0) return false;
  if (++calls != plan.at) return false;
  if (plan.error == -1) (void)std::raise(SIGKILL);
  return true;
}

bool Fails(const char* call) {
  if (!IsChosen(call) || plan.error == 0) return false;
  errno = plan.error;
  return true;
}

// Standard streams are left alone: what happens to them is no fault of a file.
template <typename Transfer>
ssize_t Move(const char* call, int fd, std::size_t bytes, Transfer transfer) {
  if (fd <= STDERR_FILENO || !IsChosen(call)) return transfer(bytes);
  if (plan.error == 0) return transfer(bytes > 1 ? bytes / 2 : bytes);
  errno = plan.error;
  return -1;
}

}  // namespace

#define FORWARD(name) Next<decltype(&name)>(#name)

extern "C" {

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = va_arg(rest, mode_t);
  va_end(rest);
  if (Fails("open")) return -1;
  return Next<int (*)(const char*, int, mode_t)>("open")(path, flags, mode);
}

std::FILE* fopen(const char* path, const char* mode) {
  return Fails("fopen") ? nullptr : FORWARD(fopen)(path, mode);
}

ssize_t read(int fd, void* buffer, std::size_t bytes) {
  return Move("read", fd, bytes, [&](std::size_t n) { return FORWARD(read)(fd, buffer, n); });
}

ssize_t write(int fd, const void* buffer, std::size_t bytes) {
  return Move("write", fd, bytes, [&](std::size_t n) { return FORWARD(write)(fd, buffer, n); });
}

ssize_t pread(int fd, void* buffer, std::size_t bytes, off_t offset) {
  return Move("pread", fd, bytes,
              [&](std::size_t n) { return FORWARD(pread)(fd, buffer, n, offset); });
}

ssize_t pwrite(int fd, const void* buffer, std::size_t bytes, off_t offset) {
  return Move("pwrite", fd, bytes,
              [&](std::size_t n) { return FORWARD(pwrite)(fd, buffer, n, offset); });
}

int close(int fd) {
  const bool fails = Fails("close");
  const int result = FORWARD(close)(fd);
  if (fails) errno = plan.error;
  return fails ? -1 : result;
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  return Fails("lseek") ? -1 : FORWARD(lseek)(fd, offset, whence);
}

int fsync(int fd) { return Fails("fsync") ? -1 : FORWARD(fsync)(fd); }

int ftruncate(int fd, off_t length) noexcept {
  return Fails("ftruncate") ? -1 : FORWARD(ftruncate)(fd, length);
}

int posix_fallocate(int fd, off_t offset, off_t length) {
  return IsChosen("posix_fallocate") ? plan.error : FORWARD(posix_fallocate)(fd, offset, length);
}

void* mmap(void* address, std::size_t bytes, int protection, int flags, int fd,
           off_t offset) noexcept {
  if (fd >= 0 && Fails("mmap")) return MAP_FAILED;
  return FORWARD(mmap)(address, bytes, protection, flags, fd, offset);
}

int rename(const char* from, const char* to) noexcept {
  return Fails("rename") ? -1 : FORWARD(rename)(from, to);
}

int unlink(const char* path) noexcept { return Fails("unlink") ? -1 : FORWARD(unlink)(path); }

int symlink(const char* target, const char* path) noexcept {
  return Fails("symlink") ? -1 : FORWARD(symlink)(target, path);
}

int fcntl(int fd, int command, ...) {
  va_list rest;
  va_start(rest, command);
  void* const argument = va_arg(rest, void*);
  va_end(rest);
  is_started = true;
  const bool locks = command == F_SETLK || command == F_SETLKW || command == F_GETLK;
  if (locks && Fails("fcntl")) return -1;
  return Next<int (*)(int, int, ...)>("fcntl")(fd, command, argument);
}

void* __libc_malloc(std::size_t bytes);

void* malloc(std::size_t bytes) noexcept {
  return Fails("malloc") ? nullptr : __libc_malloc(bytes);  // dlsym would allocate
}

}  // extern "C"
