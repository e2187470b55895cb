// Positioning and reading.

#include <isam.h>

#include <algorithm>
#include <cstring>
#include <utility>

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

// Makes an entry, which the handle's path is at, the current one.
void TakeEntry(Handle& handle, const Byte* entry) {
  const Index& index = Selected(handle);
  std::memcpy(handle.target.bytes.data(), entry, index.length + index.counter_width);
  handle.record = tolvane::LoadBig<std::uint32_t>(entry + index.length + index.counter_width);
}

// The entry that a path is at, if it is at one.
const Byte* EntryAt(Tree& tree, const Path& path) {
  const bool there = path.depth > 0 && path.leaf().at < path.leaf().count;
  return there ? tree.isTreeCurr(path) : nullptr;
}

// Puts the handle's path on its current entry, or where that would be, which is looked for when the
// file has changed. Returns the entry; null when it is no more.
const Byte* FindCurrent(Handle& handle, Tree& tree) {
  if (handle.record == 0) return nullptr;
  if (handle.path.epoch == handle.file->epoch && handle.path.depth > 0)
    return EntryAt(tree, handle.path);
  const Index& index = Selected(handle);
  const Byte* const key = handle.target.bytes.data();
  const Byte* entry = tree.isTreeMatch(handle.target, handle.path);
  if (handle.standing == Standing::kGap) return nullptr;
  if (entry != nullptr && isKeyMatch(index, entry, key) && tree.RecordOf(entry) == handle.record)
    return entry;
  if (index.counter_width == 0) return nullptr;
  // Duplicates may have got other counters, which are smaller then. A greater one is that of a new
  // record, which was given the number of a deleted one.
  entry = tree.isTreeRecord(key, handle.record, handle.path);
  if (entry != nullptr && isTargetCmp(index, entry, key) < 0) return entry;
  (void)tree.isTreeMatch(handle.target, handle.path);
  return nullptr;
}

// The entry behind the handle's position. Where the current one is gone FindCurrent leaves the path
// at the one that took its place, which is the next.
const Byte* MoveNext(Handle& handle, Tree& tree) {
  Path& path = handle.path;
  switch (handle.standing) {
    case Standing::kBefore:
      return tree.isTreeFirst(path);
    case Standing::kGap:
      return tree.isTreeMatch(handle.target, path);
    case Standing::kAhead:
    case Standing::kPastBegin: {  // the current one itself is still to be read
      const Byte* const current = FindCurrent(handle, tree);
      return current != nullptr ? current : EntryAt(tree, path);
    }
    default:
      return FindCurrent(handle, tree) != nullptr ? tree.isTreeNext(path) : EntryAt(tree, path);
  }
}

// The entry before it. After a read beyond the last record that one comes again.
const Byte* MovePrevious(Handle& handle, Tree& tree) {
  if (handle.standing == Standing::kBefore) return nullptr;
  if (handle.record == 0) return tree.isTreeLast(handle.path);
  const Byte* const current = FindCurrent(handle, tree);
  if (current != nullptr && handle.standing == Standing::kPastEnd) return current;
  return handle.path.depth > 0 ? tree.isTreePrev(handle.path) : nullptr;
}

// The entry for the key in `record`. A counter of 0 makes the target the first of its duplicates.
const Byte* MoveToKey(Handle& handle, Tree& tree, const Byte* record, int mode) {
  const Index& index = Selected(handle);
  Target target;
  isKeyMake(index, target.bytes.data(), record);
  if (mode == ISGREAT)
    return tree.isTreeGreat(target.bytes.data(), index.length, false, handle.path);
  tolvane::StoreBigWidth(&target.bytes[index.length], index.counter_width, 0);
  const Byte* const entry = tree.isTreeMatch(target, handle.path);
  if (entry == nullptr || mode == ISGTEQ) return entry;
  return isKeyMatch(index, entry, target.bytes.data()) ? entry : nullptr;
}

// Puts the path on the entry that a mode asks for.
const Byte* Move(Handle& handle, Tree& tree, const Byte* record, int mode) {
  switch (mode) {
    case ISFIRST:
      return tree.isTreeFirst(handle.path);
    case ISLAST:
      return tree.isTreeLast(handle.path);
    case ISNEXT:
      return MoveNext(handle, tree);
    case ISPREV:
      return MovePrevious(handle, tree);
    case ISCURR:
      if (handle.standing == Standing::kBefore || handle.standing == Standing::kGap) return nullptr;
      return FindCurrent(handle, tree);
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
      if (handle.standing == Standing::kGap || current == 0) return 0;
      return isDelCheck(file, current) ? 0 : current;
    case ISEQUAL:
      if (wanted < 1 || wanted > file.free_records.highest) throw Failure{ENOCURR, 0, '3'};
      return isDelCheck(file, wanted) ? 0 : wanted;
    case ISGREAT:
      return LiveFrom(file, handle.recnum < 0 ? 1 : wanted + 1, 1);
    default:
      return LiveFrom(file, handle.recnum < 1 ? 1 : wanted, 1);
  }
}

// Stands the handle in another index, on the entry of its current record there, so that a start
// that is relative to it can move from there.
void ChangeIndex(Handle& handle, int selected) {
  if (handle.index == selected) return;
  File& file = *handle.file;
  const std::uint32_t record = std::exchange(handle.record, 0);
  handle.index = selected;
  handle.path.depth = 0;
  if (selected < 0) {
    handle.record = record;
    return;
  }
  if (handle.standing == Standing::kGap) handle.standing = Standing::kOn;  // of no record
  if (record == 0 || file.record_length == 0 || isDelCheck(file, record)) return;
  const Index& index = Selected(handle);
  Byte key[kMostTarget];
  isKeyMake(index, key, isGetData(file, record, file.scratch.data()));
  const Byte* const entry = Tree(file, Selected(handle)).isTreeRecord(key, record, handle.path);
  if (entry != nullptr) TakeEntry(handle, entry);
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
    const Byte* const entry = Move(handle, tree, record, mode);
    found = entry != nullptr;
    if (found) TakeEntry(handle, entry);
  }
  if (found) return true;
  handle.path.depth = 0;
  // The end is remembered: a read the other way gives the record that stands there.
  if (handle.standing == Standing::kGap) return false;
  if (before != 0 && mode == ISNEXT) handle.standing = Standing::kPastEnd;
  if (before != 0 && mode == ISPREV) handle.standing = Standing::kPastBegin;
  return false;
}

