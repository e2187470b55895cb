// The public calls: each is a frame around the operation of the same name. The frame finds the open
// file, hands in and out the status variables, and catches what the operation throws.

#include <isam.h>
#include <isam_ext.h>

#include <cerrno>
#include <exception>
#include <memory>
#include <new>
#include <vector>

#include "isam/isoperations.h"
#include "isam/isstatus.h"

namespace isam {
namespace {

// Open files by handle.
std::vector<std::unique_ptr<Handle>> adminfo;
constexpr std::size_t kTableStep = 10;

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

// Runs an operation; the result is what it returns, or -1.
template <typename Run>
int Guard(Run run) {
  try {
    return run();
  } catch (const Failure& failure) {
    Report(failure);
  } catch (const std::bad_alloc&) {
    isFatal("ismemory.c", __LINE__);
  } catch (...) {
    isFatal("ismemory.c", __LINE__);
  }
  return -1;
}

// A call with a handle.
template <typename Run>
int Wrap(int number, Run run) {
  Handle* const handle = isWrapInit(number);
  if (handle == nullptr) return -1;
  const int result = Guard([&] { return run(*handle); });
  isrecnum = handle->recnum;
  isreclen = handle->reclen;
  ispid = handle->file->holder;
  return result;
}

template <typename Run>
int WrapDone(int number, Run run) {
  return Wrap(number, [&](Handle& handle) {
    run(handle);
    return 0;
  });
}

// A call that makes a handle.
template <typename Make>
int WrapOpen(Make make) {
  isstat1 = isstat2 = isstat3 = isstat4 = '0';
  iserrno = iserrio = 0;
  return Guard([&] {
    std::size_t number = 0;
    while (number < adminfo.size() && adminfo[number] != nullptr) ++number;
    if (number == adminfo.size()) adminfo.resize(number + kTableStep);
    adminfo[number] = make();
    return static_cast<int>(number);
  });
}

// A call by name.
template <typename Run>
int WrapName(Run run) {
  isstat1 = isstat2 = isstat3 = isstat4 = '0';
  iserrno = iserrio = 0;
  return Guard([&] {
    run();
    return 0;
  });
}

const Byte* Bytes(const char* record) {
  return static_cast<const Byte*>(static_cast<const void*>(record));
}
Byte* Bytes(char* record) { return static_cast<Byte*>(static_cast<void*>(record)); }

void NeedArgument(const void* argument) {
  if (argument == nullptr) throw Failure{EBADARG};
}

}  // namespace
}  // namespace isam

using namespace isam;

