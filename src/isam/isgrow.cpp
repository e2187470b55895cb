// Inserting into and deleting from a tree.

#include <algorithm>
#include <cstring>

#include "isam/istree.h"

namespace isam {

using tolvane::LoadBig;
using tolvane::LoadBigWidth;
using tolvane::StoreBig;
using tolvane::StoreBigWidth;
namespace n = layout::tree_node;

namespace {

std::vector<Byte> MakeEntry(const Index& index, const Byte* target, std::uint32_t pointer) {
  std::vector<Byte> entry(index.entry_size);
  std::memcpy(entry.data(), target, index.entry_size - n::kPointerWidth);
  StoreBig(&entry[index.entry_size - n::kPointerWidth], pointer);
  return entry;
}

}  // namespace

std::size_t Tree::EncodedSize(const Byte* entries, int count) const {
  if (!index_.is_compressed()) return static_cast<std::size_t>(count) * index_.entry_size;
  return isCompKey(index_, entries, count, nullptr);
}

// A whole node as it is stored.
std::vector<Byte> Tree::Encode(const Byte* entries, int count, int level) const {
  std::vector<Byte> node(file_.node_size);
  std::size_t bytes = static_cast<std::size_t>(count) * index_.entry_size;
  if (index_.is_compressed()) {
    bytes = isCompKey(index_, entries, count, &node[n::kFirst]);
  } else {
    std::memcpy(&node[n::kFirst], entries, bytes);
  }
  StoreBig(&node[n::kUsed], static_cast<std::uint16_t>(bytes + n::kFirst));
  node[file_.node_size - n::kLevelFromEnd] = static_cast<Byte>(level);
  return node;
}

void Tree::Insert(const Target& target, std::uint32_t record, Path& path) {
  const auto entry = MakeEntry(index_, target.bytes.data(), record);
  if (path.epoch != file_.epoch || path.depth == 0) (void)FindPlace(target, path);
  InsertAt(path, path.depth - 1, path.leaf().at, entry.data());
}

void Tree::InsertAt(Path& path, int level, int at, const Byte* entry) {
  const std::uint32_t number = path.step(level).node;
  const Node node = Load(number, -1);
  const std::size_t size = index_.entry_size;
  const bool fits_plain = !index_.is_compressed() && node.used + size < file_.limit();
  if (fits_plain && at == node.count) {
    // The entry stands beyond the used bytes until the count says otherwise.
    const std::uint64_t offset = file_.node_offset(number);
    Byte used[2];
    StoreBig(used, static_cast<std::uint16_t>(node.used + size));
    file_.index.Write(offset + node.used, entry, size);
    file_.index.Write(offset + n::kUsed, used, sizeof used);
    return;
  }
  std::vector<Byte> entries(node.entries,
                            node.entries + static_cast<std::size_t>(node.count) * size);
  if (fits_plain) {
    entries.insert(
        entries.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(at) * size), entry,
        entry + size);
    isPutNode(file_, Encode(entries.data(), node.count + 1, node.level).data(), number);
    return;
  }
  if (index_.is_compressed()) {
    std::vector<Byte> grown = entries;
    grown.insert(grown.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(at) * size),
                 entry, entry + size);
    if (EncodedSize(grown.data(), node.count + 1) + n::kFirst < file_.limit()) {
      isPutNode(file_, Encode(grown.data(), node.count + 1, node.level).data(), number);
      return;
    }
  }
  SplitInsert(path, level, at, entries, node.count, node.level, entry);
}

// How many entries go to the lower node: all when the new one comes behind them, so that an
// ascending run leaves full nodes.
int Tree::SplitPoint(const std::vector<Byte>& entries, int count, int at) const {
  if (at == count) return count;
  if (!index_.is_compressed()) return count / 2;
  const std::size_t half = (EncodedSize(entries.data(), count) + n::kFirst) / 2;
  int lower = 1;
  while (lower < count - 1 && EncodedSize(entries.data(), lower) + n::kFirst < half) ++lower;
  return lower;
}

void Tree::SplitInsert(Path& path, int level, int at, std::vector<Byte>& entries, int count,
                       int node_level, const Byte* entry) {
  const std::size_t size = index_.entry_size;
  const auto offset = [size](int i) {
    return static_cast<std::ptrdiff_t>(static_cast<std::size_t>(i) * size);
  };
  const int split = SplitPoint(entries, count, at);
  std::vector<Byte> lower(entries.begin(), entries.begin() + offset(split));
  std::vector<Byte> upper(entries.begin() + offset(split), entries.end());
  const bool into_lower = at <= split && split != count;
  std::vector<Byte>& half = into_lower ? lower : upper;
  half.insert(half.begin() + offset(into_lower ? at : at - split), entry, entry + size);
  const int lower_count = static_cast<int>(lower.size() / size);
  const int upper_count = static_cast<int>(upper.size() / size);

  const std::uint32_t number = path.step(level).node;
  const std::uint32_t new_node = NewNode();
  isPutNode(file_, Encode(lower.data(), lower_count, node_level).data(), new_node);
  const auto for_lower = MakeEntry(index_, &lower[lower.size() - size], new_node);
  if (level > 0) {
    InsertAt(path, level - 1, path.step(level - 1).at, for_lower.data());
    isPutNode(file_, Encode(upper.data(), upper_count, node_level).data(), number);
    return;
  }
  // The root keeps its number and moves up a level.
  const std::uint32_t upper_node = NewNode();
  isPutNode(file_, Encode(upper.data(), upper_count, node_level).data(), upper_node);
  std::vector<Byte> root = for_lower;
  const auto for_upper = MakeEntry(index_, &upper[upper.size() - size], upper_node);
  root.insert(root.end(), for_upper.begin(), for_upper.end());
  isPutNode(file_, Encode(root.data(), 2, node_level + 1).data(), number);
}

