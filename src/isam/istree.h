// The B-tree of one index. Its leaves list every key in order, each with its record number; entries
// above the leaves carry the greatest key that their child may hold, and the last entry of a node
// stands for everything beyond the one before it.
//
// An entry is the key, the duplicate counter of an index with duplicates, and a pointer. A target
// is the first two: what an entry is looked for by. Compressed nodes are taken apart into entries
// of full size when they are read and put together again when they are stored, so that all else
// works on one form.
//
// Stores go from new nodes to the changed ones and among these from the top down, so that whatever
// moment a process dies at, no entry is out of reach.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "isam/isfile.h"
#include "isam/ispath.h"

namespace isam {

// A key with its duplicate counter, and room for the pointer that makes it an entry.
struct Target {
  std::array<Byte, kMostEntry> bytes;
};
[[nodiscard]] Target MakeTarget(const Index& index, const Byte* key, std::uint32_t counter);

// The entries of a node, of index.entry_size bytes each.
struct Node {
  const Byte* bytes = nullptr;  // as it is stored
  const Byte* entries = nullptr;
  int count = 0;
  int level = 0;
  std::size_t used = 0;  // bytes of the node as it is stored

  [[nodiscard]] const Byte* entry(const Index& index, int at) const {
    return entries + static_cast<std::size_t>(at) * index.entry_size;
  }
};

// A view of one index for the length of a call; it owns nothing and costs nothing to make.
class Tree {
 public:
  Tree(File& file, Index& index) : file_(file), index_(index) {}

  // ---- moving (ispath.cpp). Each leaves the path at an entry and returns the entry, which stays
  // where it is until the next call on any tree; or returns null, with the path at the end that was
  // reached.
  const Byte* isTreeFirst(Path& path);
  const Byte* isTreeLast(Path& path);
  const Byte* isTreeNext(Path& path);
  const Byte* isTreePrev(Path& path);
  // The entry of a record among those of one key.
  const Byte* isTreeRecord(const Byte* key, std::uint32_t record, Path& path);
  // The entry that a path is at.
  [[nodiscard]] const Byte* isTreeCurr(const Path& path);
  // The first entry that is not less than the target.
  const Byte* isTreeMatch(const Target& target, Path& path);
  // The first entry that is greater than a key in its first `length` bytes; or, when `equal`, not
  // less than it.
  const Byte* isTreeGreat(const Byte* key, std::size_t length, bool equal, Path& path);

  [[nodiscard]] std::uint32_t RecordOf(const Byte* entry) const {
    return tolvane::LoadBig<std::uint32_t>(entry + index_.length + index_.counter_width) &
           ~layout::tree_node::kRepeatBit;
  }

  // ---- changing (isgrow.cpp)

  // Makes room in memory for a change along a path of this depth (0: not known yet), so that none
  // of the calls below needs any.
  void ReserveLists(int depth);

  // The place of a target among the entries: where it is, or where it is to be inserted, which may
  // be behind the last entry of a leaf. True when it is there.
  [[nodiscard]] bool FindPlace(const Target& target, Path& path);
  // Adds an entry at its place, which is looked for when the path leads nowhere. The caller has
  // made sure that it is not there and has reserved nodes: one more than the path is deep.
  void isTreeInsert(Target& target, std::uint32_t record, Path& path);
  // Removes the entry of a target, looked for in the same way; fails with EBADFILE when it is not
  // there with that record.
  void isTreeDelete(const Target& target, std::uint32_t record, Path& path);

  // The counter that the next duplicate of a key gets, and the path to its place. Above
  // MostCounter the range is used up and Renumber has to make room.
  [[nodiscard]] std::uint32_t NextCounter(const Byte* key, Path& path);
  [[nodiscard]] std::uint32_t MostCounter() const;
  // Gives the duplicates of a key the counters from 0 on, in their order; a bound without any of
  // them below it takes one too. In place: it needs no room. Returns the counter that comes next;
  // without `store` that is all it does.
  std::uint32_t Renumber(const Byte* key, bool store);

  // The numbers of all nodes, the root last; fails with EBADFILE when they are no tree.
  [[nodiscard]] std::vector<std::uint32_t> Nodes();

 private:
  friend class TreeBuilder;

