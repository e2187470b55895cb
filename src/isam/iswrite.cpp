// Adding, replacing and deleting records.
//
// Each operation first works out everything that it will do, a plan for every index, and makes sure
// of the room; whatever can fail fails there, with nothing changed. Then it stores. New entries
// come before old ones go, and a record is complete before an entry leads to it.

#include <isam.h>

#include <algorithm>
#include <cstring>

#include "isam/isoperations.h"

namespace isam {
namespace {

// What an operation does to one index.
struct Change {
  Index* index = nullptr;
  bool adds = false, removes = false;
  bool found = false;      // the record's entry, in a file without data
  bool renumbers = false;  // before adding: the counters of the key are used up
  Target added, removed;
  Path place, removed_place;  // depth 0: to be looked for
};

// Kept from one operation to the next for its room.
std::vector<Change>& Changes(std::size_t count) {
  static std::vector<Change> changes;
  changes.resize(count);
  return changes;
}

// Finds the place of a new key, which change.added holds. Fails with EDUPL.
void PlanAdding(File& file, Change& change) {
  Index& index = *change.index;
  Tree tree(file, index);
  Byte* const key = change.added.bytes.data();
  change.adds = true;
  if (index.counter_width == 0) {
    if (tree.FindPlace(change.added, change.place)) throw Failure{EDUPL};
    return;
  }
  std::uint32_t counter = tree.NextCounter(key, change.place);
  if (counter > tree.MostCounter()) {
    counter = tree.Renumber(key, false);
    if (counter > tree.MostCounter()) throw Failure{EDUPL};
    change.renumbers = true;
    change.place.depth = 0;
  }
  tolvane::StoreBigWidth(key + index.length, index.counter_width, counter);
}

// Finds the entry of a record. Without its key, in a file without data, all entries are looked
// through, and there may be none: a null key has no entry.
void PlanRemoving(File& file, Change& change, const Byte* key, std::uint32_t number) {
  const Index& index = *change.index;
  Tree tree(file, *change.index);
  Path& path = change.removed_place;
  const Byte* entry = nullptr;
  if (key != nullptr) {
    entry = tree.isTreeRecord(key, number, path);
    if (entry == nullptr) throw Failure{EBADFILE};
  } else {
    entry = tree.isTreeFirst(path);
    while (entry != nullptr && tree.RecordOf(entry) != number) entry = tree.isTreeNext(path);
    if (entry == nullptr) return;
  }
  change.removes = change.found = true;
  std::memcpy(change.removed.bytes.data(), entry, index.length + index.counter_width);
}

// What becomes of a record. A file without data has no old record to tell its keys.
struct Step {
  bool removes = false;
  const Byte* from = nullptr;
  const Byte* to = nullptr;
  std::uint32_t number = 0;
};

void PlanIndex(File& file, const Step& step, Change& change) {
  const Index& index = *change.index;
  Byte old_key[kMostTarget];
  Byte* const new_key = change.added.bytes.data();
  if (step.to != nullptr) isKeyMake(index, new_key, step.to);
  if (step.from != nullptr) {
    isKeyMake(index, old_key, step.from);
    if (step.to != nullptr && isKeyMatch(index, old_key, new_key)) return;
    if (!isKeyNull(index, old_key)) PlanRemoving(file, change, old_key, step.number);
  } else if (step.removes) {
    PlanRemoving(file, change, nullptr, step.number);
    const bool same = step.to != nullptr && change.removes &&
                      isKeyMatch(index, change.removed.bytes.data(), new_key);
    if (same) change.removes = false;
    if (same) return;
  }
  if (step.to != nullptr && !isKeyNull(index, new_key)) PlanAdding(file, change);
}

std::vector<Change>& Plan(File& file, const Step& step) {
  std::vector<Change>& changes = Changes(file.indexes.size());
  for (std::size_t i = 0; i < changes.size(); ++i) {
    Change& change = changes[i];
    change.index = &file.indexes[i];
    change.adds = change.removes = change.found = change.renumbers = false;
    change.place.depth = change.removed_place.depth = 0;
    if (change.index->has_parts()) PlanIndex(file, step, change);
  }
  return changes;
}

// Makes sure of the memory and the index nodes that a plan may need: every node on a path may be
// split, also by a removal where keys are compressed, the root in three, and the list that takes a
// record number may need a node. On a full disk what needs no room goes on.
void ReserveNodes(File& file, const std::vector<Change>& changes, bool frees_record) {
  std::uint64_t nodes = frees_record && !isFreeHasRoom(file) ? 1 : 0;
  for (const Change& change : changes) {
    if (!change.adds && !change.removes) continue;
    Tree(file, *change.index)
        .ReserveLists(std::max(change.place.depth, change.removed_place.depth));
    if (change.adds) nodes += kMostDepth;
    if (change.removes && change.index->is_compressed()) nodes += std::uint64_t{2} * kMostDepth;
  }
  if (nodes == 0) return;
  file.index.Reserve(file.node_offset(file.free_nodes.highest) + (nodes + 1) * file.node_size);
}

void AddEntries(File& file, std::vector<Change>& changes, std::uint32_t number) {
  for (Change& change : changes) {
    if (!change.adds) continue;
    Tree tree(file, *change.index);
    if (change.renumbers) (void)tree.Renumber(change.added.bytes.data(), true);
    tree.isTreeInsert(change.added, number, change.place);
  }
}

// Where entries have been added the old ones have moved, and with renumbering have other counters.
void RemoveEntries(File& file, std::vector<Change>& changes, std::uint32_t number) {
  for (Change& change : changes) {
    if (!change.removes) continue;
    Tree tree(file, *change.index);
    if (change.adds) change.removed_place.depth = 0;
    tree.isTreeDelete(change.removed, number, change.removed_place);
  }
}

void NeedUnlocked(Handle& handle, std::uint32_t number) {
  if (!isLockTest(*handle.file, &handle, number)) throw Failure{ELOCKED};
}

// The entry of the selected index that a change has made the handle's record stand at.
void FollowChange(Handle& handle, const std::vector<Change>& changes) {
  handle.path.depth = 0;
  if (handle.index < 0) return;
  const Change& change = changes[static_cast<std::size_t>(handle.index)];
  // A handle may stand where a record of the same number was: it stays there.
  if (change.adds && change.removes &&
      isKeyMatch(*change.index, handle.target.bytes.data(), change.removed.bytes.data()))
    handle.target = change.added;
}

// In a file without data it is the entries that tell whether a record is there.
void NeedEntries(const File& file, const std::vector<Change>& changes) {
  if (file.record_length == 0 && std::none_of(changes.begin(), changes.end(),
                                              [](const Change& change) { return change.found; }))
    throw Failure{ENOREC, 0, '3'};
}

// The stored record; null in a file without data.
const Byte* OldRecord(File& file, std::uint32_t number) {
  return file.record_length == 0 ? nullptr : isGetData(file, number, file.scratch.data());
}

void Replace(Handle& handle, Operation& operation, std::uint32_t number, const Byte* record) {
  File& file = *handle.file;
  NeedUnlocked(handle, number);
  std::vector<Change>& changes = Plan(file, {true, OldRecord(file, number), record, number});
  NeedEntries(file, changes);
  ReserveNodes(file, changes, false);
  isFreeTest(file);
  operation.BeginStores();
  AddEntries(file, changes, number);
  if (file.record_length > 0) isPutData(file, record, number);
  RemoveEntries(file, changes, number);
  operation.WriteBack();
  if (handle.record == number && handle.standing != Standing::kGap) FollowChange(handle, changes);
  handle.recnum = static_cast<std::int32_t>(number);
}

void Remove(Handle& handle, Operation& operation, std::uint32_t number) {
  File& file = *handle.file;
  NeedUnlocked(handle, number);
  std::vector<Change>& changes = Plan(file, {true, OldRecord(file, number), nullptr, number});
  NeedEntries(file, changes);
  ReserveNodes(file, changes, true);
  isFreeTest(file);
  operation.BeginStores();
  RemoveEntries(file, changes, number);
  if (file.record_length > 0) isDelData(file, number);
  isPutFree(file, FreeKind::kRecord, number);
  operation.WriteBack();
  isDropData(file, &handle, number);
  if (handle.record == number) handle.standing = Standing::kGap;
  handle.recnum = static_cast<std::int32_t>(number);
}

// The record with the primary key of `record`. Fails with ENOPRIM, EPRIMKEY and ENOREC.
std::uint32_t FindByPrimaryKey(Handle& handle, const Byte* record) {
  File& file = *handle.file;
  Index& primary = file.indexes.front();
  if (!primary.has_parts()) throw Failure{ENOPRIM};
  if (primary.has(ISDUPS)) throw Failure{EPRIMKEY};
  Target wanted;
  isKeyMake(primary, wanted.bytes.data(), record);
  // It is mostly the record read last.
  if (handle.index == 0 && handle.standing == Standing::kOn && handle.path.epoch == file.epoch &&
      isKeyMatch(primary, wanted.bytes.data(), handle.target.bytes.data()))
    return handle.record;
  Tree tree(file, primary);
  Path path;
  if (!tree.FindPlace(wanted, path)) throw Failure{ENOREC, 0, '3'};
  return tree.RecordOf(tree.isTreeCurr(path));
}

std::uint32_t CurrentRecord(Handle& handle) {
  if (!isCurrent(handle)) throw Failure{ENOCURR, 0, '3'};
  return handle.record;
}

std::uint32_t LiveRecord(File& file, std::uint32_t number) {
  if (isDelCheck(file, number)) throw Failure{ENOREC, 0, '3'};
  return number;
}

// Fails with EPRIMKEY when a record's primary key differs from the one in the file.
void NeedSamePrimaryKey(File& file, std::uint32_t number, const Byte* record) {
  const Index& primary = file.indexes.front();
  const Byte* const old_record = OldRecord(file, number);
  if (!primary.has_parts() || old_record == nullptr) return;
  Byte old_key[kMostTarget], new_key[kMostTarget];
  isKeyMake(primary, old_key, old_record);
  isKeyMake(primary, new_key, record);
  if (!isKeyMatch(primary, old_key, new_key)) throw Failure{EPRIMKEY};
}

void BecomeCurrent(Handle& handle, std::uint32_t number, const std::vector<Change>& changes) {
  handle.record = number;
  handle.standing = Standing::kOn;
  handle.path.depth = 0;
  if (handle.index < 0) return;
  // A null key has no entry; the position is where it would be.
  const Change& change = changes[static_cast<std::size_t>(handle.index)];
  handle.target = change.added;
  if (!change.adds)
    tolvane::StoreBigWidth(&handle.target.bytes[change.index->length], change.index->counter_width,
                           0);
}

}  // namespace

void isWrite(Handle& handle, const Byte* record, AfterWrite after) {
  Operation operation(handle, Operation::Kind::kUpdate);
  File& file = *handle.file;
  std::vector<Change>& changes = Plan(file, {false, nullptr, record, 0});
  ReserveNodes(file, changes, false);
  isFreeTest(file);
  const std::uint32_t number = isGetFree(file, FreeKind::kRecord);
  if (file.record_length > 0) {
    file.data.Reserve(file.slot_offset(number) + file.slot_length());
    if (!isDelCheck(file, number)) throw Failure{EBADFILE};  // it lives
  }
  if (after == AfterWrite::kLock &&
      !isLockData(file, &handle, number, false, (handle.mode & ISAUTOLOCK) != 0))
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
  Replace(handle, operation, FindByPrimaryKey(handle, record), record);
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
  Remove(handle, operation, FindByPrimaryKey(handle, record));
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
