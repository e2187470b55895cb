// An open pair of files, shared by all handles that this process has on it.
//
// An operation runs so: lock, refresh what another process may have changed, work, write back,
// unlock. `Operation` (isoperations.h) does the first two and the last. The change is counted
// before the first store, which tells everybody that the file has changed.
//
// Unless it says otherwise, a function here wants the operation's lock held and the dictionary
// refreshed, and one that stores wants the lock for writing and the change counted. Those that
// throw Failure do so with EBADFILE when the file contradicts itself and with the system's error
// when a call fails. What is about to be stored has its room reserved: a mapped store cannot fail.
//
// Nodes and records go by numbers from 1, and 0 is none. Offsets and sizes are bytes: offsets of a
// file from its beginning, those called `at` from the beginning of the node.
#pragma once

#include <isam.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "isam/iskey.h"
#include "isam/ismemory.h"
#include "isam/issystem.h"
#include "isam/layout.h"
#include "platform/system_calls.h"

namespace isam {

// A free list: a chain of nodes that hold numbers, of which the first is cached. `head` and
// `highest` are copies of the dictionary's; within an operation they may be ahead of it.
struct FreeList {
  std::uint32_t head = 0;     // first node of the chain; 0: the list is empty
  std::uint32_t highest = 0;  // the highest number ever given
  // The cached node: bytes that it uses, whether it is cached and whether it is to be stored.
  std::size_t used = 0;
  enum class State { kNotLoaded, kClean, kChanged } state = State::kNotLoaded;
  Buffer node;
};

enum class FreeKind { kNode = 1, kRecord = 2 };

struct File {
  std::string index_name, data_name;
  tolvane::FileId identity;  // of the index file
  Storage index, data;

  // What the dictionary has said since the file was built.
  std::size_t node_size = layout::kDefaultNodeSize;
  std::size_t duplicate_width = 2;
  std::size_t record_length = 0;  // 0: there is no data file

  // What operations change of it: copies, taken over by isDelta and stored by isHeadFields and
  // isHeadKdsc.
  std::uint32_t key_node = 0;  // first of the chain of key descriptions
  std::uint32_t key_count = 0;
  unsigned flags = 0;
  FreeList free_nodes, free_records;
  std::uint32_t change_counter = 0;
  std::uint32_t unique_id = 1;

  std::vector<Index> indexes;  // the primary one first
  std::uint64_t epoch = 0;     // counts every change that this process has made or seen

  // Locks and users.
  std::vector<int> modes;  // of the handles
  bool writable = false;   // both files are open for writing, whatever the handles may
  bool exclusive = false;  // nobody else has it open: no locks, and nothing is refreshed
  enum class Held { kNothing, kRead, kWrite } held = Held::kNothing;  // the operation's lock
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
  // a list for each node of a path. What a change may need of them is taken before its first store.
  std::vector<Byte> scratch;
  Buffer node_scratch, image;
  std::vector<Byte> entries_scratch;
  std::vector<std::vector<Byte>> entry_lists;

