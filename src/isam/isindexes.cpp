// Adding, removing and describing indexes; unique identifiers, precious files.

#include <isam.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "datarep/sorter.h"
#include "isam/isoperations.h"

namespace isam {
namespace {

constexpr std::size_t kNumberWidth = sizeof(std::uint32_t);

auto FindIndex(File& file, const keydesc& key) {
  return std::find_if(file.indexes.begin(), file.indexes.end(),
                      [&key](const Index& index) { return SameParts(index.key, key); });
}

void NeedExclusive(const Handle& handle) {
  if (!handle.file->exclusive || handle.file->modes.size() > 1) throw Failure{ENOTEXCL};
}

// An item to sort: a key and the number of its record.
tolvane::Sorter MakeSorter(const Index& index) {
  const std::size_t size = index.length + kNumberWidth;
  if (index.bytewise) return {size, index.length};
  return {size, [&index](const Byte* a, const Byte* b) {
            const int order = isKeyCmp(index, a, b);
            if (order != 0) return order < 0;
            return std::memcmp(a + index.length, b + index.length, kNumberWidth) < 0;
          }};
}

// The keys of the live records, in order of their numbers.
void Collect(File& file, const Index& index, tolvane::Sorter& sorter) {
  Byte item[kMostEntry];
  std::vector<Byte> scratch(file.slot_length());
  for (std::uint32_t number = 1; number <= file.free_records.highest; ++number) {
    const Byte* const slot = isGetData(file, number, scratch.data());
    if (slot[file.record_length] == layout::slot::kDeleted) continue;
    isKeyMake(index, item, slot);
    if (isKeyNull(index, item)) continue;
    tolvane::StoreBig(item + index.length, number);
    if (!sorter.Add(item)) throw Failure{errno};
  }
  if (!sorter.Sort()) throw Failure{errno};
}

// Builds the tree of an index from the live records, but for its root. Fails with EDUPL.
void Fill(File& file, Index& index, TreeBuilder& builder) {
  tolvane::Sorter sorter = MakeSorter(index);
  Collect(file, index, sorter);
  const std::uint32_t most = index.counter_width == 0 ? 0 : Tree(file, index).MostCounter();
  Target last;
  std::uint32_t counter = 0;
  bool first = true;
  while (const Byte* item = sorter.Next()) {
    counter = !first && isKeyMatch(index, last.bytes.data(), item) ? counter + 1 : 0;
    if (counter > most) throw Failure{EDUPL};
    last = MakeTarget(index, item, counter);
    builder.Add(last, tolvane::LoadBig<std::uint32_t>(item + index.length));
    first = false;
  }
  if (sorter.failed()) throw Failure{errno};
  builder.Finish();
}

}  // namespace

void isAddIndex(Handle& handle, const keydesc* key) {
  Operation operation(handle, Operation::Kind::kUpdate);
  NeedExclusive(handle);
  File& file = *handle.file;
  if (!isTestIndex(file.record_length, key) || key->k_nparts == 0) throw Failure{EBADKEY};
  if (FindIndex(file, *key) != file.indexes.end()) throw Failure{EKEXISTS};
  Index index;
  index.key = *key;
  index.Settle(file.duplicate_width);
  isFreeTest(file);
  // All but the root goes into nodes that were never used, so that a failure leaves no trace.
  TreeBuilder builder(file, index);
  const std::uint64_t end = file.node_offset(file.free_nodes.highest + 1);
  try {
    if (file.record_length > 0) Fill(file, index, builder);
  } catch (const Failure&) {
    file.index.CutTo(end);
    throw;
  }
  constexpr std::uint64_t kRootAndDescription = 2;
  file.index.Reserve(file.node_offset(file.free_nodes.highest) +
                     (1 + kRootAndDescription) * file.node_size);
  operation.BeginStores();
  MakeRoot(file, index);
  builder.StoreRoot();
  // Described last: an index that is in the dictionary is complete.
  AppendKeyEntry(file, index);
  file.indexes.push_back(index);
  operation.WriteBack();
}

void isDelIndex(Handle& handle, const keydesc* key) {
  Operation operation(handle, Operation::Kind::kUpdate);
  NeedExclusive(handle);
  File& file = *handle.file;
  if (key == nullptr) throw Failure{EBADKEY};
  const auto found = FindIndex(file, *key);
  if (found == file.indexes.end()) throw Failure{EBADKEY};
  if (found == file.indexes.begin()) throw Failure{EPRIMKEY};
  const int position = static_cast<int>(found - file.indexes.begin());
  const std::vector<std::uint32_t> nodes = Tree(file, *found).Nodes();
  isFreeTest(file);
  operation.BeginStores();
  file.indexes.erase(found);
  RewriteKeyEntries(file);
  for (const std::uint32_t node : nodes) isPutFree(file, FreeKind::kNode, node);
  operation.WriteBack();
  if (handle.index == position) {
    handle.index = file.indexes.front().has_parts() ? 0 : -1;
    handle.standing = Standing::kBefore;
    handle.record = 0;
  } else if (handle.index > position) {
    --handle.index;
  }
  handle.path.depth = 0;
}

void isIndexInfo(Handle& handle, void* buffer, int index) {
  Operation operation(handle, Operation::Kind::kRead);
  File& file = *handle.file;
  if (buffer == nullptr || index < 0 || static_cast<std::size_t>(index) > file.indexes.size())
    throw Failure{EBADARG};
  if (index > 0) {
    std::memcpy(buffer, &file.indexes[static_cast<std::size_t>(index - 1)].key, sizeof(keydesc));
    return;
  }
  dictinfo info{};
  info.di_nkeys = static_cast<std::int16_t>(file.indexes.size());
  info.di_recsize = static_cast<std::int16_t>(file.record_length);
  info.di_idxsize = static_cast<std::int16_t>(file.node_size);
  info.di_nrecords = static_cast<std::int32_t>(file.free_records.highest - isFreeCount(file));
  std::memcpy(buffer, &info, sizeof info);
}

std::int32_t isUniqueId(Handle& handle) {
  Operation operation(handle, Operation::Kind::kUpdate);
  File& file = *handle.file;
  const auto identifier = static_cast<std::int32_t>(file.unique_id++);
  operation.BeginStores();
  operation.WriteBack();
  return identifier;
}

void isSetUnique(Handle& handle, std::int32_t identifier) {
  Operation operation(handle, Operation::Kind::kUpdate);
  handle.file->unique_id = static_cast<std::uint32_t>(identifier);
  operation.BeginStores();
  operation.WriteBack();
}

void isPrecious(Handle& handle, bool on) {
  Operation operation(handle, Operation::Kind::kUpdate);
  File& file = *handle.file;
  isFreeTest(file);
  (void)isFreeCount(file);  // its whole list is sound
  operation.BeginStores();
  isFreeDrop(file);
  file.flags &= ~layout::dictionary::kFlagPrecious;
  if (on) file.flags |= layout::dictionary::kFlagPrecious;
  if (!on && file.record_length > 0)
    for (std::uint32_t number = file.free_records.highest; number > 0; --number)
      if (isDelCheck(file, number)) isPutFree(file, FreeKind::kRecord, number);
  isHeadKdsc(file);
  operation.WriteBack();
}

}  // namespace isam
