// A drive over tape images. The path lists its volumes, separated by commas; "=SIZE" behind a name
// (bytes, or with K, M or G) is the capacity of a volume that is written; of one that is read it is
// part of the name.

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "media/drive.h"
#include "media/tape_image.h"
#include "platform/console.h"
#include "platform/paths.h"
#include "platform/system_calls.h"

namespace tolvane {
namespace {

struct Volume {
  std::string path;
  std::uint64_t capacity = std::numeric_limits<std::uint64_t>::max();
};

// "NAME" or "NAME=SIZE"; a size that is none counts as part of the name.
Volume ParseVolume(const std::string& text) {
  const auto equals = text.rfind('=');
  if (equals == std::string::npos) return {text};
  char* end = nullptr;
  const std::uint64_t number = std::strtoull(text.c_str() + equals + 1, &end, 10);
  constexpr const char* kUnits = "KMG";
  const char* const unit = *end == '\0' ? nullptr : std::strchr(kUnits, *end);
  if (number == 0 || (*end != '\0' && (unit == nullptr || end[1] != '\0'))) return {text};
  const auto shift = unit == nullptr ? 0 : (unit - kUnits + 1) * 10;
  return {text.substr(0, equals), number << shift};
}

std::vector<Volume> ParseVolumes(const std::string& list, DriveUse use) {
  std::vector<Volume> volumes;
  std::istringstream names(list);
  for (std::string name; std::getline(names, name, ',');)
    volumes.push_back(use == DriveUse::kWrite ? ParseVolume(name) : Volume{name});
  return volumes;
}

class ImageDrive : public Drive {
 public:
  ImageDrive(ImageFormat format, std::vector<Volume> volumes, const DriveRequest& request)
      : format_(format),
        volumes_(std::move(volumes)),
        use_(request.use),
        before_wait_(request.before_wait) {}

  [[nodiscard]] bool Open();
  Block ReadBlock(std::size_t most) override;
  bool WriteBlock(std::span<const Byte> block) override;
  bool WriteLabel(std::span<const Byte> label) override;
  bool WriteMark() override;
  bool Reopen() override { return true; }  // an image keeps its place
  bool Rewind() override { return use_ == DriveUse::kWrite || Open(); }
  bool LoadNextVolume() override;
  bool TakeMounted() override { return Open(); }
  bool Close() override {
    if (!writer_ || writer_->Close()) return true;
    if (writer_->lost() > 0) errno = EIO;
    return false;
  }
  void Flush() override {
    if (writer_) writer_->Flush();
  }
  [[nodiscard]] std::int64_t lost() const override { return writer_ ? writer_->lost() : 0; }

 private:
  [[nodiscard]] const Volume& volume() const { return volumes_[current_]; }
  [[nodiscard]] bool WasWritten() const;
  [[nodiscard]] bool IsWhole() const;
  Block Report(const TapeObject& object, const std::string& what);

  ImageFormat format_;
  std::vector<Volume> volumes_;
  DriveUse use_;
  BeforeWait before_wait_;
  std::size_t current_ = 0;
  std::vector<FileId> written_;  // files of this run: never begun again
  std::optional<TapeImageReader> reader_;
  std::optional<TapeImageWriter> writer_;
};

bool ImageDrive::WasWritten() const {
  const auto file = FileIdOf(volume().path);
  return std::find(written_.begin(), written_.end(), file) != written_.end();
}

bool ImageDrive::Open() {
  if (use_ == DriveUse::kRead) return reader_.emplace(format_, before_wait_).Open(volume().path);
  if (WasWritten()) {
    errno = EEXIST;  // it holds an earlier volume of this backup
    return false;
  }
  if (!writer_.emplace(format_).Open(volume().path)) return false;
  if (const auto file = FileIdOf(volume().path)) written_.push_back(*file);
  return true;
}

Drive::Block ImageDrive::Report(const TapeObject& object, const std::string& what) {
  PrintError("Tape image '%s', offset %lu: %s\n", volume().path.c_str(), object.offset,
             what.c_str());
  return {.error = EIO};
}

Drive::Block ImageDrive::ReadBlock(std::size_t most) {
  for (;;) {
    const TapeObject object = reader_->Next();
    switch (object.kind) {
      case TapeObject::Kind::kGap:
        continue;
      case TapeObject::Kind::kDamage:
        return Report(object, object.damage);
      case TapeObject::Kind::kMark:
      case TapeObject::Kind::kEnd:
        return {};
      case TapeObject::Kind::kBlock:
        if (object.read_error) return Report(object, "this block was read with an error");
        if (object.data.size() > most) return {.data = object.data, .error = ENOMEM};
        return {.data = object.data};
    }
  }
}

// False with errno set when something is missing: nothing may follow that.
bool ImageDrive::IsWhole() const {
  if (lost() == 0) return true;
  errno = EIO;
  return false;
}

bool ImageDrive::WriteBlock(std::span<const Byte> block) {
  if (!IsWhole()) return false;
  if (writer_->size() + block.size() > volume().capacity) {
    errno = ENOSPC;
    return false;
  }
  writer_->WriteBlock(block);
  return true;
}

bool ImageDrive::WriteLabel(std::span<const Byte> label) {
  if (!IsWhole()) return false;
  writer_->WriteBlock(label);
  return true;
}

bool ImageDrive::WriteMark() {
  if (!IsWhole()) return false;
  writer_->WriteMark();
  return true;
}

bool ImageDrive::LoadNextVolume() {
  if (current_ + 1 == volumes_.size()) return false;
  if (!Close()) {
    PrintError("Closing tape image '%s': %s\n", volume().path.c_str(), std::strerror(errno));
    return false;
  }
  ++current_;
  if (Open()) return true;
  PrintError("Opening tape image '%s': %s\n", volume().path.c_str(), std::strerror(errno));
  return false;
}

}  // namespace

std::vector<std::string> FilesOfVolume(const std::string& path, DriveUse use) {
  const std::string name = NamesOfVolume(path).path();
  const ImagePath image = ParseImagePath(name);
  if (!image.is_image) return {name};
  std::vector<std::string> files;
  for (const Volume& volume : ParseVolumes(image.list, use)) files.push_back(volume.path);
  return files;
}

std::unique_ptr<Drive> OpenImages(const DriveRequest& request) {
  const ImagePath image = ParseImagePath(request.names.path());
  std::vector<Volume> volumes = ParseVolumes(image.list, request.use);
  if (volumes.empty()) {
    errno = ENOENT;
    return nullptr;
  }
  auto drive = std::make_unique<ImageDrive>(image.format, std::move(volumes), request);
  if (!drive->Open()) return nullptr;
  return drive;
}

}  // namespace tolvane
