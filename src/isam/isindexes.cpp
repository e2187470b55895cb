// Adding and dropping indexes, and what a file says of itself.

#include <isam.h>

#include <algorithm>
#include <cstring>
#include <numeric>

#include "isam/isoperations.h"

namespace isam {
namespace {

// Keys are sorted in portions of this many bytes, so that neighbours are entered together.
constexpr std::size_t kSortBytes = std::size_t{64} << 20;

auto FindIndex(File& file, const keydesc& key) {
  return std::find_if(file.indexes.begin(), file.indexes.end(),
                      [&key](const Index& index) { return SameParts(index.key, key); });
}

void NeedExclusive(const Handle& handle) {
  if (!handle.file->exclusive || handle.file->handles > 1) throw Failure{ENOTEXCL};
}

// Keys with their record numbers, in order of the numbers.
struct Portion {
  std::vector<Byte> keys;
  std::vector<std::uint32_t> records;
};

// The keys of live records from `number` on, as many as are sorted together. Moves `number` on.
void Collect(File& file, const Index& index, std::uint32_t& number, Portion& portion) {
  portion.keys.clear();
  portion.records.clear();
  Byte key[kMostTarget];
  std::vector<Byte> scratch(file.slot_length());
  for (; number <= file.free_records.highest && portion.keys.size() < kSortBytes; ++number) {
    const Byte* const slot = isGetData(file, number, scratch.data());
    if (slot[file.record_length] != layout::slot::kLive) continue;
    isKeyMake(index, key, slot);
    if (isKeyNull(index, key)) continue;
    portion.keys.insert(portion.keys.end(), key, key + index.length);
    portion.records.push_back(number);
  }
}

// Enters a portion in key order. Fails with EDUPL.
void Enter(File& file, Index& index, const Portion& portion) {
  const auto key_of = [&](std::uint32_t i) { return &portion.keys[i * index.length]; };
  std::vector<std::uint32_t> order(portion.records.size());
  std::iota(order.begin(), order.end(), 0U);
  std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    const int compared = isKeyCmp(index, key_of(a), key_of(b));
    return compared != 0 ? compared < 0 : a < b;
  });
  Tree tree(file, index);
  Path path;
  for (const std::uint32_t i : order) {
    std::uint32_t counter = 0;
    if (index.counter_width > 0) {
      counter = tree.NextCounter(key_of(i), path);
      if (counter > tree.MostCounter()) throw Failure{EDUPL};
    }
    const Target target = MakeTarget(index, key_of(i), counter);
    if (index.counter_width == 0 && tree.FindPlace(target, path)) throw Failure{EDUPL};
    tree.Insert(target, portion.records[i], path);
  }
}

void Fill(File& file, Index& index) {
  Portion portion;
  for (std::uint32_t number = 1; number <= file.free_records.highest;) {
    Collect(file, index, number, portion);
    Enter(file, index, portion);
  }
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
  operation.BeginStores();
  MakeRoot(file, index);
  try {
    if (file.record_length > 0) Fill(file, index);
    // Described last: an index that is in the dictionary is complete.
    AppendKeyEntry(file, index);
  } catch (const Failure&) {
    Tree(file, index).Free();
    operation.WriteBack();
    throw;
  }
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
  Index dropped = *found;
  operation.BeginStores();
  file.indexes.erase(found);
  RewriteKeyEntries(file);
  Tree(file, dropped).Free();
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
  info.di_nrecords =
      static_cast<std::int32_t>(file.free_records.highest - isFreeCount(file, FreeKind::kRecord));
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
  if (on == file.is_precious()) return;
  operation.BeginStores();
  if (on) isFreeDrop(file);
  file.flags ^= layout::dictionary::kFlagPrecious;
  if (!on && file.record_length > 0)
    for (std::uint32_t number = file.free_records.highest; number > 0; --number)
      if (isDelCheck(file, number)) isPutFree(file, FreeKind::kRecord, number);
  isHeadKdsc(file);
  operation.WriteBack();
}

}  // namespace isam