  [[nodiscard]] std::size_t slot_length() const {
    return record_length + layout::slot::kStatusWidth +
           ((flags & layout::dictionary::kFlagTrailerWord) != 0 ? layout::slot::kTrailerWidth : 0);
  }
  // Entries of a node end before this.
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

// A node as it stands on disk: in the mapping, or read into `scratch`, which holds node_size bytes;
// valid as Storage::Read has it. Fails with EBADFILE outside the numbers given.
[[nodiscard]] inline const Byte* isGetNode(File& file, std::uint32_t node, Byte* scratch) {
  if (node < layout::kDictionaryNode || node > file.free_nodes.highest) [[unlikely]]
    throw Failure{EBADFILE};
  return file.index.Read(file.node_offset(node), file.node_size, scratch);
}
// Stores a whole node, whose room isGetFree has reserved.
void isPutNode(File& file, const Byte* bytes, std::uint32_t node);
// Puts the marks of key-description and free-list nodes into a node in memory.
void isMarkNode(const File& file, Byte* bytes, const std::array<std::uint8_t, 2>& mark);

// ---- dictionary

// Stores node 1 of a new file, which has its sizes; `mode` is isbuild's.
void isMakeHead(File& file, int mode);
// Fails with EBADFILE when this is no index file.
void isNeedSignature(File& file);
// Takes over and checks everything that the dictionary and the key descriptions say, and the sizes
// of both files against it.
void isLoadHead(File& file);
// Takes over what another process has changed, and drops what was cached of it: free-list heads,
// ways through the trees, and the indexes when there are more or fewer.
void isDelta(File& file);
// Takes over what the file says, whatever this process believes: nobody else has changed it, but an
// operation that failed on the way may have.
void isTakeOver(File& file);
// Counts the change, and stores the free lists' heads, the numbers and the counters.
void isHeadWrite(File& file);
// Stores them within a change that has been counted.
void isHeadFields(File& file);
// Stores key count, first key-description node and flags.
void isHeadKdsc(File& file);
// Gives an index its root, an empty leaf in a node from the free list.
void MakeRoot(File& file, Index& index);
// Adds the description of an index to the chain and the dictionary; one that has no root yet gets
// it here.
void AppendKeyEntry(File& file, Index& index);
// Makes the chain and the dictionary describe file.indexes; nodes that are left over go free.
void RewriteKeyEntries(File& file);

// ---- free lists. The head of each list is cached and changes in memory alone until isFreeWrite;
// a list that goes on in another node stores the one it leaves at once.

// A number of the list, which is checked, or else the next one that was never given: for a node its
// room is reserved.
[[nodiscard]] std::uint32_t isGetFree(File& file, FreeKind kind);
// A node number that was never given before, with its room reserved.
[[nodiscard]] std::uint32_t isNextNode(File& file);
// Gives a number back; a record's number may take a node for it. Nothing for the records of a
// precious file.
void isPutFree(File& file, FreeKind kind, std::uint32_t number);
// Stores the heads that have changed.
void isFreeWrite(File& file);
// How many record numbers are free: walks and checks the whole list, which has no changed head.
[[nodiscard]] std::uint32_t isFreeCount(File& file);
// Forgets the cached heads, stored or not.
void isFreeClear(File& file);
// Forgets the cached ways through the trees, and counts a change that somebody has made.
void isPathClear(File& file);
// Whether a record number can be given back without a new node.
[[nodiscard]] bool isFreeHasRoom(File& file);
// Loads the heads of both lists, and checks them and the nodes behind them.
void isFreeTest(File& file);
// Empties the list of record numbers; its nodes go free.
void isFreeDrop(File& file);

// ---- data slots. Only for files with data, but for isDelCheck, which takes every number that was
// given for a record there.

// The record in a slot and its status behind it, slot_length() bytes as isGetNode gives them.
// Fails with ENOCURR outside the numbers given.
[[nodiscard]] const Byte* isGetData(File& file, std::uint32_t record, Byte* scratch);
// Whether there is no such record.
[[nodiscard]] bool isDelCheck(File& file, std::uint32_t record);
// Stores a record of record_length bytes in a slot whose room is reserved; it lives from then on.
void isPutData(File& file, const Byte* record, std::uint32_t number);
// Marks a slot as deleted; the record's bytes stay.
void isDelData(File& file, std::uint32_t number);

// ---- locks between processes, on the index file's lock regions (layout::lock). A file that is
// held exclusively takes none but the first. All may fail with the system's error.

// Taken with the file, for as long as it is open: shared by all who have it open, or exclusive.
// Fails with EFLOCKED.
void isLockOpen(File& file, bool exclusive);
// Lets others in again, but for the records that are locked. The file was held exclusively.
void isLockShare(File& file);
// The operation's lock, waited for; nothing when it is held already. Wanted by all above.
void isLockRead(File& file);
void isLockWrite(File& file);
// Never fails.
void isDropLock(File& file);

// ---- locks on records, 0 for all of them. They are kept in record_locks for each handle, which is
// known by its address, and beside it with the system for all handles together. They need no
// operation's lock; who waits for one must not hold it.

// False when somebody else has the record; file.holder then says who. `wait` waits for another
// process, never for a handle of this one. An `automatic` lock ends with the next operation of its
// handle; one that the handle has already stays and is automatic only if both are.
[[nodiscard]] bool isLockData(File& file, const void* handle, std::uint32_t record, bool wait,
                              bool automatic);
// Whether nobody else has a record locked; takes nothing.
[[nodiscard]] bool isLockTest(File& file, const void* handle, std::uint32_t record);
// Releases one lock of a handle (0: all), and all locks.
void isDropData(File& file, const void* handle, std::uint32_t record);
void isDropDall(File& file, const void* handle);
// The automatic locks of a handle end with the operation at hand, in isDropExpired, but for those
// that it takes again.
void isExpireLocks(File& file, const void* handle);
void isDropExpired(File& file);

}  // namespace isam
