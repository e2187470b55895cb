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

namespace isam {

inline constexpr int kMostDepth = 24;
inline constexpr std::size_t kMostTarget = MAXKEYSIZE + 4;

// A key with its duplicate counter.
struct Target {
  std::array<Byte, kMostTarget> bytes{};
};
[[nodiscard]] Target MakeTarget(const Index& index, const Byte* key, std::uint32_t counter);

// The entries of a node, of index.entry_size bytes each.
struct Node {
  const Byte* entries = nullptr;
  int count = 0;
  int level = 0;
  std::size_t used = 0;  // bytes of the node on disk

  [[nodiscard]] const Byte* entry(const Index& index, int at) const {
    return entries + static_cast<std::size_t>(at) * index.entry_size;
  }
};

// Where a node is kept that is not read straight from the mapping.
struct NodeScratch {
  std::vector<Byte> raw, entries;
};

// The way from the root to an entry of a leaf.
struct Path {
  struct Step {
    std::uint32_t node = 0;
    int at = 0;     // the entry
    int count = 0;  // of entries
  };
  std::array<Step, kMostDepth> steps{};
  int depth = 0;            // 0: it leads nowhere
  std::uint64_t epoch = 0;  // of the file when it was found

  [[nodiscard]] Step& leaf() { return steps[static_cast<std::size_t>(depth - 1)]; }
  [[nodiscard]] const Step& leaf() const { return steps[static_cast<std::size_t>(depth - 1)]; }
  [[nodiscard]] Step& step(int level) { return steps[static_cast<std::size_t>(level)]; }
};

class Tree {
 public:
  Tree(File& file, Index& index) : file_(file), index_(index) {}

  // Each leaves the path at an entry and returns true, or false when there is none. Seek finds the
  // first entry that is not less than the target; when there is none the path is at the end.
  [[nodiscard]] bool Seek(const Target& target, Path& path);
  // The same by the first `length` bytes of a key only; with `beyond` the first entry that is
  // greater in them.
  [[nodiscard]] bool SeekPrefix(const Byte* key, std::size_t length, bool beyond, Path& path);
  [[nodiscard]] bool First(Path& path);
  [[nodiscard]] bool Last(Path& path);
  [[nodiscard]] bool Next(Path& path);
  [[nodiscard]] bool Previous(Path& path);

  // The entry that a path is at; valid until the next call.
  [[nodiscard]] const Byte* EntryAt(const Path& path);
  [[nodiscard]] std::uint32_t RecordOf(const Byte* entry) const;
  // Entries from the one that the path is at to the end of its leaf.
  [[nodiscard]] int LeftInLeaf(const Path& path) const {
    return path.leaf().count - path.leaf().at;
  }

  // The place of a target among the entries: where it is, or where it is to be inserted, which may
  // be behind the last entry of a leaf. True when it is there.
  [[nodiscard]] bool FindPlace(const Target& target, Path& path);
  // Adds an entry at its place. The caller has made sure that it is not there and has reserved
  // nodes: one more than the path is deep.
  void Insert(const Target& target, std::uint32_t record, Path& path);
  // Removes the entry of a target; fails with EBADFILE when it is not there with that record.
  void Delete(const Target& target, std::uint32_t record, Path& path);

  // The counter that the next duplicate of a key gets, and the path to its place. Above
  // MostCounter the range is used up and Renumber has to make room.
  [[nodiscard]] std::uint32_t NextCounter(const Byte* key, Path& path);
  [[nodiscard]] std::uint32_t MostCounter() const;
  // Entries of a key.
  [[nodiscard]] std::uint32_t Count(const Byte* key, Path& path);
  // Gives the duplicates of a key the counters from 0 on, in their order. In place: it needs no
  // room.
  void Renumber(const Byte* key);

  // Frees every node but the root, which becomes an empty leaf.
  void Clear();
  // Gives back every node, the root too.
  void Free();

 private:
  [[nodiscard]] Node Load(std::uint32_t number, int level);
  [[nodiscard]] int LowerBound(const Node& node, int count, const Byte* target) const;
  template <typename Find>
  void Descend(Path& path, Find find);
  bool StepIntoLeaf(Path& path);
  bool DownTo(Path& path, bool last);
  void InsertAt(Path& path, int level, int at, const Byte* entry);
  void SplitInsert(Path& path, int level, int at, std::vector<Byte>& entries, int count,
                   int node_level, const Byte* entry);
  [[nodiscard]] int SplitPoint(const std::vector<Byte>& entries, int count, int at) const;
  [[nodiscard]] std::vector<Byte> Encode(const Byte* entries, int count, int level) const;
  [[nodiscard]] std::size_t EncodedSize(const Byte* entries, int count) const;
  void RemoveAt(std::uint32_t number, int at);
  [[nodiscard]] std::uint32_t NewNode();
  void RenumberBelow(std::uint32_t number, int level, const Byte* key, std::uint32_t& next);
  void FreeBelow(std::uint32_t number, int level);

  File& file_;
  Index& index_;
};

// ---- stored form of compressed entries

// Takes a compressed node apart into entries of full size. Fails with the fatal message when it
// contradicts itself.
void isCompScan(const Index& index, const Byte* node, std::size_t used, std::vector<Byte>& entries);
// Puts entries together as they stand in a node, from its first entry on; `to` may be null to learn
// the size. Returns the bytes.
std::size_t isCompKey(const Index& index, const Byte* entries, int count, Byte* to);

}  // namespace isam