void Tree::RemoveAt(std::uint32_t number, int at) {
  const Node node = Load(number, -1);
  std::vector<Byte> entries(
      node.entries, node.entries + static_cast<std::size_t>(node.count) * index_.entry_size);
  const auto begin = entries.begin() +
                     static_cast<std::ptrdiff_t>(static_cast<std::size_t>(at) * index_.entry_size);
  entries.erase(begin, begin + static_cast<std::ptrdiff_t>(index_.entry_size));
  isPutNode(file_, Encode(entries.data(), node.count - 1, node.level).data(), number);
}

void Tree::Delete(const Target& target, std::uint32_t record, Path& path) {
  const bool found = Seek(target, path);
  const Byte* const entry = found ? EntryAt(path) : nullptr;
  const std::size_t bytes = index_.length + index_.counter_width;
  if (entry == nullptr || std::memcmp(entry, target.bytes.data(), bytes) != 0 ||
      RecordOf(entry) != record)
    throw Failure{EBADFILE};
  // Nodes that become empty go, up to the first one that keeps an entry.
  int level = path.depth - 1;
  std::vector<std::uint32_t> emptied;
  while (level > 0 && path.step(level).count == 1) emptied.push_back(path.step(level--).node);
  const Path::Step& step = path.step(level);
  if (level == 0 && step.count == 1) {
    isPutNode(file_, Encode(nullptr, 0, 0).data(), step.node);
  } else {
    RemoveAt(step.node, step.at);
  }
  for (const std::uint32_t node : emptied) isPutFree(file_, FreeKind::kNode, node);
}

std::uint32_t Tree::MostCounter() const {
  return static_cast<std::uint32_t>((std::uint64_t{1} << (8 * index_.counter_width - 1)) - 1);
}

std::uint32_t Tree::NextCounter(const Byte* key, Path& path) {
  if (FindPlace(MakeTarget(index_, key, 0xFFFFFFFF), path)) throw Failure{EBADFILE};
  Path before = path;
  if (!Previous(before)) return 0;
  const Byte* const entry = EntryAt(before);
  const bool repeats = isKeyMatch(index_, entry, key);
  const auto counter = repeats ? static_cast<std::uint32_t>(
                                     LoadBigWidth(entry + index_.length, index_.counter_width) + 1)
                               : 0;
  // A leaf that holds the entry before holds the place too; otherwise what stands above decides.
  if (before.leaf().node != path.leaf().node) path.depth = 0;
  return counter;
}

std::uint32_t Tree::Count(const Byte* key, Path& path) {
  std::uint32_t count = 0;
  for (bool found = Seek(MakeTarget(index_, key, 0), path);
       found && isKeyMatch(index_, EntryAt(path), key); found = Next(path))
    ++count;
  return count;
}

void Tree::Renumber(const Byte* key) {
  std::uint32_t next = 0;
  RenumberBelow(index_.root, -1, key, next);
}

void Tree::RenumberBelow(std::uint32_t number, int level, const Byte* key, std::uint32_t& next) {
  const Node node = Load(number, level);
  const std::size_t size = index_.entry_size;
  const int count = node.count, node_level = node.level;
  std::vector<Byte> entries(node.entries, node.entries + static_cast<std::size_t>(count) * size);
  const Target first = MakeTarget(index_, key, 0);
  const auto counter_of = [&](Byte* entry) { return entry + index_.length; };
  const int considered = node_level > 0 ? count - 1 : count;
  for (int i = LowerBound(node, considered, first.bytes.data()); i < count; ++i) {
    Byte* const entry = &entries[static_cast<std::size_t>(i) * size];
    const int order = isKeyCmp(index_, entry, key);
    if (node_level == 0) {
      if (order != 0) break;
      StoreBigWidth(counter_of(entry), index_.counter_width, next++);
      continue;
    }
    RenumberBelow(RecordOf(entry), node_level - 1, key, next);
    if (order > 0 && i + 1 < count) break;
    if (order == 0)
      StoreBigWidth(counter_of(entry), index_.counter_width, next == 0 ? 0 : next - 1);
  }
  isPutNode(file_, Encode(entries.data(), count, node_level).data(), number);
}

// A number is off the list on disk before its node is used: should the process die, nobody else
// gets it.
std::uint32_t Tree::NewNode() {
  const std::uint32_t node = isGetFree(file_, FreeKind::kNode);
  isFreeWrite(file_);
  isHeadFields(file_);
  return node;
}

void Tree::FreeBelow(std::uint32_t number, int level) {
  const Node node = Load(number, level);
  if (node.level == 0) return;
  std::vector<std::uint32_t> children;
  children.reserve(static_cast<std::size_t>(node.count));
  for (int i = 0; i < node.count; ++i) children.push_back(RecordOf(node.entry(index_, i)));
  const int below = node.level - 1;
  for (const std::uint32_t child : children) {
    FreeBelow(child, below);
    isPutFree(file_, FreeKind::kNode, child);
  }
}

void Tree::Clear() {
  FreeBelow(index_.root, -1);
  isPutNode(file_, Encode(nullptr, 0, 0).data(), index_.root);
}

void Tree::Free() {
  FreeBelow(index_.root, -1);
  isPutFree(file_, FreeKind::kNode, index_.root);
}

}  // namespace isam
