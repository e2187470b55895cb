// Puts the table of system calls back when it goes out of scope, so that a test can replace
// members of `sys` with functions of its own.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

#include "platform/system_calls.h"

namespace tolvane::test {

class SavedSystem {
 public:
  SavedSystem() : saved_(sys) {}
  ~SavedSystem() { sys = saved_; }
  SavedSystem(const SavedSystem&) = delete;
  SavedSystem& operator=(const SavedSystem&) = delete;

 private:
  SystemCalls saved_;
};

// What the disk holds of a file under WriteToSmallDisk, in bytes.
inline off_t disk_room = 0;

// A write beyond the room is cut, and the next one fails.
inline ssize_t WriteToSmallDisk(int fd, const void* from, std::size_t count) {
  const off_t at = ::lseek(fd, 0, SEEK_CUR);
  if (at >= disk_room) {
    errno = ENOSPC;
    return -1;
  }
  return ::write(fd, from, std::min(count, static_cast<std::size_t>(disk_room - at)));
}

}  // namespace tolvane::test
