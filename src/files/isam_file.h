// An open indexed file: the handle of the engine with an owner, so that no way out leaves it open.
//
// Prints nothing: what fails leaves the engine's number in iserrno, and InterpretIsamError
// (files/status.h) has the words. Closing sets iserrno too, so look at it before the file goes.
#pragma once

#include <isam.h>

#include <string>
#include <utility>

namespace tolvane {

class IsamFile {
 public:
  // Opens the file of a name; is_open() tells whether that succeeded.
  IsamFile(const std::string& name, int mode) : handle_(isopen(name.c_str(), mode)) {}
  // Takes over what isbuild or isopen gave, -1 included.
  explicit IsamFile(int handle) : handle_(handle) {}
  ~IsamFile() { (void)Close(); }  // who has to know closes it
  IsamFile(IsamFile&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}
  IsamFile& operator=(IsamFile&&) = delete;

  [[nodiscard]] bool is_open() const { return handle_ >= 0; }
  // For the calls of isam.h; -1 when it is not open, which they refuse.
  [[nodiscard]] int handle() const { return handle_; }
  // Bytes of a record, or -1.
  [[nodiscard]] int RecordLength() const {
    dictinfo info{};
    return is_open() && isisaminfo(handle_, &info) == 0 ? info.di_recsize : -1;
  }
  // False when the engine could not close it; it is closed for us all the same.
  [[nodiscard]] bool Close() {
    const int handle = std::exchange(handle_, -1);
    return handle < 0 || isclose(handle) == 0;
  }

 private:
  int handle_;
};

}  // namespace tolvane
