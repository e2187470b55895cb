// An open pair of files, shared by all handles that this process has on it, and the handles.
//
// An operation runs so: lock, refresh what another process may have changed, work, write back,
// unlock. `Operation` does the first two and the last; writing back ends in WriteDictionary, whose
// change counter tells everybody that the file has changed.
#pragma once

#include <isam.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "isam/iskey.h"
#include "isam/ismemory.h"
#include "isam/issystem.h"
#include "isam/layout.h"
#include "platform/system_calls.h"

namespace isam {

// The head of a free list, cached.
struct FreeList {
  std::uint32_t head = 0;     // its node; 0: the list is empty
  std::uint32_t highest = 0;  // the highest number ever given
  std::size_t used = 0;       // of the head node
  enum class State { kNotLoaded, kClean, kChanged } state = State::kNotLoaded;
  Buffer node;
};

enum class FreeKind { kNode = 1, kRecord = 2 };

struct File {
  std::string index_name, data_name;
  tolvane::FileId identity;  // of the index file
  Storage index, data;

  // Static fields of the dictionary.
  std::size_t node_size = layout::kDefaultNodeSize;
  std::size_t duplicate_width = 2;
  std::size_t record_length = 0;
  std::uint32_t key_node = 0;
  std::uint32_t key_count = 0;
  unsigned flags = 0;
  std::uint32_t audit = 0;

  // Dynamic fields.
  FreeList free_nodes, free_records;  // heads and highest numbers
  std::uint32_t change_counter = 0;
  std::uint32_t unique_id = 1;

  std::vector<Index> indexes;  // the primary one first
  std::uint64_t epoch = 0;     // counts every change that this process has made or seen

  // Locks and users.
  std::vector<int> modes;  // of the handles
  bool writable = false;
  bool exclusive = false;
  enum class Held { kNothing, kRead, kWrite } held = Held::kNothing;
  int holder = 0;  // process of the last conflict
  struct RecordLock {
    std::uint32_t record;  // 0: all
    const void* handle;
    bool automatic;  // ends with the next operation of its handle
    bool expires;    // ... which is the one at hand
  };
  std::vector<RecordLock> record_locks;

  // Work space, taken once: for a record, and for a node, that is not read from a mapping; for a
  // node about to be stored; for the entries of a compressed node; for those of nodes that change,
  // by the level of the path. What a change may need of them is taken before its first store.
  std::vector<Byte> scratch;
  Buffer node_scratch, image;
  std::vector<Byte> entries_scratch;
  std::vector<std::vector<Byte>> entry_lists;

  [[nodiscard]] std::size_t slot_length() const {
    return record_length + layout::slot::kStatusWidth +
           ((flags & layout::dictionary::kFlagTrailerWord) != 0 ? layout::slot::kTrailerWidth : 0);
  }
  [[nodiscard]] std::size_t limit() const { return node_size - layout::kNodeTail; }
  [[nodiscard]] bool is_precious() const {
    return (flags & layout::dictionary::kFlagPrecious) != 0;
  }
  [[nodiscard]] std::uint64_t node_offset(std::uint32_t node) const {
    return (std::uint64_t{node} - 1) * node_size;
  }
  [[nodiscard]] std::uint64_t slot_offset(std::uint32_t record) const {
    return (std::uint64_t{record} - 1) * slot_length();
  }
};

// ---- nodes

// A node as it stands, checked to lie in the file; `scratch` as Storage::Read has it.
[[nodiscard]] inline const Byte* isGetNode(File& file, std::uint32_t node, Byte* scratch) {
  if (node < layout::kDictionaryNode || node > file.free_nodes.highest) [[unlikely]]
    throw Failure{EBADFILE};
  return file.index.Read(file.node_offset(node), file.node_size, scratch);
}
// Stores a node. Room for it has been reserved by isGetFree.
void isPutNode(File& file, const Byte* bytes, std::uint32_t node);
// Puts the marks of key-description and free-list nodes.
void isMarkNode(const File& file, Byte* bytes, const std::array<std::uint8_t, 2>& mark);

// ---- dictionary

// Fills node 1 of a new file.
void isMakeHead(File& file, int mode);
// Fails with EBADFILE when this is no index file.
void isNeedSignature(File& file);
// Reads and checks the dictionary and the key descriptions. Fails with EBADFILE.
void isLoadHead(File& file);
// Takes over the dynamic fields when another process has changed them; true then.
bool isDelta(File& file);
// Stores the dynamic fields and counts the change.
void isHeadWrite(File& file);
// Stores them within a change that has been counted.
void isHeadFields(File& file);
// Stores key count, first key-description node and flags.
void isHeadKdsc(File& file);
// Gives an index its root, an empty leaf.
void MakeRoot(File& file, Index& index);
// Adds the description of an index to the chain; one that has no root yet gets it here.
void AppendKeyEntry(File& file, Index& index);
// Makes the chain hold the descriptions of the indexes as they are.
void RewriteKeyEntries(File& file);

// ---- free lists

[[nodiscard]] std::uint32_t isGetFree(File& file, FreeKind kind);
// A node number that was never given before.
[[nodiscard]] std::uint32_t isNextNode(File& file);
void isPutFree(File& file, FreeKind kind, std::uint32_t number);
void isFreeWrite(File& file);
[[nodiscard]] std::uint32_t isFreeCount(File& file, FreeKind kind);
void isFreeClear(File& file);
// Forgets the cached ways through the trees.
void isPathClear(File& file);
// Whether a record number can go to its list without a new node.
[[nodiscard]] bool isFreeHasRoom(File& file);
// Makes sure that numbers can be taken from both lists. Fails with EBADFILE.
void isFreeTest(File& file);
// Empties the list of record numbers; its nodes go back. EBADARG for the other one.
void isFreeDrop(File& file, FreeKind kind);

// ---- data slots

// The record in a slot; fails with ENOCURR outside the numbers given.
[[nodiscard]] const Byte* isGetData(File& file, std::uint32_t record, Byte* scratch);
[[nodiscard]] bool isDelCheck(File& file, std::uint32_t record);
void isPutData(File& file, const Byte* record, std::uint32_t number);
void isDelData(File& file, std::uint32_t number);

// ---- locks

void isLockOpen(File& file, bool exclusive);
// Lets others in again, but for the records that are locked.
void isLockShare(File& file);
void isLockRead(File& file);
void isLockWrite(File& file);
void isDropLock(File& file);
// Locks a record for a handle (0: all). False when somebody else has it.
[[nodiscard]] bool isLockData(File& file, const void* handle, std::uint32_t record, bool wait,
                              bool automatic);
// Whether nobody else has a record locked.
[[nodiscard]] bool isLockTest(File& file, const void* handle, std::uint32_t record);
void isDropData(File& file, const void* handle, std::uint32_t record);
void isDropDall(File& file, const void* handle);
// The automatic locks of a handle end with the operation at hand, but for those that it takes
// again.
void isExpireLocks(File& file, const void* handle);
void isDropExpired(File& file);

}  // namespace isam