  // A node, read and checked: of a level, or of any when `level` is -1. Its entries are a view of
  // the file, or of the file's scratch where that is not mapped or they are compressed: valid until
  // the next Load or store.
  [[nodiscard]] Node Load(std::uint32_t number, int level);
  [[nodiscard]] int isNodeMatch(const Node& node, int count, const Byte* target) const;
  template <typename Find>
  Node isPathDown(Path& path, Find find);
  const Byte* DownTo(Path& path, bool last);
  const Byte* EntryOrNext(const Node& leaf, Path& path);

  // `step` is the place of a node in the path, from 0 at the root; `level` and `node_level` are
  // what the node says, from 0 in the leaves. A split stores entries in the step above, which must
  // still be as the path has it.
  void InsertAt(Path& path, int step, int at, const Byte* entry);
  // One more entry in a node that has room for it and is not compressed.
  void flatins(std::uint32_t number, const Node& node, int at, const Byte* entry);
  [[nodiscard]] int comphalf(const Byte* entries, int count) const;
  [[nodiscard]] int LowerShare(const Node& node, int at) const;
  // Whether entries fit into a node, with `spare` bytes left over.
  [[nodiscard]] bool Fits(const Byte* entries, int count, std::size_t spare = 0) const;
  [[nodiscard]] int LeaveRoom(const Byte* entries, int count, int lower) const;
  // The first `count` entries of a node in one of the file's entry lists, where they may change and
  // outlive the node's view.
  [[nodiscard]] std::vector<Byte>& TakeEntries(int list, const Node& node, int count);
  [[nodiscard]] std::vector<Byte>& WithEntry(int step, const Node& node, int at, const Byte* entry);
  template <typename Share>
  void StoreEntries(Path& path, int step, const std::vector<Byte>& entries, int node_level,
                    Share lower_share);
  void Split(Path& path, int step, const std::vector<Byte>& entries, int node_level, int lower);
  void InsertSeparator(Path& path, int step, const Target& for_lower, const Byte* upper_last);
  void RemoveAt(Path& path, int step);
  void RaiseEdge(const Target& bound);
  void StoreNode(std::uint32_t number, const Byte* entries, int count, int level);
  [[nodiscard]] std::uint32_t NewNode();
  void RenumberBelow(std::uint32_t number, int level, const Byte* key, bool store,
                     std::uint32_t& next);
  void ListBelow(std::uint32_t number, int level, std::vector<std::uint32_t>& nodes);

  File& file_;
  Index& index_;
};

// Builds the tree of an index without entries from entries in order: nodes are filled from the
// left. All but the root goes into nodes that were never used.
class TreeBuilder {
 public:
  TreeBuilder(File& file, Index& index) : file_(file), index_(index) {}
  void Add(const Target& target, std::uint32_t record);
  // Ends adding.
  void Finish();
  // The index has its root node now: completes the tree.
  void StoreRoot();

 private:
  struct Level {
    std::vector<Byte> entries;
    std::size_t stored = 0;  // bytes that they take in a node
    [[nodiscard]] const Byte* last(std::size_t size) const {
      return entries.empty() ? nullptr : &entries[entries.size() - size];
    }
  };
  void AddTo(std::size_t level, const Byte* entry);
  void Store(std::uint32_t number, std::size_t level);

  File& file_;
  Index& index_;
  std::vector<Level> levels_;
};

// ---- stored form of compressed entries

// Takes a node of `used` bytes apart into entries of full size, in place of what `entries` holds.
// Ends the process with the fatal message when the node contradicts itself.
void isCompScan(const Index& index, const Byte* node, std::size_t used, std::vector<Byte>& entries);
// A key as it stands behind another one, or first (null). Returns the bytes, 0 for a repeated key.
// `to` may be null to learn the size, here and below.
std::size_t isCompKey(const Index& index, const Byte* previous, const Byte* key, Byte* to);
// Bytes that an entry takes in a node behind another one, or first (null).
std::size_t isStoredSize(const Index& index, const Byte* previous, const Byte* entry);
// Entries as they stand in a node, from its first one on. Returns the bytes.
std::size_t isCompEntries(const Index& index, const Byte* entries, int count, Byte* to);

}  // namespace isam
