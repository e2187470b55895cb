// What a tape drive does, and its two homes: a POSIX tape device and a list of tape images.
//
// A block is read or written by one operation. Reading gives no bytes at a tape mark and at the
// end of the medium; the next read goes on behind the mark.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "datarep/byte_order.h"
#include "media/input_stream.h"

namespace tolvane {

// The names of a volume. What is no device has one only.
struct DeviceNames {
  std::string rewind{};     // a device rewinds when it is closed by this name
  std::string no_rewind{};  // ... and keeps its place by this one; empty when there is none
  // What is opened.
  [[nodiscard]] const std::string& path() const { return no_rewind.empty() ? rewind : no_rewind; }
};

// Settles the names of a volume by its path and the environment, which gives them when the path is
// empty or begins with a blank. No names: the environment lacks them.
[[nodiscard]] DeviceNames NamesOfVolume(const std::string& path);

class Drive {
 public:
  virtual ~Drive() = default;

  // A block of at most `most` bytes, valid until the next call. No data and error 0: a tape mark
  // or the end. Error ENOMEM: the block is longer, and is passed over; where its length is known,
  // `data` has it.
  struct Block {
    std::span<const Byte> data{};
    int error = 0;
  };
  [[nodiscard]] virtual Block ReadBlock(std::size_t most) = 0;
  // The same for a tape of blocks of `size` bytes, of which a device may give parts. A little more
  // is asked for, so that a longer block shows up.
  static constexpr std::size_t kMore = 8;
  [[nodiscard]] virtual Block ReadFixedBlock(std::size_t size) { return ReadBlock(size + kMore); }

  // False with errno set; ENOSPC at the end of the medium, when labels and marks still fit, EIO
  // behind what is lost.
  [[nodiscard]] virtual bool WriteBlock(std::span<const Byte> block) = 0;
  [[nodiscard]] virtual bool WriteLabel(std::span<const Byte> label) { return WriteBlock(label); }
  [[nodiscard]] virtual bool WriteMark() = 0;

  // Closes and opens again, which on a device steps over a mark that was read.
  [[nodiscard]] virtual bool Reopen() = 0;
  [[nodiscard]] virtual bool Rewind() = 0;
  // Puts in the next volume of a list; false when there is none and somebody must be asked. The
  // volume is at its beginning then.
  [[nodiscard]] virtual bool LoadNextVolume() = 0;
  // Takes the volume that somebody has mounted, from its beginning. False with errno set.
  [[nodiscard]] virtual bool TakeMounted() = 0;
  // Writes out, rewinds if the device does, and closes. False after a failed write.
  [[nodiscard]] virtual bool Close() = 0;

  // What was written of the volume so far, for those who look.
  virtual void Flush() {}
  // Blocks and marks taken that turned out not to be written; this has been reported.
  [[nodiscard]] virtual std::int64_t lost() const { return 0; }
  // Whether marks can be written and stepped over without losing the place.
  [[nodiscard]] virtual bool keeps_place() const { return true; }
  // Whether closing leads back to the beginning, wherever reading has ended.
  [[nodiscard]] virtual bool rewinds() const { return true; }
  // Whether ReadBlock may give part of a block, which only ReadFixedBlock puts together.
  [[nodiscard]] virtual bool gives_parts() const { return false; }
};

enum class DriveUse { kRead, kWrite };

// The most bytes of a block on an image.
inline constexpr std::size_t kMostOnImage = 0xFFFFFF;

// The drive behind a name: an image list ("tap:A,B", "aws:A") or, for character and block devices
// and what is not there in /dev, a device. Null with `is_drive` false when the name is that of a
// file; null with errno set on a failure, which has been reported if it concerns the environment.
struct DriveRequest {
  DeviceNames names;
  DriveUse use = DriveUse::kRead;
  BeforeWait before_wait = nullptr;
};
struct OpenedDrive {
  std::unique_ptr<Drive> drive{};
  bool is_drive = false;
};
[[nodiscard]] OpenedDrive OpenDrive(const DriveRequest& request);

// Both homes.
[[nodiscard]] std::unique_ptr<Drive> OpenDevice(const DriveRequest& request);
[[nodiscard]] std::unique_ptr<Drive> OpenImages(const DriveRequest& request);

// The files behind the path of a volume: those of an image list, else the one that is opened.
[[nodiscard]] std::vector<std::string> FilesOfVolume(const std::string& path, DriveUse use);

}  // namespace tolvane
