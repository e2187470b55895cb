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
    return lock.second != handle && (lock.first == record || lock.first == 0 || record == 0);
  });
}

bool HeldBy(const File& file, const void* handle, std::uint32_t record) {
  return std::find(file.record_locks.begin(), file.record_locks.end(), std::pair(record, handle)) !=
         file.record_locks.end();
}

}  // namespace

void isLockOpen(File& file, bool exclusive) {
  const LockRequest request = exclusive ? LockRequest::kExclusive : LockRequest::kShared;
  if (!SetLock(file, region::kOpen, region::kOpenLength, request)) throw Failure{EFLOCKED};
  file.exclusive = exclusive;
}

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

bool isLockData(File& file, const void* handle, std::uint32_t record, bool wait) {
  if (HeldBy(file, handle, record) || HeldBy(file, handle, 0)) return true;
  if (HeldByOther(file, handle, record)) {
    file.holder = static_cast<int>(getpid());
    return false;
  }
  if (!file.exclusive && !SetLock(file, RecordOffset(record), RecordLength(record),
                                  wait ? LockRequest::kExclusiveWait : LockRequest::kExclusive))
    return false;
  file.record_locks.emplace_back(record, handle);
  return true;
}

bool isLockTest(File& file, const void* handle, std::uint32_t record) {
  if (HeldBy(file, handle, record) || HeldBy(file, handle, 0)) return true;
  if (HeldByOther(file, handle, record)) return false;
  if (file.exclusive) return true;
  return isFSlockTest(file.index.fd(), RecordOffset(record), 1, file.holder);
}

void isDropData(File& file, const void* handle, std::uint32_t record) {
  if (record == 0) return isDropDall(file, handle);
  const auto lock =
      std::find(file.record_locks.begin(), file.record_locks.end(), std::pair(record, handle));
  if (lock == file.record_locks.end()) return;
  file.record_locks.erase(lock);
  if (!file.exclusive && !HeldBy(file, handle, 0))
    (void)SetLock(file, RecordOffset(record), 1, LockRequest::kUnlock);
}

void isDropDall(File& file, const void* handle) {
  for (const auto& [record, owner] : file.record_locks)
    if (owner == handle && !file.exclusive)
      (void)SetLock(file, RecordOffset(record), RecordLength(record), LockRequest::kUnlock);
  std::erase_if(file.record_locks, [handle](const auto& lock) { return lock.second == handle; });
}

void isLockShare(File& file) {
  isLockOpen(file, false);
  for (const auto& lock : file.record_locks)
    (void)SetLock(file, RecordOffset(lock.first), RecordLength(lock.first),
                  LockRequest::kExclusive);  // nobody else can have had one
}

}  // namespace isam
