// A POSIX tape device: one read gives one block and nothing at a mark; closing after a write
// writes a mark; the rewinding name starts at the beginning on every open, the other one keeps its
// place.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "media/drive.h"
#include "platform/console.h"
#include "platform/interrupt.h"
#include "platform/system_calls.h"
#include "platform/trace.h"

namespace tolvane {
namespace {

constexpr int kRetries = 20;         // of a write
constexpr int kReopenings = 21;      // while the device is busy
constexpr unsigned kReopenWait = 3;  // seconds between them
constexpr unsigned kSettleWait = 1;  // seconds between closing and opening

class DeviceDrive : public Drive {
 public:
  explicit DeviceDrive(const DriveRequest& request)
      : names_(request.names), use_(request.use), before_wait_(request.before_wait) {
    const char* const manner = std::getenv("ZORTAPEREAD");
    gives_parts_ = manner != nullptr && (*manner == 'f' || *manner == 'F');
  }
  ~DeviceDrive() override { (void)CloseDevice(); }  // Close has told what there was to tell

  [[nodiscard]] bool Open() { return OpenName(names_.path(), use_); }

  Block ReadBlock(std::size_t most) override;
  Block ReadFixedBlock(std::size_t size) override;
  bool WriteBlock(std::span<const Byte> block) override;
  bool WriteMark() override { return ReopenPatiently(names_.path(), use_); }
  // A device that has only a rewinding name stays open: closing it would lose the place.
  bool Reopen() override { return !keeps_place() || ReopenPatiently(names_.path(), use_); }
  // Closing the rewinding device rewinds the tape.
  bool Rewind() override;
  bool LoadNextVolume() override { return false; }
  bool TakeMounted() override {
    return (!keeps_place() || Rewind()) && ReopenPatiently(names_.path(), use_);
  }
  bool Close() override;
  [[nodiscard]] bool keeps_place() const override { return !names_.no_rewind.empty(); }
  [[nodiscard]] bool rewinds() const override {
    return use_ == DriveUse::kWrite || !names_.rewind.ends_with('n');
  }
  [[nodiscard]] bool gives_parts() const override { return gives_parts_; }

 private:
  Block ReadPart(std::size_t have, std::size_t most);
  bool OpenName(const std::string& name, DriveUse use);
  bool ReopenPatiently(const std::string& name, DriveUse use);
  bool CloseDevice() {
    const bool closed = fd_ < 0 || sys.close(fd_) == 0;
    fd_ = -1;
    return closed;
  }

  DeviceNames names_;
  DriveUse use_;
  BeforeWait before_wait_;
  int fd_ = -1;
  std::vector<Byte> buffer_;
  bool gives_parts_ = false;   // its reads may end inside a block
  bool mark_is_next_ = false;  // ... and one has met the mark behind a short block
};

bool DeviceDrive::OpenName(const std::string& name, DriveUse use) {
  const int flags = use == DriveUse::kRead ? O_RDONLY : O_WRONLY | O_TRUNC;
  fd_ = sys.open(name.c_str(), flags | O_CLOEXEC, 0);
  return fd_ >= 0;
}

bool DeviceDrive::ReopenPatiently(const std::string& name, DriveUse use) {
  if (!CloseDevice()) return false;
  sys.sleep(kSettleWait);
  for (int reopening = 0; !OpenName(name, use); ++reopening) {
    if ((errno != EBUSY && errno != EINTR) || reopening == kReopenings) return false;
    sys.sleep(kReopenWait);
  }
  return true;
}

Drive::Block DeviceDrive::ReadBlock(std::size_t most) {
  return std::exchange(mark_is_next_, false) ? Block{} : ReadPart(0, most);
}

Drive::Block DeviceDrive::ReadFixedBlock(std::size_t size) {
  Block block = gives_parts_ ? ReadBlock(size) : Drive::ReadFixedBlock(size);
  while (gives_parts_ && block.error == 0 && !block.data.empty() && block.data.size() < size) {
    const std::size_t had = block.data.size();
    block = ReadPart(had, size);
    mark_is_next_ = block.error == 0 && block.data.size() == had;
    if (mark_is_next_) break;
  }
  return block;
}

// Reads behind the `have` bytes that are there of a block of at most `most`. All of them then.
Drive::Block DeviceDrive::ReadPart(std::size_t have, std::size_t most) {
  if (buffer_.size() < most) buffer_.resize(most);
  const std::int64_t got =
      ReadPatiently(fd_, std::span(buffer_).subspan(have, most - have), before_wait_);
  if (got == 0 && InterruptScope::Pending() != 0) return {};  // the user ends the input
  if (got >= 0) return {.data = {buffer_.data(), have + static_cast<std::size_t>(got)}};
  const int error = errno;
  TRACE_LINE("#tapein: read size: %d ret: %d; %s\n", static_cast<int>(most), static_cast<int>(got),
             std::strerror(error));
  return {.error = error};
}

bool DeviceDrive::WriteBlock(std::span<const Byte> block) {
  for (int retries = 0;;) {
    const ssize_t done = sys.write(fd_, block.data(), block.size());
    if (done == static_cast<ssize_t>(block.size())) return true;
    if (done >= 0) {
      errno = ENOSPC;
      return false;
    }
    if ((errno != EAGAIN && errno != EINTR) || ++retries > kRetries) return false;
  }
}

bool DeviceDrive::Rewind() {
  TRACE_LINE("#Rewind %s (fh: %X)\n", names_.rewind.c_str(), static_cast<unsigned>(fd_));
  return ReopenPatiently(names_.rewind, DriveUse::kRead) && CloseDevice();
}

bool DeviceDrive::Close() { return rewinds() ? Rewind() : CloseDevice(); }

}  // namespace

std::unique_ptr<Drive> OpenDevice(const DriveRequest& request) {
  auto drive = std::make_unique<DeviceDrive>(request);
  if (!drive->Open()) return nullptr;
  return drive;
}

}  // namespace tolvane
