// Locks between processes, on regions of the index file far beyond its bytes, and between the
// handles of this process.

#include <isam.h>
#include <unistd.h>

#include <algorithm>

#include "isam/isfile.h"

namespace isam {

namespace region = layout::lock;

namespace {

bool SetLock(File& file, std::int64_t offset, std::int64_t length, LockRequest request) {
  return isFSlock(file.index.fd(), offset, length, request, file.holder);
}

std::int64_t RecordOffset(std::uint32_t record) { return region::kRecords + record; }
std::int64_t RecordLength(std::uint32_t record) { return record == 0 ? region::kRecordsLength : 1; }

// Whether another handle of this process has the record, or all of them.
bool HeldByOther(const File& file, const void* handle, std::uint32_t record) {
  return std::any_of(file.record_locks.begin(), file.record_locks.end(), [&](const auto& lock) {
    return lock.handle != handle && (lock.record == record || lock.record == 0 || record == 0);
  });
}

// The handle's lock on just this record, or on all for 0.
auto Find(File& file, const void* handle, std::uint32_t record) {
  return std::find_if(file.record_locks.begin(), file.record_locks.end(), [&](const auto& lock) {
    return lock.record == record && lock.handle == handle;
  });
}

// Whether the handle holds the record already, by itself or with all others; it keeps it then, as
// long as it is asked to.
bool Keeps(File& file, const void* handle, std::uint32_t record, bool automatic) {
  auto lock = Find(file, handle, record);
  if (lock == file.record_locks.end()) lock = Find(file, handle, 0);
  if (lock == file.record_locks.end()) return false;
  lock->expires = false;
  lock->automatic = lock->automatic && automatic;
  return true;
}

bool Holds(File& file, const void* handle, std::uint32_t record) {
  return Find(file, handle, record) != file.record_locks.end() ||
         Find(file, handle, 0) != file.record_locks.end();
}

void Unlock(File& file, const File::RecordLock& lock) {
  if (!file.exclusive)
    (void)SetLock(file, RecordOffset(lock.record), RecordLength(lock.record), LockRequest::kUnlock);
}

}  // namespace

void isLockOpen(File& file, bool exclusive) {
  const LockRequest request = exclusive ? LockRequest::kExclusive : LockRequest::kShared;
  if (!SetLock(file, region::kOpen, region::kOpenLength, request)) throw Failure{EFLOCKED};
  file.exclusive = exclusive;
}

// What waits is granted in the end, unless the descriptor may not have the lock: then the engine is
// wrong.
void isLockRead(File& file) {
  if (file.exclusive || file.held != File::Held::kNothing) return;
  if (!SetLock(file, region::kOperation, region::kOperationLength, LockRequest::kSharedWait))
    isFatal("islock.c", __LINE__);
  file.held = File::Held::kRead;
}

void isLockWrite(File& file) {
  if (file.exclusive || file.held == File::Held::kWrite) return;
  if (!SetLock(file, region::kOperation, region::kOperationLength, LockRequest::kExclusiveWait))
    isFatal("islock.c", __LINE__);
  file.held = File::Held::kWrite;
}

void isDropLock(File& file) {
  if (file.held == File::Held::kNothing) return;
  file.held = File::Held::kNothing;
  try {
    (void)SetLock(file, region::kOperation, region::kOperationLength, LockRequest::kUnlock);
  } catch (const Failure&) {  // the operation is done; a lock that stays is met by the next one
  }
}

bool isLockData(File& file, const void* handle, std::uint32_t record, bool wait, bool automatic) {
  if (Keeps(file, handle, record, automatic)) return true;
  if (HeldByOther(file, handle, record)) {
    file.holder = static_cast<int>(getpid());
    return false;
  }
  if (!file.exclusive && !SetLock(file, RecordOffset(record), RecordLength(record),
                                  wait ? LockRequest::kExclusiveWait : LockRequest::kExclusive))
    return false;
  file.record_locks.push_back({record, handle, automatic, false});
  return true;
}

bool isLockTest(File& file, const void* handle, std::uint32_t record) {
  if (Holds(file, handle, record)) return true;
  if (HeldByOther(file, handle, record)) return false;
  if (file.exclusive) return true;
  return isFSlockTest(file.index.fd(), RecordOffset(record), 1, file.holder);
}

void isDropData(File& file, const void* handle, std::uint32_t record) {
  if (record == 0) return isDropDall(file, handle);
  const auto lock = Find(file, handle, record);
  if (lock == file.record_locks.end()) return;
  const File::RecordLock dropped = *lock;
  file.record_locks.erase(lock);
  if (!Holds(file, handle, record)) Unlock(file, dropped);
}

void isDropDall(File& file, const void* handle) {
  for (const File::RecordLock& lock : file.record_locks)
    if (lock.handle == handle) Unlock(file, lock);
  std::erase_if(file.record_locks, [handle](const auto& lock) { return lock.handle == handle; });
}

void isExpireLocks(File& file, const void* handle) {
  for (File::RecordLock& lock : file.record_locks)
    if (lock.handle == handle) lock.expires = lock.automatic;
}

void isDropExpired(File& file) {
  for (const File::RecordLock& lock : file.record_locks)
    if (lock.expires) Unlock(file, lock);
  std::erase_if(file.record_locks, [](const auto& lock) { return lock.expires; });
}

// Locks that the system has from before the file was exclusive may be over, and those of since then
// it does not have; as long as the file is exclusive nobody else can take one.
void isLockShare(File& file) {
  (void)SetLock(file, RecordOffset(0), RecordLength(0), LockRequest::kUnlock);
  for (const File::RecordLock& lock : file.record_locks)
    (void)SetLock(file, RecordOffset(lock.record), RecordLength(lock.record),
                  LockRequest::kExclusive);
  isLockOpen(file, false);
}

}  // namespace isam
