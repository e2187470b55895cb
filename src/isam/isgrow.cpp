// How a tree grows and shrinks.

#include <algorithm>

#include "isam/isnode.h"

namespace isam {

using tolvane::LoadBigWidth;
using tolvane::StoreBig;
using tolvane::StoreBigWidth;
namespace n = layout::tree_node;

namespace {

constexpr char kSource[] = "isgrow.c";

// The entry for a child whose last entry is `last`.
Target EntryForChild(const Index& index, const Byte* last, std::uint32_t child) {
  Target entry;
  const std::size_t pointer = index.entry_size - n::kPointerWidth;
  std::memcpy(entry.bytes.data(), last, pointer);
  StoreBig(&entry.bytes[pointer], child);
  return entry;
}

}  // namespace

void Tree::isTreeInsert(Target& target, std::uint32_t record, Path& path) {
  if (path.depth == 0) (void)FindPlace(target, path);
  StoreBig(&target.bytes[index_.entry_size - n::kPointerWidth], record);
  InsertAt(path, path.depth - 1, path.leaf().at, target.bytes.data());
}

void Tree::InsertAt(Path& path, int level, int at, const Byte* entry) {
  const std::uint32_t number = path.step(level).node;
  const Node node = Load(number, -1);
  if (index_.is_compressed()) {
    if (compins(number, node, at, entry)) return;
  } else if (node.used + index_.entry_size < file_.limit()) {
    return flatins(number, node, at, entry);
  }
  SplitInsert(path, level, at, node, entry);
}

void Tree::flatins(std::uint32_t number, const Node& node, int at, const Byte* entry) {
  if (at > node.count) isFatal(kSource, __LINE__);
  const std::size_t size = index_.entry_size;
  const std::size_t before = n::kFirst + static_cast<std::size_t>(at) * size;
  const std::uint64_t offset = file_.node_offset(number);
  Byte* const image = file_.image.get();
  StoreBig(image, static_cast<std::uint16_t>(node.used + size));
  if (at == node.count) {
    // The entry stands beyond the used bytes until the count says otherwise.
    file_.index.Write(offset + node.used, entry, size);
    file_.index.Write(offset, image, sizeof(std::uint16_t));
    return;
  }
  std::memcpy(image + n::kFirst, node.entries, before - n::kFirst);
  std::memcpy(image + before, entry, size);
  std::memcpy(image + before + size, node.bytes + before, node.used - before);
  file_.index.Write(offset, image, node.used + size);
}

// False when the entry does not fit.
bool Tree::compins(std::uint32_t number, const Node& node, int at, const Byte* entry) {
  const std::size_t size = index_.entry_size;
  const Byte* const place = node.entry(index_, at);
  std::vector<Byte>& entries = file_.entries_changed;
  entries.assign(node.entries, place);
  entries.insert(entries.end(), entry, entry + size);
  entries.insert(entries.end(), place, node.entry(index_, node.count));
  const std::size_t bytes = isCompKey(index_, entries.data(), node.count + 1, nullptr);
  if (bytes + n::kFirst >= file_.limit()) return false;
  StoreNode(number, entries.data(), node.count + 1, node.level);
  return true;
}

// Where a compressed node is split: behind the first entry that ends at or past half of its used
// bytes.
int Tree::comphalf(const Node& node) const {
  int lower = 1;
  while (lower < node.count - 1 &&
         isCompKey(index_, node.entries, lower, nullptr) + n::kFirst < node.used / 2)
    ++lower;
  return lower;
}

// How many entries of a full node and a new one at `at` go to the lower node: the first half with
// the new one where it falls, or all old ones when the new one comes behind them, so that an
// ascending run leaves full nodes.
int Tree::LowerShare(const Node& node, int at, const std::vector<Byte>& entries) const {
  if (at == node.count) return at;
  const int split = index_.is_compressed() ? comphalf(node) : node.count / 2;
  int lower = at <= split ? split + 1 : split;
  if (!index_.is_compressed()) return lower;
  // Long keys may make a half too large. A node filled up leaves a rest that fits.
  const auto fits = [&](int from, int to) {
    const Byte* const first = &entries[static_cast<std::size_t>(from) * index_.entry_size];
    return isCompKey(index_, first, to - from, nullptr) + n::kFirst < file_.limit();
  };
  const int count = node.count + 1;
  while (lower > 1 && !fits(0, lower)) --lower;
  while (lower + 1 < count && !fits(lower, count)) ++lower;
  if (!fits(0, lower) || !fits(lower, count)) isFatal(kSource, __LINE__);
  return lower;
}

void Tree::SplitInsert(Path& path, int level, int at, const Node& node, const Byte* entry) {
  index_.edge.depth = 0;
  std::vector<Byte> entries(node.entries, node.entry(index_, at));
  entries.insert(entries.end(), entry, entry + index_.entry_size);
  entries.insert(entries.end(), node.entry(index_, at), node.entry(index_, node.count));
  const int count = node.count + 1, lower = LowerShare(node, at, entries);
  const int node_level = node.level;  // the view ends with the first store
  const auto entry_at = [&](int i) {
    return &entries[static_cast<std::size_t>(i) * index_.entry_size];
  };

  const std::uint32_t number = path.step(level).node;
  const std::uint32_t new_node = NewNode();
  StoreNode(new_node, entry_at(0), lower, node_level);
  const Target for_lower = EntryForChild(index_, entry_at(lower - 1), new_node);
  if (level > 0) {
    InsertAt(path, level - 1, path.step(level - 1).at, for_lower.bytes.data());
    StoreNode(number, entry_at(lower), count - lower, node_level);
    return;
  }
  // The root keeps its number and moves up a level.
  const std::uint32_t upper_node = NewNode();
  StoreNode(upper_node, entry_at(lower), count - lower, node_level);
  const Target for_upper = EntryForChild(index_, entry_at(count - 1), upper_node);
  std::vector<Byte> root(for_lower.bytes.data(), for_lower.bytes.data() + index_.entry_size);
  root.insert(root.end(), for_upper.bytes.data(), for_upper.bytes.data() + index_.entry_size);
  StoreNode(number, root.data(), 2, node_level + 1);
}

void Tree::isTreeDelete(const Target& target, std::uint32_t record, Path& path) {
  index_.edge.depth = 0;
  const Byte* const entry = path.depth == 0 ? isTreeMatch(target, path) : isTreeCurr(path);
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
    StoreNode(step.node, nullptr, 0, 0);
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
  const Byte* const entry = isTreePrev(before);
  if (entry == nullptr) return 0;
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
  for (const Byte* entry = isTreeMatch(MakeTarget(index_, key, 0), path);
       entry != nullptr && isKeyMatch(index_, entry, key); entry = isTreeNext(path))
    ++count;
  return count;
}

void Tree::Renumber(const Byte* key) {
  index_.edge.depth = 0;
  std::uint32_t next = 0;
  RenumberBelow(index_.root, -1, key, next);
}

void Tree::RenumberBelow(std::uint32_t number, int level, const Byte* key, std::uint32_t& next) {
  const Node node = Load(number, level);
  const std::size_t size = index_.entry_size;
  const int count = node.count, node_level = node.level;
  std::vector<Byte> entries(node.entries, node.entries + static_cast<std::size_t>(count) * size);
  const Target first = MakeTarget(index_, key, 0);
  const int considered = node_level > 0 ? count - 1 : count;
  for (int i = isNodeMatch(node, considered, first.bytes.data()); i < count; ++i) {
    Byte* const entry = &entries[static_cast<std::size_t>(i) * size];
    Byte* const counter = entry + index_.length;
    const int order = isKeyCmp(index_, entry, key);
    if (node_level == 0) {
      if (order != 0) break;
      StoreBigWidth(counter, index_.counter_width, next++);
      continue;
    }
    RenumberBelow(RecordOf(entry), node_level - 1, key, next);
    if (order > 0 && i + 1 < count) break;
    if (order == 0) StoreBigWidth(counter, index_.counter_width, next == 0 ? 0 : next - 1);
  }
  StoreNode(number, entries.data(), count, node_level);
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

void Tree::Free() {
  index_.edge.depth = 0;
  FreeBelow(index_.root, -1);
  isPutFree(file_, FreeKind::kNode, index_.root);
}

}  // namespace isam
