// The operations behind the public calls, which include/isam.h describes: lock, refresh, work,
// write back, unlock. They hold no lock when they begin and when they end but those on records, and
// throw Failure with the error number of the call; Operation drops the locks on every way out.
#pragma once

#include <isam.h>

#include <memory>
#include <string>

#include "isam/isfile.h"
#include "isam/istree.h"

namespace isam {

// Where a handle stands in its index.
enum class Standing {
  kBefore,   // before the first record
  kAhead,    // on a record that isstart has found and ISNEXT reads
  kOn,       // on the record read last
  kGap,      // where a record was deleted: between its neighbours
  kPastEnd,  // on the last record, after ISNEXT has failed
  kPastBegin,
};

struct Position {
  int index = 0;  // the selected one; -1: order of record numbers
  Standing standing = Standing::kBefore;
  std::uint32_t record = 0;  // the current one; 0: none
  Target target;             // of its entry
  Path path;                 // to it, while path.epoch is the file's
};

struct Handle : Position {
  std::shared_ptr<File> file;
  int mode = 0;

  // Exchanged with the caller's variables.
  std::int32_t recnum = 0;
  int reclen = 0;

  [[nodiscard]] bool writes() const { return (mode & 3) != ISINPUT; }
};

// ---- files

// Creates and opens a file; what failed leaves none behind.
[[nodiscard]] std::unique_ptr<Handle> isBuild(const std::string& name, int record_length,
                                              const keydesc* key, int mode);
[[nodiscard]] std::unique_ptr<Handle> isOpen(const std::string& name, int mode);
// Ends the handle's part in its file, which is closed with the last one. The handle then goes, also
// after a failure.
void isClose(Handle& handle);
void isErase(const std::string& name);
void isRename(const std::string& from, const std::string& to);
void isFlush(Handle& handle);

// ---- indexes. Adding and deleting want the file for this handle alone (ENOTEXCL).
void isAddIndex(Handle& handle, const keydesc* key);
void isDelIndex(Handle& handle, const keydesc* key);
// `buffer` takes a dictinfo for index 0, else a keydesc.
void isIndexInfo(Handle& handle, void* buffer, int index);

// ---- reading. A failure leaves the handle where it stood, but that a read beyond an end remembers
// the end.
void isStart(Handle& handle, const keydesc* key, int length, const Byte* record, int mode);
void isRead(Handle& handle, Byte* record, int mode);
// Returns the number of records.
int isScan(Handle& handle, Byte* records, int most, std::int32_t* numbers);

// ---- writing. `record` has the file's record length, in a file without data as many bytes as the
// keys need. What a failure of one of these leaves is the file as it was.
enum class AfterWrite { kStay, kBecomeCurrent, kLock };
void isWrite(Handle& handle, const Byte* record, AfterWrite after);
void isRewrite(Handle& handle, const Byte* record);
// The current record; with `same_key` its primary key may not change.
void isRewCurr(Handle& handle, const Byte* record, bool same_key);
void isRewRec(Handle& handle, std::uint32_t number, const Byte* record);
void isDelete(Handle& handle, const Byte* record);
void isDelCurr(Handle& handle);
void isDelRec(Handle& handle, std::uint32_t number);

// ---- the rest
[[nodiscard]] std::int32_t isUniqueId(Handle& handle);
void isSetUnique(Handle& handle, std::int32_t identifier);
void isPrecious(Handle& handle, bool on);

// Whether the current record is there, as the handle has read it. Within an operation.
[[nodiscard]] bool isCurrent(Handle& handle);

// Holds the lock of an operation.
class OperationLock {
 public:
  OperationLock(File& file, bool writes) : file_(file) {
    writes ? isLockWrite(file) : isLockRead(file);
  }
  ~OperationLock() { isDropLock(file_); }
  OperationLock(const OperationLock&) = delete;
  OperationLock& operator=(const OperationLock&) = delete;

 private:
  File& file_;
};

// One operation: the lock, and the refresh behind it. An updating one that fails forgets what it
// had cached. Records locked automatically by the call before are released.
class Operation {
 public:
  enum class Kind { kRead, kUpdate };
  Operation(Handle& handle, Kind kind);
  ~Operation();
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  // Everything is checked and there is room for it: from here on the file changes. The change is
  // counted first, so that others look again even if this process dies on the way.
  void BeginStores();
  // Ends an update: free lists, then the dictionary.
  void WriteBack();

 private:
  File& file_;
  OperationLock lock_;
  Kind kind_;
  bool complete_ = false;
};

}  // namespace isam
