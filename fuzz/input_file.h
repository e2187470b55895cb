// The bytes under test as a file that the code under test can open by name. It lives in memory.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace tolvane::fuzz {

class InputFile {
 public:
  InputFile(const std::uint8_t* bytes, std::size_t count) : fd_(memfd_create("input", 0)) {
    if (fd_ < 0 || write(fd_, bytes, count) != static_cast<ssize_t>(count)) std::abort();
  }
  ~InputFile() { close(fd_); }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

 private:
  int fd_;
};

}  // namespace tolvane::fuzz
