// A drive over tape images. The path lists its volumes, separated by commas; "=SIZE" behind a name
// (bytes, or with K, M or G) is the capacity of a volume that is written.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <sstream>
#include <vector>

#include "media/drive.h"
#include "media/tape_image.h"
#include "platform/console.h"

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

class ImageDrive : public Drive {
 public:
  ImageDrive(ImageFormat format, std::vector<Volume> volumes, DriveUse use)
      : format_(format), volumes_(std::move(volumes)), use_(use) {}

  [[nodiscard]] bool Open();
  Block ReadBlock(std::size_t most) override;
  bool WriteBlock(std::span<const Byte> block, bool is_label) override;
  bool WriteMark() override;
  bool Reopen() override { return true; }  // an image keeps its place
  bool Rewind() override { return use_ == DriveUse::kWrite || Open(); }
  bool LoadNextVolume() override;
  bool TakeMounted() override { return Open(); }
  bool Close() override { return !writer_ || writer_->Close(); }
  void Flush() override {
    if (writer_) writer_->Flush();
  }

 private:
  [[nodiscard]] const Volume& volume() const { return volumes_[current_]; }
  Block Report(const TapeObject& object, const std::string& what);

  ImageFormat format_;
  std::vector<Volume> volumes_;
  DriveUse use_;
  std::size_t current_ = 0;
  std::optional<TapeImageReader> reader_;
  std::optional<TapeImageWriter> writer_;
};

bool ImageDrive::Open() {
  if (use_ == DriveUse::kRead) return reader_.emplace(format_).Open(volume().path);
  return writer_.emplace(format_).Open(volume().path);
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
        if (object.data.size() > most) return {.error = ENOMEM};
        return {.data = object.data};
    }
  }
}

bool ImageDrive::WriteBlock(std::span<const Byte> block, bool is_label) {
  if (!is_label && writer_->size() + block.size() > volume().capacity) {
    errno = ENOSPC;
    return false;
  }
  writer_->WriteBlock(block);
  return true;
}

bool ImageDrive::WriteMark() {
  writer_->WriteMark();
  return true;
}

bool ImageDrive::LoadNextVolume() {
  if (current_ + 1 == volumes_.size()) return false;
  if (writer_ && !writer_->Close()) return false;
  ++current_;
  if (Open()) return true;
  PrintError("Opening tape image '%s': %s\n", volume().path.c_str(), std::strerror(errno));
  return false;
}

}  // namespace

std::unique_ptr<Drive> OpenImages(const std::string& path, DriveUse use) {
  const ImagePath image = ParseImagePath(path);
  std::vector<Volume> volumes;
  std::istringstream names(image.list);
  for (std::string name; std::getline(names, name, ',');) volumes.push_back(ParseVolume(name));
  if (volumes.empty()) {
    errno = ENOENT;
    return nullptr;
  }
  auto drive = std::make_unique<ImageDrive>(image.format, std::move(volumes), use);
  if (!drive->Open()) return nullptr;
  return drive;
}

}  // namespace tolvane