// Stands before what isstart has found, or at the end that its mode names. Fails when it should
// have found something.
void Stand(Handle& handle, bool found, int mode) {
  if (found) {
    handle.standing = Standing::kAhead;
    handle.recnum = static_cast<std::int32_t>(handle.record);
    return;
  }
  handle.record = 0;
  handle.path.depth = 0;
  handle.standing = mode == ISLAST ? Standing::kPastEnd : Standing::kBefore;
  if (mode >= ISNEXT) throw NotFound(mode);
}

void StartByKey(Handle& handle, const keydesc& key, int length, const Byte* record, int mode) {
  File& file = *handle.file;
  const auto found = std::find_if(file.indexes.begin(), file.indexes.end(),
                                  [&key](const Index& index) { return SameParts(index.key, key); });
  if (found == file.indexes.end()) throw Failure{EBADKEY};
  if (length < 0 || static_cast<std::size_t>(length) > found->length) throw Failure{EBADARG};
  ChangeIndex(handle, static_cast<int>(found - file.indexes.begin()));
  Tree tree(file, *found);
  const Byte* entry = nullptr;
  if (mode >= ISEQUAL) {
    const std::size_t bytes = length == 0 ? found->length : static_cast<std::size_t>(length);
    Byte wanted[kMostTarget];
    isKeyMake(*found, wanted, record);
    entry = tree.isTreeGreat(wanted, bytes, mode != ISGREAT, handle.path);
    if (mode == ISEQUAL && entry != nullptr && std::memcmp(entry, wanted, bytes) != 0)
      entry = nullptr;
  } else {
    entry = Move(handle, tree, record, mode);
  }
  if (entry != nullptr) TakeEntry(handle, entry);
  Stand(handle, entry != nullptr, mode);
}

}  // namespace

bool isCurrent(Handle& handle) {
  if (handle.standing == Standing::kBefore || handle.standing == Standing::kGap ||
      handle.record == 0)
    return false;
  if (handle.index < 0) return !isDelCheck(*handle.file, handle.record);
  Tree tree(*handle.file, Selected(handle));
  return FindCurrent(handle, tree) != nullptr;
}

void isStart(Handle& handle, const keydesc* key, int length, const Byte* record, int mode) {
  const int plain = mode & ~ISKEEPLOCK;
  if (plain < ISFIRST || plain > ISGTEQ || key == nullptr) throw Failure{EBADARG};
  if (key->k_nparts < 0) throw Failure{EBADKEY};
  Operation operation(handle, Operation::Kind::kRead);
  const Position before = static_cast<const Position&>(handle);
  try {
    if (key->k_nparts > 0) return StartByKey(handle, *key, length, record, plain);
    if (handle.file->record_length == 0) throw Failure{EBADARG};  // nothing says which are live
    ChangeIndex(handle, -1);
    Stand(handle, MoveHandle(handle, record, plain), plain);
  } catch (const Failure&) {
    static_cast<Position&>(handle) = before;
    throw;
  }
}

void isRead(Handle& handle, Byte* record, int mode) {
  const int plain = mode & kModeMask;
  if (plain > ISGTEQ) throw Failure{EBADARG};
  if (handle.file->record_length == 0 && ((mode & ISLOCK) != 0 || handle.index < 0))
    throw Failure{EBADARG};
  const bool automatic = (handle.mode & ISAUTOLOCK) != 0;
  const bool locks = (mode & ISLOCK) != 0 || automatic;
  Position before;
  std::uint32_t wanted = 0;  // the record waited for
  for (;;) {
    {
      Operation operation(handle, Operation::Kind::kRead);
      if (locks) before = static_cast<const Position&>(handle);
      const bool found = MoveHandle(handle, record, plain);
      if (wanted != 0 && (!found || handle.record != wanted))
        isDropData(*handle.file, &handle, wanted);
      if (!found) throw NotFound(plain);
      if (!locks || isLockData(*handle.file, &handle, handle.record, false, automatic)) {
        CopyRecord(handle, record, handle.record);
        handle.standing = Standing::kOn;
        handle.recnum = static_cast<std::int32_t>(handle.record);
        handle.reclen = static_cast<int>(handle.file->record_length);
        return;
      }
    }
    // The position stays before a record that is locked. It is waited for without the operation's
    // lock, so that its holder can work; what is there then may be another one.
    wanted = handle.record;
    static_cast<Position&>(handle) = before;
    if ((mode & ISWAIT) == 0 || !isLockData(*handle.file, &handle, wanted, true, automatic))
      throw Failure{ELOCKED};
  }
}

int isScan(Handle& handle, Byte* records, int most, std::int32_t* numbers) {
  // Without a data file there is nothing to copy.
  if (most < 1 || handle.file->record_length == 0) throw Failure{EBADARG};
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
    if (handle.path.leaf().at + 1 >= handle.path.leaf().count) break;
    TakeEntry(handle, Tree(*handle.file, Selected(handle)).isTreeNext(handle.path));
  }
  handle.recnum = static_cast<std::int32_t>(handle.record);
  return count;
}

}  // namespace isam
