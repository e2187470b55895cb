// Building, opening, closing, erasing and renaming files.

#include <isam.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "isam/isoperations.h"
#include "platform/system_calls.h"

namespace isam {

using tolvane::sys;

namespace {

// The open files of this process.
std::vector<std::weak_ptr<File>> open_files;

constexpr int kLockBits = 0xF00;
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
  const auto identity = tolvane::FileIdOf(file.index.fd());
  if (!identity) throw Failure{errno, kIoIndex};
  file.identity = *identity;
}

std::shared_ptr<File> FindOpen(const std::string& index_name) {
  std::erase_if(open_files, [](const auto& file) { return file.expired(); });
  const auto identity = tolvane::FileIdOf(index_name);
  for (const auto& entry : open_files)
    if (auto file = entry.lock(); file != nullptr && file->identity == identity) return file;
  return nullptr;
}

// A further handle on a file that this process has open: where one wants it for itself, all others
// must agree.
void Join(File& file, int mode) {
  const bool wants_exclusive = (mode & ISEXCLLOCK) != 0;
  const bool agrees = (mode & ISSHAREOWN) != 0;
  const bool others_agree = std::all_of(file.modes.begin(), file.modes.end(),
                                        [](int other) { return (other & ISSHAREOWN) != 0; });
  if ((wants_exclusive && !others_agree) || (file.exclusive && !agrees)) throw Failure{EFLOCKED};
  if ((mode & 3) != ISINPUT && !file.writable) throw Failure{EACCES, kIoIndex};
  if (!wants_exclusive || file.exclusive) return;
  isLockOpen(file, true);
  isTakeOver(file);
}

std::unique_ptr<Handle> NewHandle(std::shared_ptr<File> file, int mode) {
  auto handle = std::make_unique<Handle>();
  handle->mode = mode;
  handle->index = file->indexes.empty() || !file->indexes[0].has_parts() ? -1 : 0;
  handle->reclen = static_cast<int>(file->record_length);
  file->modes.push_back(mode);
  handle->file = std::move(file);
  return handle;
}

// Whether the open index file is the one that its name leads to.
bool IsStillNamed(const File& file) { return file.identity == tolvane::FileIdOf(file.index_name); }

void OpenOnce(File& file, int mode) {
  int fd = sys.open(file.index_name.c_str(), O_RDWR | O_CLOEXEC, 0);
  file.writable = fd >= 0;
  if (fd < 0 && (mode & 3) == ISINPUT && (errno == EACCES || errno == EROFS))
    fd = OpenOrThrow(file.index_name, O_RDONLY, kIoIndex);
  if (fd < 0) throw Failure{errno, kIoIndex};
  file.index.Attach(fd, file.writable, kIoIndex);
  Identify(file);
  isLockOpen(file, (mode & ISEXCLLOCK) != 0);
}

// Opens and locks the index file. Exclusive locks need a descriptor for writing, so one is taken
// where it can be had. What was erased, renamed or rebuilt before the lock was there is no longer
// the file that is meant.
void OpenIndex(File& file, int mode) {
  OpenOnce(file, mode);
  while (!IsStillNamed(file)) {
    file.index.Close();
    OpenOnce(file, mode);
  }
}

// Record length of a file that is not loaded yet.
std::size_t RecordLength(File& file) {
  Byte length[2];
  return tolvane::LoadBig<std::uint16_t>(
      file.index.Read(layout::dictionary::kRecordLength, sizeof length, length));
}

// Opens the data file, for writing where the index file was; a handle that reads is content with
// less, and makes the file one for reading.
void OpenData(File& file, int mode) {
  int fd = sys.open(file.data_name.c_str(), (file.writable ? O_RDWR : O_RDONLY) | O_CLOEXEC, 0);
  if (fd < 0 && file.writable && (mode & 3) == ISINPUT && (errno == EACCES || errno == EROFS)) {
    file.writable = false;
    fd = sys.open(file.data_name.c_str(), O_RDONLY | O_CLOEXEC, 0);
  }
  if (fd < 0) throw Failure{errno, kIoData};
  file.data.Attach(fd, file.writable, kIoData);
}

// Cuts off what was reserved, if nobody else has the file open. Whoever is about to open it waits
// for the operation lock.
void CutReserve(File& file) {
  if (!file.writable) return;
  const OperationLock lock(file, true);
  if (!file.exclusive &&
      !isFSlockTest(file.index.fd(), layout::lock::kOpen, layout::lock::kOpenLength, file.holder))
    return;
  isDelta(file);
  file.index.CutReserve(file.node_offset(file.free_nodes.highest + 1));
  if (file.record_length > 0) file.data.CutReserve(file.slot_offset(file.free_records.highest + 1));
}

// The sizes that a mode word asks for. Fails with EBADARG.
void TakeBuildMode(File& file, int mode) {
  const int width = mode >> 16 & 7, units = mode >> 24 & 0x3F;
  if (width > 4 || units > static_cast<int>(layout::kMaxNodeUnits) || (mode & ISVARLEN) != 0)
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
    isLockWrite(*file);
    isMakeHead(*file, mode);
    Index& index = file->indexes.emplace_back();
    if (key->k_nparts > 0) index.key = *key;
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
  file->index_name = index_name;
  file->data_name = NameOf(name, NameKind::kData);
  OpenIndex(*file, mode);
  const OperationLock lock(*file, false);
  file->index.RefreshSize();
  isNeedSignature(*file);
  if (RecordLength(*file) > 0) OpenData(*file, mode);
  isLoadHead(*file);
  open_files.push_back(file);
  return NewHandle(std::move(file), mode);
}

void isClose(Handle& handle) {
  File& file = *handle.file;
  isDropDall(file, &handle);
  file.modes.erase(std::find(file.modes.begin(), file.modes.end(), handle.mode));
  if (!file.modes.empty()) {
    const bool exclusive = std::any_of(file.modes.begin(), file.modes.end(),
                                       [](int mode) { return (mode & ISEXCLLOCK) != 0; });
    if (file.exclusive && !exclusive) isLockShare(file);
    return;
  }
  CutReserve(file);
  file.data.Close();
  file.index.Close();
}

void isErase(const std::string& name) {
  File file;
  file.index_name = NameOf(name, NameKind::kIndex);
  if (FindOpen(file.index_name) != nullptr) throw Failure{EFLOCKED};
  OpenIndex(file, ISINOUT | ISEXCLLOCK);
  // Removed while it is locked, so that nobody opens it in between. Of a damaged file the data goes
  // too.
  const bool has_data = file.index.size() < file.node_size || RecordLength(file) > 0;
  if (sys.unlink(file.index_name.c_str()) != 0) throw Failure{errno, kIoIndex};
  if (has_data && sys.unlink(NameOf(name, NameKind::kData).c_str()) != 0 && errno != ENOENT)
    throw Failure{errno, kIoData};
}

void isRename(const std::string& from, const std::string& to) {
  const std::string base = NameOf(to, NameKind::kBase), new_index = base + ".idx";
  if (FindOpen(NameOf(from, NameKind::kIndex)) != nullptr) throw Failure{EFLOCKED};
  const auto handle = isOpen(from, ISINOUT | ISEXCLLOCK);
  const File& file = *handle->file;
  const std::string new_data = file.data_name.ends_with(".dat") ? base + ".dat" : base;
  const bool has_data = file.record_length > 0;
  int error = 0;
  // Either name of a data file may be taken for it.
  if (Exists(new_index) || (has_data && (Exists(base) || Exists(base + ".dat")))) error = EEXIST;
  if (error == 0 && has_data && sys.rename(file.data_name.c_str(), new_data.c_str()) != 0)
    error = errno;
  if (error == 0 && sys.rename(file.index_name.c_str(), new_index.c_str()) != 0) {
    error = errno;
    if (has_data) (void)sys.rename(new_data.c_str(), file.data_name.c_str());  // as far as it goes
  }
  isClose(*handle);
  if (error != 0) throw Failure{error, kIoIndex};
}

void isFlush(Handle& handle) {
  File& file = *handle.file;
  if (file.record_length > 0) file.data.Sync();
  file.index.Sync();
}

}  // namespace isam
