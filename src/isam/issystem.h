// The engine's ground floor: file names, the two files of a pair as storage, and the one place that
// opens and closes them. Closing any descriptor of an index file drops every lock that the process
// has on it, so descriptors are shared by all handles of a file and closed with the last one.
//
// Storage is mapped and shared where that is possible: a store is in the page cache at once, so it
// survives the process and is seen by others. Elsewhere it is read and written by pread and pwrite
// behind the same interface. Room is reserved before anything is stored in it, so that a full disk
// is an error of the operation and never a signal; what lies beyond the highest numbers of the
// dictionary is nobody's.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "datarep/byte_order.h"

namespace isam {

using tolvane::Byte;

// Secondary codes: the file, to which the kind of call is added.
inline constexpr int kIoIndex = 0x10, kIoData = 0x20;

// Thrown by whatever finds that an operation cannot go on; caught by the public frames only.
struct Failure {
  int error;        // engine's or system's error number
  int io = 0;       // secondary code: which file and kind of call
  char hint = '/';  // status hint
};

// Kinds of names.
enum class NameKind { kIndex = 1, kData = 2, kBase = 4 };

inline constexpr std::size_t kMostName = 1595;

// The name of a file of the pair: 0, or 1 when the base name is too long. A link file redirects the
// base name, ZORISAMDAT prefers a data file name.
[[nodiscard]] int makename(std::string& name, const std::string& base, NameKind kind);

// One of the two files.
class Storage {
 public:
  Storage() = default;
  ~Storage() { Close(); }
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;

  // Takes over a descriptor. `io` is the file's part of secondary codes.
  void Attach(int fd, bool writable, int io);
  void Close();

  // Bytes from `offset` on: in the mapping, or read into `scratch`, which holds `bytes`. Valid
  // until the next Reserve or Read with the same scratch. Fails with EBADFILE (105) beyond the
  // end of the file.
  [[nodiscard]] const Byte* Read(std::uint64_t offset, std::size_t bytes, Byte* scratch) {
    if (offset + bytes > size_ || base_ == nullptr) [[unlikely]]
      return ReadSlow(offset, bytes, scratch);
    return base_ + offset;
  }
  // Room that Reserve has made sure of.
  void Write(std::uint64_t offset, const void* from, std::size_t bytes);
  // Makes sure that the file holds `bytes` bytes.
  void Reserve(std::uint64_t bytes) {
    if (bytes > size_) [[unlikely]]
      Grow(bytes);
  }
  // Cuts off what is beyond `bytes`; the second only if nothing was ever stored there.
  void CutTo(std::uint64_t bytes);
  void CutReserve(std::uint64_t bytes);
  void Sync() const;
  // Looks at the size of the file again, which another process may have changed.
  void RefreshSize();

  [[nodiscard]] int fd() const { return fd_; }
  [[nodiscard]] std::uint64_t size() const { return size_; }
  // Fetches cache lines of a place that will be read soon.
  void Prefetch(std::uint64_t offset, std::size_t bytes) const {
    if (base_ == nullptr || offset + bytes > size_) return;
    for (std::size_t i = 0; i < bytes; i += 64) __builtin_prefetch(base_ + offset + i);
  }

 private:
  const Byte* ReadSlow(std::uint64_t offset, std::size_t bytes, Byte* scratch);
  void Grow(std::uint64_t bytes);
  [[nodiscard]] bool IsUnused(std::uint64_t offset);
  [[nodiscard]] int Allocate(std::uint64_t bytes) const;
  void Map(std::uint64_t bytes);
  void Unmap();

  int fd_ = -1;
  bool writable_ = false;
  bool may_map_ = true;
  int io_ = 0;
  Byte* base_ = nullptr;
  std::uint64_t mapped_ = 0;  // bytes of address space
  std::uint64_t size_ = 0;    // bytes of the file, as last seen
};

// Whether storage is mapped where it can be; tests switch it off.
extern bool mapping_allowed;

// Requests of isFSlock.
enum class LockRequest {
  kUnlock = 0,
  kExclusiveWait = 1,
  kExclusive = 2,
  kSharedWait = 3,
  kShared = 4,
};

// Sets an advisory lock on a region of the index file, or gives it up. False on a conflict, where
// `holder` takes the process that holds it, -1 when the system does not tell; and when the
// descriptor may not have such a lock. Fails with the system's error otherwise.
[[nodiscard]] bool isFSlock(int fd, std::int64_t offset, std::int64_t length, LockRequest request,
                            int& holder);

// Whether an exclusive lock on a region could be had now; `holder` as above.
[[nodiscard]] bool isFSlockTest(int fd, std::int64_t offset, std::int64_t length, int& holder);

// Ends the process: "fatal isam error SOURCE(LINE)" on the standard error stream, status 1.
// Sources go by the names that the documentation of the messages has for them.
[[noreturn]] void isFatal(const char* source, int line);

}  // namespace isam
