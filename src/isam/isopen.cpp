// Building, opening, closing, erasing and renaming files.

#include <isam.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "isam/isoperations.h"
#include "platform/system_calls.h"

namespace isam {

using tolvane::sys;

namespace {

// The open files of this process.
std::vector<std::weak_ptr<File>> open_files;

constexpr int kLockBits = 0xF00;
constexpr int kVariable = 0x10;
constexpr int kIoIndex = 0x10, kIoData = 0x20;  // parts of secondary codes
constexpr int kMostRecord = 32767;

// Locks are asked for by default when no bit says anything of them.
int WithLockMode(int mode) { return (mode & kLockBits) == 0 ? mode | ISMANULOCK : mode; }

std::string NameOf(const std::string& base, NameKind kind) {
  std::string name;
  if (makename(name, base, kind) != 0) throw Failure{EFNAME};
  return name;
}

bool Exists(const std::string& path) {
  struct stat status {};
  return sys.stat(path.c_str(), &status) == 0;
}

int OpenOrThrow(const std::string& path, int flags, int io) {
  const int fd = sys.open(path.c_str(), flags | O_CLOEXEC, 0666);
  if (fd < 0) throw Failure{errno, io};
  return fd;
}

void Identify(File& file) {
  struct stat status {};
  if (sys.fstat(file.index.fd(), &status) != 0) throw Failure{errno, kIoIndex};
  file.identity = {status.st_dev, status.st_ino};
}

std::shared_ptr<File> FindOpen(const std::string& index_name) {
  std::erase_if(open_files, [](const auto& file) { return file.expired(); });
  struct stat status {};
  if (sys.stat(index_name.c_str(), &status) != 0) return nullptr;
  for (const auto& entry : open_files)
    if (auto file = entry.lock();
        file != nullptr && file->identity == std::pair(status.st_dev, status.st_ino))
      return file;
  return nullptr;
}

// A second handle on a file that this process has open.
void Join(File& file, int mode) {
  const bool wants_exclusive = (mode & ISEXCLLOCK) != 0;
  if ((wants_exclusive || file.exclusive) &&
      !((mode & ISSHAREOWN) != 0 && (!file.exclusive || file.shares_exclusive)))
    throw Failure{EFLOCKED};
  if ((mode & 3) != ISINPUT && !file.writable) throw Failure{EACCES, kIoIndex};
}

std::unique_ptr<Handle> NewHandle(std::shared_ptr<File> file, int mode) {
  auto handle = std::make_unique<Handle>();
  handle->mode = mode;
  handle->index = file->indexes.empty() || !file->indexes[0].has_parts() ? -1 : 0;
  handle->reclen = static_cast<int>(file->record_length);
  ++file->handles;
  handle->file = std::move(file);
  return handle;
}

// The sizes that a mode word asks for. Fails with EBADARG.
void TakeBuildMode(File& file, int mode) {
  const int width = mode >> 16 & 7, units = mode >> 24 & 0x3F;
  if (width > 4 || units > static_cast<int>(layout::kMaxNodeUnits) || (mode & kVariable) != 0)
    throw Failure{EBADARG, 0, '7'};
  if (width > 0) file.duplicate_width = static_cast<std::size_t>(width);
  if (units > 0) file.node_size = static_cast<std::size_t>(units) * layout::kNodeUnit;
}

}  // namespace

std::unique_ptr<Handle> isBuild(const std::string& name, int record_length, const keydesc* key,
                                int mode) {
  mode = WithLockMode(mode);
  auto file = std::make_shared<File>();
  TakeBuildMode(*file, mode);
  if (record_length < 0 || record_length > kMostRecord) throw Failure{EBADARG, 0, '7'};
  file->record_length = static_cast<std::size_t>(record_length);
  if (!isTestIndex(file->record_length, key)) throw Failure{EBADKEY};
  file->base = name;
  file->index_name = NameOf(name, NameKind::kIndex);
  file->data_name = NameOf(name, NameKind::kData);
  if (Exists(file->index_name) || (record_length > 0 && Exists(file->data_name)))
    throw Failure{EEXIST};
  file->writable = true;
  constexpr int kCreate = O_RDWR | O_CREAT | O_EXCL;
  file->index.Attach(OpenOrThrow(file->index_name, kCreate, kIoIndex), true, kIoIndex);
  try {
    if (record_length > 0)
      file->data.Attach(OpenOrThrow(file->data_name, kCreate, kIoData), true, kIoData);
    Identify(*file);
    isLockOpen(*file, (mode & ISEXCLLOCK) != 0);
    file->shares_exclusive = (mode & ISSHAREOWN) != 0;
    isLockWrite(*file);
    isMakeHead(*file, mode);
    file->scratch.resize(std::max(file->node_size, file->slot_length()));
    Index& index = file->indexes.emplace_back();
    index.key = *key;
    index.Settle(file->duplicate_width);
    AppendKeyEntry(*file, index);
    isHeadWrite(*file);
    isDropLock(*file);
  } catch (...) {
    if (file->data.fd() >= 0) (void)sys.unlink(file->data_name.c_str());  // nothing stays behind
    (void)sys.unlink(file->index_name.c_str());
    throw;
  }
  open_files.push_back(file);
  return NewHandle(std::move(file), mode);
}

std::unique_ptr<Handle> isOpen(const std::string& name, int mode) {
  mode = WithLockMode(mode);
  const std::string index_name = NameOf(name, NameKind::kIndex);
  if (auto file = FindOpen(index_name)) {
    Join(*file, mode);
    return NewHandle(std::move(file), mode);
  }
  auto file = std::make_shared<File>();
  file->base = name;
  file->index_name = index_name;
  file->data_name = NameOf(name, NameKind::kData);
  // Exclusive locks need a descriptor for writing, so one is taken where it can be had.
  int fd = sys.open(index_name.c_str(), O_RDWR | O_CLOEXEC, 0);
  file->writable = fd >= 0;
  if (fd < 0 && (mode & 3) == ISINPUT && (errno == EACCES || errno == EROFS))
    fd = OpenOrThrow(index_name, O_RDONLY, kIoIndex);
  if (fd < 0) throw Failure{errno, kIoIndex};
  file->index.Attach(fd, file->writable, kIoIndex);
  Identify(*file);
  isLockOpen(*file, (mode & ISEXCLLOCK) != 0);
  file->shares_exclusive = (mode & ISSHAREOWN) != 0;
  isLockRead(*file);
  Byte length[2];
  // The data file is attached before the dictionary is checked against it.
  const Byte* const bytes = file->index.Read(layout::dictionary::kRecordLength, 2, length);
  if (tolvane::LoadBig<std::uint16_t>(bytes) > 0)
    file->data.Attach(OpenOrThrow(file->data_name, file->writable ? O_RDWR : O_RDONLY, kIoData),
                      file->writable, kIoData);
  isLoadHead(*file);
  isDropLock(*file);
  open_files.push_back(file);
  return NewHandle(std::move(file), mode);
}

void isClose(Handle& handle) {
  File& file = *handle.file;
  isDropDall(file, &handle);
  if (--file.handles > 0) return;
  // What was reserved is cut off by whoever can be sure to be alone.
  int holder = 0;
  const bool alone =
      file.exclusive ||
      (file.writable && isFSlock(file.index.fd(), layout::lock::kOpen, layout::lock::kOpenLength,
                                 LockRequest::kExclusive, holder));
  if (alone && file.writable) {
    (void)isDelta(file);
    file.index.CutTo(file.node_offset(file.free_nodes.highest + 1));
    if (file.record_length > 0) file.data.CutTo(file.slot_offset(file.free_records.highest + 1));
  }
  file.data.Close();
  file.index.Close();
}

void isErase(const std::string& name) {
  const auto handle = isOpen(name, ISINOUT | ISEXCLLOCK);
  const std::string index_name = handle->file->index_name, data_name = handle->file->data_name;
  const bool has_data = handle->file->record_length > 0;
  // Removed while it is locked, so that nobody opens it in between.
  const int result = sys.unlink(index_name.c_str());
  const int error = errno;
  if (result == 0 && has_data && sys.unlink(data_name.c_str()) != 0) {
    const int data_error = errno;
    isClose(*handle);
    throw Failure{data_error, kIoData};
  }
  isClose(*handle);
  if (result != 0) throw Failure{error, kIoIndex};
}

void isRename(const std::string& from, const std::string& to) {
  const std::string new_index = NameOf(to, NameKind::kIndex);
  const auto handle = isOpen(from, ISINOUT | ISEXCLLOCK);
  const File& file = *handle->file;
  const bool bare = !file.data_name.ends_with(".dat");
  const std::string new_data = bare ? to : to + ".dat";
  int error = 0;
  if (Exists(new_index) || (file.record_length > 0 && Exists(new_data))) error = EEXIST;
  if (error == 0 && file.record_length > 0 &&
      sys.rename(file.data_name.c_str(), new_data.c_str()) != 0)
    error = errno;
  if (error == 0 && sys.rename(file.index_name.c_str(), new_index.c_str()) != 0) {
    error = errno;
    if (file.record_length > 0)  // as far as it goes
      (void)sys.rename(new_data.c_str(), file.data_name.c_str());
  }
  isClose(*handle);
  if (error != 0) throw Failure{error, kIoIndex};
}

void isFlush(Handle& handle) {
  File& file = *handle.file;
  if (file.record_length > 0) file.data.Sync();
  file.index.Sync();
}

Operation::Operation(Handle& handle, Kind kind) : file_(*handle.file), kind_(kind) {
  if (kind == Kind::kUpdate) {
    if (!handle.writes()) throw Failure{ENOTOPEN, 0, '9'};
    isLockWrite(file_);
  } else {
    isLockRead(file_);
  }
  (void)isDelta(file_);
}

Operation::~Operation() {
  if (kind_ == Kind::kUpdate && !complete_) {
    isFreeClear(file_);
    ++file_.epoch;
    --file_.change_counter;  // what the dictionary says is taken over again
    const bool exclusive = std::exchange(file_.exclusive, false);
    try {
      (void)isDelta(file_);
    } catch (const Failure&) {  // the first failure is the one that counts
    }
    file_.exclusive = exclusive;
  }
  isDropLock(file_);
}

void Operation::BeginStores() {
  isFreeWrite(file_);
  isHeadWrite(file_);
}

void Operation::WriteBack() {
  isFreeWrite(file_);
  isHeadFields(file_);
  ++file_.epoch;
  complete_ = true;
}

}  // namespace isam