extern "C" {

int isbuild(const char* name, int record_length, const keydesc* primary, int mode) {
  return WrapOpen([&] {
    NeedArgument(name);
    return isBuild(name, record_length, primary, mode);
  });
}

int isvbuild(const char* name, int, int most, const keydesc* primary, int mode) {
  return isbuild(name, most, primary, mode | ISVARLEN);
}

int isopen(const char* name, int mode) {
  return WrapOpen([&] {
    NeedArgument(name);
    return isOpen(name, mode);
  });
}

int isclose(int number) {
  Handle* const handle = isWrapInit(number);
  if (handle == nullptr) return -1;
  const int result = Guard([&] {
    isClose(*handle);
    return 0;
  });
  adminfo[static_cast<std::size_t>(number)].reset();
  return result;
}

int isflush(int number) { return WrapDone(number, isFlush); }

int iserase(const char* name) {
  return WrapName([&] {
    NeedArgument(name);
    isErase(name);
  });
}

int isrename(const char* old_name, const char* new_name) {
  return WrapName([&] {
    NeedArgument(old_name);
    NeedArgument(new_name);
    isRename(old_name, new_name);
  });
}

int isaddindex(int number, const keydesc* key) {
  return WrapDone(number, [&](Handle& handle) { isAddIndex(handle, key); });
}

int isdelindex(int number, const keydesc* key) {
  return WrapDone(number, [&](Handle& handle) { isDelIndex(handle, key); });
}

int isindexinfo(int number, void* buffer, int index) {
  return WrapDone(number, [&](Handle& handle) { isIndexInfo(handle, buffer, index); });
}

int isisaminfo(int number, dictinfo* info) { return isindexinfo(number, info, 0); }

int isstart(int number, const keydesc* key, int length, const char* record, int mode) {
  return WrapDone(number, [&](Handle& handle) {
    NeedArgument(record);
    isStart(handle, key, length, Bytes(record), mode);
  });
}

int isread(int number, char* record, int mode) {
  return WrapDone(number, [&](Handle& handle) {
    NeedArgument(record);
    isRead(handle, Bytes(record), mode);
  });
}

int isscan(int number, char* records, int most, std::int32_t* numbers) {
  return Wrap(number, [&](Handle& handle) {
    NeedArgument(records);
    if (most < 1) throw Failure{EBADARG};
    return isScan(handle, Bytes(records), most, numbers);
  });
}

int iswrite(int number, const char* record) {
  return WrapDone(number, [&](Handle& handle) {
    NeedArgument(record);
    isWrite(handle, Bytes(record), AfterWrite::kStay);
  });
}

int iswrcurr(int number, const char* record) {
  return WrapDone(number, [&](Handle& handle) {
    NeedArgument(record);
    isWrite(handle, Bytes(record), AfterWrite::kBecomeCurrent);
  });
}

int iswrlock(int number, const char* record) {
  return WrapDone(number, [&](Handle& handle) {
    NeedArgument(record);
    isWrite(handle, Bytes(record), AfterWrite::kLock);
  });
}

int isrewrite(int number, const char* record) {
  return WrapDone(number, [&](Handle& handle) {
    NeedArgument(record);
    isRewrite(handle, Bytes(record));
  });
}

int isrewcurr(int number, const char* record) {
  return WrapDone(number, [&](Handle& handle) {
    NeedArgument(record);
    isRewCurr(handle, Bytes(record), false);
  });
}

int isrewnxt(int number, const char* record) {
  return WrapDone(number, [&](Handle& handle) {
    NeedArgument(record);
    isRewCurr(handle, Bytes(record), true);
  });
}

int isrewrec(int number, std::int32_t record_number, const char* record) {
  return WrapDone(number, [&](Handle& handle) {
    NeedArgument(record);
    isRewRec(handle, static_cast<std::uint32_t>(record_number), Bytes(record));
  });
}

int isdelete(int number, const char* record) {
  return WrapDone(number, [&](Handle& handle) {
    NeedArgument(record);
    isDelete(handle, Bytes(record));
  });
}

int isdelcurr(int number) { return WrapDone(number, isDelCurr); }

int isdelrec(int number, std::int32_t record_number) {
  return WrapDone(
      number, [&](Handle& handle) { isDelRec(handle, static_cast<std::uint32_t>(record_number)); });
}

int isuniqueid(int number, std::int32_t* identifier) {
  return WrapDone(number, [&](Handle& handle) {
    NeedArgument(identifier);
    *identifier = isUniqueId(handle);
  });
}

int issetunique(int number, std::int32_t identifier) {
  return WrapDone(number, [&](Handle& handle) { isSetUnique(handle, identifier); });
}

int isprecious(int number, int flag) {
  return WrapDone(number, [&](Handle& handle) { isPrecious(handle, flag != 0); });
}

int islockrec(int number, std::int32_t record_number, int wait) {
  return WrapDone(number, [&](Handle& handle) {
    if (record_number < 0) throw Failure{EBADARG};
    if (!isLockData(*handle.file, &handle, static_cast<std::uint32_t>(record_number), wait != 0,
                    false))
      throw Failure{ELOCKED};
  });
}

int isrelrec(int number, std::int32_t record_number) {
  return WrapDone(number, [&](Handle& handle) {
    if (record_number < 0) throw Failure{EBADARG};
    isDropData(*handle.file, &handle, static_cast<std::uint32_t>(record_number));
  });
}

}  // extern "C"
