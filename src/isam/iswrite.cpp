// Adding, replacing and deleting records.
//
// Each operation first works out everything that it will do, a plan for every index, and makes sure
// of the room; whatever can fail fails there, with nothing changed. Then it stores. New entries
// come before old ones go, and a record is complete before an entry leads to it.

#include <isam.h>

#include <cstring>

#include "isam/isoperations.h"

namespace isam {
namespace {

// What an operation does to one index.
struct Change {
  Index* index = nullptr;
  bool adds = false, removes = false;
  bool renumbers = false;  // before adding: the counters of the key are used up
  Target added, removed;
  Path path;  // to the place of the added one
};

// Kept from one operation to the next for its room.
std::vector<Change>& Changes(std::size_t count) {
  static std::vector<Change> changes;
  changes.resize(count);
  return changes;
}

// Finds the place of a new key. Fails with EDUPL.
void PlanAdding(File& file, Change& change, const Byte* key) {
  Tree tree(file, *change.index);
  change.adds = true;
  if (change.index->counter_width == 0) {
    change.added = MakeTarget(*change.index, key, 0);
    if (tree.FindPlace(change.added, change.path)) throw Failure{EDUPL};
    return;
  }
  std::uint32_t counter = tree.NextCounter(key, change.path);
  if (counter > tree.MostCounter()) {
    counter = tree.Count(key, change.path);
    if (counter > tree.MostCounter()) throw Failure{EDUPL};
    change.renumbers = true;
    change.path.depth = 0;
  }
  change.added = MakeTarget(*change.index, key, counter);
}

// Finds the entry of a record's key: among duplicates it is the one with the record's number. Fails
// with EBADFILE when there is none.
void PlanRemoving(File& file, Change& change, const Byte* key, std::uint32_t number) {
  const Index& index = *change.index;
  Tree tree(file, *change.index);
  Path path;
  for (bool found = tree.Seek(MakeTarget(index, key, 0), path); found; found = tree.Next(path)) {
    const Byte* const entry = tree.EntryAt(path);
    if (!isKeyMatch(index, entry, key)) break;
    if (tree.RecordOf(entry) != number) continue;
    std::memcpy(change.removed.bytes.data(), entry, index.length + index.counter_width);
    change.removes = true;
    return;
  }
  throw Failure{EBADFILE};
}

// The plan for going from one record to another; either may be null.
std::vector<Change>& Plan(File& file, const Byte* from, const Byte* to, std::uint32_t number) {
  std::vector<Change>& changes = Changes(file.indexes.size());
  for (std::size_t i = 0; i < changes.size(); ++i) {
    Change& change = changes[i];
    Index& index = file.indexes[i];
    change.index = &index;
    change.adds = change.removes = change.renumbers = false;
    change.path.depth = 0;
    if (!index.has_parts()) continue;
    Byte old_key[kMostTarget], new_key[kMostTarget];
    if (from != nullptr) isKeyMake(index, old_key, from);
    if (to != nullptr) isKeyMake(index, new_key, to);
    if (from != nullptr && to != nullptr && isKeyMatch(index, old_key, new_key)) continue;
    if (to != nullptr && !isKeyNull(index, new_key)) PlanAdding(file, change, new_key);
    if (from != nullptr && !isKeyNull(index, old_key)) PlanRemoving(file, change, old_key, number);
  }
  return changes;
}

// Makes sure of the index nodes that a plan may need: every node on a path may be split, the root
// in three, and a list of free numbers may need a node.
void ReserveNodes(File& file, const std::vector<Change>& changes) {
  std::uint64_t nodes = 1;
  for (const Change& change : changes)
    if (change.adds) nodes += kMostDepth;
  file.index.Reserve(file.node_offset(file.free_nodes.highest) + (nodes + 1) * file.node_size);
}

void AddEntries(File& file, std::vector<Change>& changes, std::uint32_t number) {
  for (Change& change : changes) {
    if (!change.adds) continue;
    Tree tree(file, *change.index);
    const Byte* const key = change.added.bytes.data();
    if (change.renumbers) tree.Renumber(key);
    tree.Insert(change.added, number, change.path);
  }
}

void RemoveEntries(File& file, std::vector<Change>& changes, std::uint32_t number) {
  for (Change& change : changes)
    if (change.removes) Tree(file, *change.index).Delete(change.removed, number, change.path);
}

void NeedUnlocked(Handle& handle, std::uint32_t number) {
  if (!isLockTest(*handle.file, &handle, number)) throw Failure{ELOCKED};
}

// The entry of the selected index that a change has made the handle's record stand at.
void FollowChange(Handle& handle, const std::vector<Change>& changes) {
  handle.path.depth = 0;
  if (handle.index < 0) return;
  const Change& change = changes[static_cast<std::size_t>(handle.index)];
  if (change.adds) handle.target = change.added;
}

void Replace(Handle& handle, Operation& operation, std::uint32_t number, const Byte* record) {
  File& file = *handle.file;
  NeedUnlocked(handle, number);
  std::vector<Byte> old(file.slot_length());
  const Byte* const slot = isGetData(file, number, old.data());
  std::vector<Change>& changes = Plan(file, slot, record, number);
  ReserveNodes(file, changes);
  operation.BeginStores();
  AddEntries(file, changes, number);
  isPutData(file, record, number);
  RemoveEntries(file, changes, number);
  operation.WriteBack();
  if (handle.record == number) FollowChange(handle, changes);
  handle.recnum = static_cast<std::int32_t>(number);
}

void Remove(Handle& handle, Operation& operation, std::uint32_t number) {
  File& file = *handle.file;
  NeedUnlocked(handle, number);
  std::vector<Byte> old(file.slot_length());
  std::vector<Change>& changes = Plan(file, isGetData(file, number, old.data()), nullptr, number);
  ReserveNodes(file, changes);
  operation.BeginStores();
  RemoveEntries(file, changes, number);
  isDelData(file, number);
  isPutFree(file, FreeKind::kRecord, number);
  operation.WriteBack();
  isDropData(file, &handle, number);
  if (handle.record == number) handle.standing = Standing::kGap;
  handle.recnum = static_cast<std::int32_t>(number);
}

// The record with the primary key of `record`. Fails with ENOPRIM, EPRIMKEY and ENOREC.
std::uint32_t FindByPrimaryKey(File& file, const Byte* record) {
  Index& primary = file.indexes.front();
  if (!primary.has_parts()) throw Failure{ENOPRIM};
  if (primary.has(ISDUPS)) throw Failure{EPRIMKEY};
  Byte key[kMostTarget];
  isKeyMake(primary, key, record);
  Tree tree(file, primary);
  Path path;
  if (!tree.FindPlace(MakeTarget(primary, key, 0), path)) throw Failure{ENOREC, 0, '3'};
  return tree.RecordOf(tree.EntryAt(path));
}

std::uint32_t CurrentRecord(Handle& handle) {
  const bool stands = handle.standing != Standing::kBefore && handle.standing != Standing::kGap;
  if (!stands || handle.record == 0 || isDelCheck(*handle.file, handle.record))
    throw Failure{ENOCURR, 0, '3'};
  return handle.record;
}

std::uint32_t LiveRecord(File& file, std::uint32_t number) {
  if (isDelCheck(file, number)) throw Failure{ENOREC, 0, '3'};
  return number;
}

// Fails with EPRIMKEY when a record's primary key differs from the one in the file.
void NeedSamePrimaryKey(File& file, std::uint32_t number, const Byte* record) {
  const Index& primary = file.indexes.front();
  if (!primary.has_parts()) return;
  Byte old_key[kMostTarget], new_key[kMostTarget];
  isKeyMake(primary, old_key, isGetData(file, number, file.scratch.data()));
  isKeyMake(primary, new_key, record);
  if (!isKeyMatch(primary, old_key, new_key)) throw Failure{EPRIMKEY};
}

void BecomeCurrent(Handle& handle, std::uint32_t number, const std::vector<Change>& changes) {
  handle.record = number;
  handle.standing = Standing::kOn;
  FollowChange(handle, changes);
}

}  // namespace

void isWrite(Handle& handle, const Byte* record, AfterWrite after) {
  Operation operation(handle, Operation::Kind::kUpdate);
  File& file = *handle.file;
  std::vector<Change>& changes = Plan(file, nullptr, record, 0);
  ReserveNodes(file, changes);
  const std::uint32_t number = isGetFree(file, FreeKind::kRecord);
  if (file.record_length > 0) file.data.Reserve(file.slot_offset(number) + file.slot_length());
  if (after == AfterWrite::kLock && !isLockData(file, &handle, number, false))
    throw Failure{ELOCKED};
  operation.BeginStores();
  if (file.record_length > 0) isPutData(file, record, number);
  AddEntries(file, changes, number);
  operation.WriteBack();
  if (after == AfterWrite::kBecomeCurrent) BecomeCurrent(handle, number, changes);
  handle.recnum = static_cast<std::int32_t>(number);
}

void isRewrite(Handle& handle, const Byte* record) {
  Operation operation(handle, Operation::Kind::kUpdate);
  Replace(handle, operation, FindByPrimaryKey(*handle.file, record), record);
}

void isRewCurr(Handle& handle, const Byte* record, bool same_key) {
  Operation operation(handle, Operation::Kind::kUpdate);
  const std::uint32_t number = CurrentRecord(handle);
  if (same_key) NeedSamePrimaryKey(*handle.file, number, record);
  Replace(handle, operation, number, record);
}

void isRewRec(Handle& handle, std::uint32_t number, const Byte* record) {
  Operation operation(handle, Operation::Kind::kUpdate);
  Replace(handle, operation, LiveRecord(*handle.file, number), record);
}

void isDelete(Handle& handle, const Byte* record) {
  Operation operation(handle, Operation::Kind::kUpdate);
  Remove(handle, operation, FindByPrimaryKey(*handle.file, record));
}

void isDelCurr(Handle& handle) {
  Operation operation(handle, Operation::Kind::kUpdate);
  Remove(handle, operation, CurrentRecord(handle));
}

void isDelRec(Handle& handle, std::uint32_t number) {
  Operation operation(handle, Operation::Kind::kUpdate);
  Remove(handle, operation, LiveRecord(*handle.file, number));
}

}  // namespace isam
