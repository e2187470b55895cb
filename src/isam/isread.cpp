// Positioning and reading.

#include <isam.h>

#include <algorithm>
#include <cstring>

#include "isam/isoperations.h"

namespace isam {
namespace {

constexpr int kModeMask = 0xFF;

// The error of a mode that finds nothing.
Failure NotFound(int mode) {
  if (mode <= ISPREV) return {EENDFILE, 0, mode >= ISNEXT ? '6' : '/'};
  if (mode == ISCURR) return {ENOCURR, 0, '3'};
  return {ENOREC, 0, '3'};
}

Index& Selected(Handle& handle) {
  return handle.file->indexes[static_cast<std::size_t>(handle.index)];
}

void CopyRecord(Handle& handle, Byte* to, std::uint32_t number) {
  File& file = *handle.file;
  if (file.record_length == 0) {
    isKeyLoad(Selected(handle), to, handle.target.bytes.data());
    return;
  }
  const Byte* const slot = isGetData(file, number, file.scratch.data());
  if (slot[file.record_length] != layout::slot::kLive) throw Failure{EBADFILE};
  std::memcpy(to, slot, file.record_length);
}

// Makes the entry that the handle's path is at the current one.
void TakeEntry(Handle& handle, Tree& tree) {
  const Index& index = Selected(handle);
  const Byte* const entry = tree.EntryAt(handle.path);
  std::memcpy(handle.target.bytes.data(), entry, index.length + index.counter_width);
  handle.record = tree.RecordOf(entry);
}

// Whether the handle's path leads to its current entry; it is looked for when the file has changed.
bool FindCurrent(Handle& handle, Tree& tree) {
  if (handle.record == 0) return false;
  if (handle.path.epoch == handle.file->epoch && handle.path.depth > 0) return true;
  if (!tree.Seek(handle.target, handle.path)) return false;
  const Index& index = Selected(handle);
  const Byte* const entry = tree.EntryAt(handle.path);
  return std::memcmp(entry, handle.target.bytes.data(), index.length + index.counter_width) == 0 &&
         tree.RecordOf(entry) == handle.record;
}

bool MoveNext(Handle& handle, Tree& tree) {
  switch (handle.standing) {
    case Standing::kBefore:
      return tree.First(handle.path);
    case Standing::kAhead:
    case Standing::kPastBegin:
      return FindCurrent(handle, tree) ||
             (handle.path.depth > 0 && handle.path.leaf().at < handle.path.leaf().count);
    case Standing::kGap:
      return tree.Seek(handle.target, handle.path);
    default:
      return FindCurrent(handle, tree) ? tree.Next(handle.path)
                                       : handle.path.leaf().at < handle.path.leaf().count;
  }
}

bool MovePrevious(Handle& handle, Tree& tree) {
  switch (handle.standing) {
    case Standing::kBefore:
      return false;
    case Standing::kPastEnd:
      return FindCurrent(handle, tree) || tree.Previous(handle.path);
    default:
      (void)FindCurrent(handle, tree);
      return handle.path.depth > 0 && tree.Previous(handle.path);
  }
}

bool MoveToKey(Handle& handle, Tree& tree, const Byte* record, int mode) {
  const Index& index = Selected(handle);
  Byte key[kMostTarget];
  isKeyMake(index, key, record);
  if (mode == ISGREAT) return tree.SeekPrefix(key, index.length, true, handle.path);
  if (!tree.Seek(MakeTarget(index, key, 0), handle.path)) return false;
  return mode == ISGTEQ || isKeyMatch(index, tree.EntryAt(handle.path), key);
}

// Puts the path on the entry that a mode asks for.
bool Move(Handle& handle, Tree& tree, const Byte* record, int mode) {
  switch (mode) {
    case ISFIRST:
      return tree.First(handle.path);
    case ISLAST:
      return tree.Last(handle.path);
    case ISNEXT:
      return MoveNext(handle, tree);
    case ISPREV:
      return MovePrevious(handle, tree);
    case ISCURR:
      return handle.standing != Standing::kBefore && handle.standing != Standing::kGap &&
             FindCurrent(handle, tree);
    default:
      return MoveToKey(handle, tree, record, mode);
  }
}

// The next live record by number, up or down; 0 when there is none.
std::uint32_t LiveFrom(File& file, std::uint32_t number, int step) {
  const std::uint32_t highest = file.free_records.highest;
  for (; number >= 1 && number <= highest; number += static_cast<std::uint32_t>(step))
    if (!isDelCheck(file, number)) return number;
  return 0;
}

// The same in the order of record numbers; modes that name a key take isrecnum for it.
std::uint32_t MoveByNumber(Handle& handle, int mode) {
  File& file = *handle.file;
  const std::uint32_t current = handle.record;
  const auto wanted = static_cast<std::uint32_t>(handle.recnum);
  const bool ahead = handle.standing == Standing::kAhead;
  switch (mode) {
    case ISFIRST:
      return LiveFrom(file, 1, 1);
    case ISLAST:
      return LiveFrom(file, file.free_records.highest, -1);
    case ISNEXT:
      if (handle.standing == Standing::kBefore) return LiveFrom(file, 1, 1);
      return LiveFrom(file,
                      ahead || handle.standing == Standing::kPastBegin ? current : current + 1, 1);
    case ISPREV:
      if (handle.standing == Standing::kBefore) return 0;
      return LiveFrom(file, handle.standing == Standing::kPastEnd ? current : current - 1, -1);
    case ISCURR:
      return current != 0 && !isDelCheck(file, current) ? current : 0;
    case ISEQUAL:
      return isDelCheck(file, wanted) ? 0 : wanted;
    case ISGREAT:
      return LiveFrom(file, wanted + 1, 1);
    default:
      return LiveFrom(file, std::max(wanted, 1U), 1);
  }
}

// Moves the handle; false when there is nothing to move to.
bool MoveHandle(Handle& handle, const Byte* record, int mode) {
  const std::uint32_t before = handle.record;
  bool found = false;
  if (handle.index < 0) {
    const std::uint32_t number = MoveByNumber(handle, mode);
    found = number != 0;
    if (found) handle.record = number;
  } else {
    Tree tree(*handle.file, Selected(handle));
    found = Move(handle, tree, record, mode);
    if (found) TakeEntry(handle, tree);
  }
  if (found) return true;
  handle.path.depth = 0;
  // The end is remembered: a read the other way gives the record that stands there.
  if (before != 0 && mode == ISNEXT) handle.standing = Standing::kPastEnd;
  if (before != 0 && mode == ISPREV) handle.standing = Standing::kPastBegin;
  return false;
}

// Takes the record lock that a read asks for. False when it must be waited for.
bool LockForRead(Handle& handle, int mode) {
  File& file = *handle.file;
  const bool automatic = (handle.mode & ISAUTOLOCK) != 0;
  if (automatic) isDropDall(file, &handle);
  if (!automatic && (mode & ISLOCK) == 0) return true;
  if (isLockData(file, &handle, handle.record, false)) return true;
  if ((mode & ISWAIT) == 0) throw Failure{ELOCKED};
  return false;
}

}  // namespace

void isStart(Handle& handle, const keydesc* key, int length, const Byte* record, int mode) {
  constexpr int kAccepted = 0x800;
  const int plain = mode & ~kAccepted;
  if (plain < ISFIRST || plain > ISGTEQ || key == nullptr) throw Failure{EBADARG};
  Operation operation(handle, Operation::Kind::kRead);
  File& file = *handle.file;
  handle.path.depth = 0;
  if (key->k_nparts == 0) {
    handle.index = -1;
    if (MoveHandle(handle, record, plain)) {
      handle.standing = Standing::kAhead;
      handle.recnum = static_cast<std::int32_t>(handle.record);
    } else if (plain >= ISNEXT) {
      throw NotFound(plain);
    } else {
      handle.standing = Standing::kBefore;
    }
    return;
  }
  const auto found = std::find_if(file.indexes.begin(), file.indexes.end(),
                                  [key](const Index& index) { return SameParts(index.key, *key); });
  if (found == file.indexes.end()) throw Failure{EBADKEY};
  if (length < 0 || static_cast<std::size_t>(length) > found->length) throw Failure{EBADARG};
  handle.index = static_cast<int>(found - file.indexes.begin());
  const std::size_t bytes = length == 0 ? found->length : static_cast<std::size_t>(length);
  Tree tree(file, *found);
  bool there = false;
  if (plain >= ISEQUAL) {
    Byte wanted[kMostTarget];
    isKeyMake(*found, wanted, record);
    there = tree.SeekPrefix(wanted, bytes, plain == ISGREAT, handle.path) &&
            (plain != ISEQUAL || std::memcmp(tree.EntryAt(handle.path), wanted, bytes) == 0);
  } else {
    there = Move(handle, tree, record, plain);
  }
  if (there) {
    TakeEntry(handle, tree);
    handle.standing = Standing::kAhead;
    handle.recnum = static_cast<std::int32_t>(handle.record);
    return;
  }
  handle.record = 0;
  handle.path.depth = 0;
  handle.standing = plain == ISLAST ? Standing::kPastEnd : Standing::kBefore;
  if (plain >= ISNEXT) throw NotFound(plain);
}

void isRead(Handle& handle, Byte* record, int mode) {
  const int plain = mode & kModeMask;
  if (plain > ISGTEQ) throw Failure{EBADARG};
  if (handle.file->record_length == 0 && (mode & ISLOCK) != 0) throw Failure{EBADARG};
  for (;;) {
    {
      Operation operation(handle, Operation::Kind::kRead);
      if (!MoveHandle(handle, record, plain)) throw NotFound(plain);
      handle.standing = Standing::kOn;
      if (LockForRead(handle, mode)) {
        CopyRecord(handle, record, handle.record);
        handle.recnum = static_cast<std::int32_t>(handle.record);
        handle.reclen = static_cast<int>(handle.file->record_length);
        return;
      }
    }
    // Waited for without the operation's lock, so that the holder can work; then read again.
    (void)isLockData(*handle.file, &handle, handle.record, true);
    mode = ISCURR | (mode & ~kModeMask);
  }
}

int isScan(Handle& handle, Byte* records, int most, std::int32_t* numbers) {
  Operation operation(handle, Operation::Kind::kRead);
  if (!MoveHandle(handle, records, ISNEXT)) throw NotFound(ISNEXT);
  handle.standing = Standing::kOn;
  const std::size_t length = handle.file->record_length;
  int count = 0;
  for (;;) {
    CopyRecord(handle, records + static_cast<std::size_t>(count) * length, handle.record);
    if (numbers != nullptr) numbers[count] = static_cast<std::int32_t>(handle.record);
    ++count;
    if (count == most || handle.index < 0) break;
    Tree tree(*handle.file, Selected(handle));
    if (tree.LeftInLeaf(handle.path) < 2) break;
    ++handle.path.leaf().at;
    TakeEntry(handle, tree);
  }
  handle.recnum = static_cast<std::int32_t>(handle.record);
  return count;
}

}  // namespace isam
