// The public calls: each is a frame around the operation of the same name. The frame finds the open
// file, hands in and out the status variables, and catches what the operation throws.

#include <isam.h>
#include <isam_ext.h>

#include <cerrno>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include "isam/isoperations.h"
#include "isam/isstatus.h"

namespace isam {
namespace {

// Open files by handle.
std::vector<std::unique_ptr<Handle>> adminfo;
constexpr std::size_t kTableStep = 10;

// The open file of a handle, with the caller's variables handed in; null, with the status set, when
// there is none.
Handle* isWrapInit(int number) {
  isstat1 = isstat2 = isstat3 = isstat4 = '0';
  if (number < 0 || static_cast<std::size_t>(number) >= adminfo.size() ||
      adminfo[static_cast<std::size_t>(number)] == nullptr) {
    isstat1 = '9';
    isstat3 = '4';
    iserrno = ENOTOPEN;
    return nullptr;
  }
  Handle& handle = *adminfo[static_cast<std::size_t>(number)];
  handle.recnum = isrecnum;
  handle.reclen = isreclen;
  iserrno = iserrio = 0;
  return &handle;
}

// Puts an error into the status variables.
void Report(const Failure& failure) {
  iserrio = failure.io;
  char status[4];
  iserrno = isCobolErr(PackError(failure.error, failure.hint), status);
  for (char& character : status)
    if (character <= ' ') character = '0';
  isstat1 = status[0];
  isstat2 = status[1];
  isstat3 = status[2];
  isstat4 = status[3];
  errno = failure.error < EDUPL ? failure.error : failure.error == EFLOCKED ? EACCES : errno;
}

// Runs an operation; the result is what it returns, 0 when that is nothing, or -1.
template <typename Run>
int Guard(Run run) {
  try {
    if constexpr (std::is_void_v<decltype(run())>) {
      run();
      return 0;
    } else {
      return run();
    }
  } catch (const Failure& failure) {
    Report(failure);
  } catch (const std::bad_alloc&) {
    isFatal("ismemory.c", __LINE__);
  }
  return -1;
}

// The arguments of a call as its operation takes them. The records and names that callers must
// give are looked at here.
template <typename Pointer>
Pointer Needed(Pointer argument) {
  if (argument == nullptr) throw Failure{EBADARG};
  return argument;
}
const Byte* Pass(const char* record) {
  return static_cast<const Byte*>(static_cast<const void*>(Needed(record)));
}
Byte* Pass(char* record) { return static_cast<Byte*>(static_cast<void*>(Needed(record))); }
template <typename Argument>
Argument Pass(Argument argument) {
  return argument;
}

// A call with a handle: the operation on it with the arguments that follow.
template <typename Operation, typename... Arguments>
int Wrap(int number, Operation operation, Arguments... arguments) {
  Handle* const handle = isWrapInit(number);
  if (handle == nullptr) return -1;
  const int result = Guard([&] { return operation(*handle, Pass(arguments)...); });
  isrecnum = handle->recnum;
  isreclen = handle->reclen;
  ispid = handle->file->holder;
  return result;
}

// A call by name.
template <typename Run>
int WrapName(Run run) {
  isstat1 = isstat2 = isstat3 = isstat4 = '0';
  iserrno = iserrio = 0;
  return Guard(run);
}

// ... that makes a handle, which gets the lowest free number.
template <typename Make>
int WrapOpen(Make make) {
  return WrapName([&] {
    std::size_t number = 0;
    while (number < adminfo.size() && adminfo[number] != nullptr) ++number;
    if (number == adminfo.size()) adminfo.resize(number + kTableStep);
    adminfo[number] = make();
    return static_cast<int>(number);
  });
}

std::uint32_t RecordNumber(std::int32_t number) { return static_cast<std::uint32_t>(number); }

}  // namespace
}  // namespace isam

using namespace isam;

extern "C" {

int isbuild(const char* name, int record_length, const keydesc* primary, int mode) {
  return WrapOpen([&] { return isBuild(Needed(name), record_length, primary, mode); });
}

int isvbuild(const char* name, int, int most, const keydesc* primary, int mode) {
  return isbuild(name, most, primary, mode | ISVARLEN);
}

int isopen(const char* name, int mode) {
  return WrapOpen([&] { return isOpen(Needed(name), mode); });
}

int isclose(int number) {
  Handle* const handle = isWrapInit(number);
  if (handle == nullptr) return -1;
  const int result = Guard([&] { isClose(*handle); });
  adminfo[static_cast<std::size_t>(number)].reset();
  return result;
}

int iserase(const char* name) {
  return WrapName([&] { isErase(Needed(name)); });
}

int isrename(const char* old_name, const char* new_name) {
  return WrapName([&] { isRename(Needed(old_name), Needed(new_name)); });
}

int isflush(int number) { return Wrap(number, isFlush); }

int isaddindex(int number, const keydesc* key) { return Wrap(number, isAddIndex, key); }
int isdelindex(int number, const keydesc* key) { return Wrap(number, isDelIndex, key); }
int isindexinfo(int number, void* buffer, int index) {
  return Wrap(number, isIndexInfo, buffer, index);
}
int isisaminfo(int number, dictinfo* info) { return isindexinfo(number, info, 0); }

int isstart(int number, const keydesc* key, int length, const char* record, int mode) {
  return Wrap(number, isStart, key, length, record, mode);
}
int isread(int number, char* record, int mode) { return Wrap(number, isRead, record, mode); }
int isscan(int number, char* records, int most, std::int32_t* numbers) {
  return Wrap(number, isScan, records, most, numbers);
}

int iswrite(int number, const char* record) {
  return Wrap(number, isWrite, record, AfterWrite::kStay);
}
int iswrcurr(int number, const char* record) {
  return Wrap(number, isWrite, record, AfterWrite::kBecomeCurrent);
}
int iswrlock(int number, const char* record) {
  return Wrap(number, isWrite, record, AfterWrite::kLock);
}
int isrewrite(int number, const char* record) { return Wrap(number, isRewrite, record); }
int isrewcurr(int number, const char* record) { return Wrap(number, isRewCurr, record, false); }
int isrewnxt(int number, const char* record) { return Wrap(number, isRewCurr, record, true); }
int isrewrec(int number, std::int32_t record_number, const char* record) {
  return Wrap(number, isRewRec, RecordNumber(record_number), record);
}
int isdelete(int number, const char* record) { return Wrap(number, isDelete, record); }
int isdelcurr(int number) { return Wrap(number, isDelCurr); }
int isdelrec(int number, std::int32_t record_number) {
  return Wrap(number, isDelRec, RecordNumber(record_number));
}

int isuniqueid(int number, std::int32_t* identifier) {
  return Wrap(number, [&](Handle& handle) {
    std::int32_t& to = *Needed(identifier);
    to = isUniqueId(handle);
  });
}
int issetunique(int number, std::int32_t identifier) {
  return Wrap(number, isSetUnique, identifier);
}
int isprecious(int number, int flag) { return Wrap(number, isPrecious, flag != 0); }

int islockrec(int number, std::int32_t record_number, int wait) {
  return Wrap(number, [&](Handle& handle) {
    if (record_number < 0) throw Failure{EBADARG};
    if (!isLockData(*handle.file, &handle, RecordNumber(record_number), wait != 0, false))
      throw Failure{ELOCKED};
  });
}
int isrelrec(int number, std::int32_t record_number) {
  return Wrap(number, [&](Handle& handle) {
    if (record_number < 0) throw Failure{EBADARG};
    isDropData(*handle.file, &handle, RecordNumber(record_number));
  });
}

}  // extern "C"
