// The outside world as the program sees it: one table of the system calls that touch files, locks
// or time. The engine and the media layer reach the system through `sys` only, so that a test can
// fail the n-th call, shorten a transfer, count waits without waiting, or stop at a store.
//
// Results and errors are those of the POSIX call of the same name. Tests replace members and put
// them back; nothing else writes to the table.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>
#include <utility>

namespace tolvane {

struct SystemCalls {
  int (*open)(const char* path, int flags, mode_t mode);
  int (*close)(int fd);
  ssize_t (*read)(int fd, void* buffer, std::size_t bytes);
  ssize_t (*write)(int fd, const void* buffer, std::size_t bytes);
  ssize_t (*pread)(int fd, void* buffer, std::size_t bytes, off_t offset);
  ssize_t (*pwrite)(int fd, const void* buffer, std::size_t bytes, off_t offset);
  off_t (*lseek)(int fd, off_t offset, int whence);
  int (*fsync)(int fd);
  int (*ftruncate)(int fd, off_t length);
  int (*fallocate)(int fd, off_t offset, off_t length);  // posix_fallocate: returns the error
  void* (*mmap)(std::size_t bytes, int protection, int flags, int fd, off_t offset);
  int (*munmap)(void* address, std::size_t bytes);
  // Copies into a shared mapping. Not a system call, but the moment at which a file changes.
  void (*store)(void* mapped, const void* from, std::size_t bytes);
  int (*access)(const char* path, int mode);  // by the effective user
  int (*stat)(const char* path, struct stat* result);
  int (*lstat)(const char* path, struct stat* result);
  int (*fstat)(int fd, struct stat* result);
  int (*rename)(const char* from, const char* to);
  int (*unlink)(const char* path);
  int (*symlink)(const char* target, const char* path);
  int (*mkdir)(const char* path, mode_t mode);
  int (*chmod)(const char* path, mode_t mode);
  int (*lock)(int fd, int command, struct flock* region);  // fcntl F_SETLK, F_SETLKW, F_GETLK
  unsigned (*sleep)(unsigned seconds);
  std::time_t (*time)(std::time_t* result);
  void (*exit)(int status);  // a test's may throw, but not return
};

extern SystemCalls sys;

// What tells a file from all others, whatever names lead to it.
using FileId = std::pair<dev_t, ino_t>;

// The identity of the file that a path leads to, or that is open; nothing, with errno set, when
// there is none.
[[nodiscard]] std::optional<FileId> FileIdOf(const std::string& path);
[[nodiscard]] std::optional<FileId> FileIdOf(int fd);

// Writes as much as it can and returns how many bytes that was; errno tells what stopped it. An
// interrupted write is tried again.
[[nodiscard]] std::size_t WriteSome(int fd, const void* bytes, std::size_t count);

}  // namespace tolvane
