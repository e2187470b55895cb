// How a tree grows and shrinks.

#include <array>

#include "isam/isnode.h"

namespace isam {

using tolvane::LoadBigWidth;
using tolvane::StoreBig;
using tolvane::StoreBigWidth;
namespace n = layout::tree_node;

namespace {

// The entry for a child whose last entry is `last`.
Target EntryForChild(const Index& index, const Byte* last, std::uint32_t child) {
  Target entry;
  const std::size_t pointer = index.entry_size - n::kPointerWidth;
  std::memcpy(entry.bytes.data(), last, pointer);
  StoreBig(&entry.bytes[pointer], child);
  return entry;
}

}  // namespace

void Tree::ReserveLists(int depth) {
  if (depth == 0) depth = Load(index_.root, -1).level + 1;
  const std::size_t levels = static_cast<std::size_t>(depth) + 1;  // the root may move up
  if (levels <= index_.listed_levels) return;
  // A compressed entry takes no less than its counter and pointer.
  const std::size_t least = index_.entry_size - (index_.is_compressed() ? index_.length : 0);
  const std::size_t bytes = (file_.limit() / least + 2) * index_.entry_size;
  if (file_.entry_lists.size() < levels) file_.entry_lists.resize(levels);
  for (std::vector<Byte>& list : file_.entry_lists) list.reserve(bytes);
  file_.entries_scratch.reserve(bytes);
  index_.listed_levels = levels;
}

std::vector<Byte>& Tree::TakeEntries(int list, const Node& node, int count) {
  std::vector<Byte>& entries = file_.entry_lists[static_cast<std::size_t>(list)];
  entries.assign(node.entries, node.entry(index_, count));
  return entries;
}

// The entries of a node with one more at `at`.
std::vector<Byte>& Tree::WithEntry(int step, const Node& node, int at, const Byte* entry) {
  std::vector<Byte>& entries = TakeEntries(step, node, at);
  entries.insert(entries.end(), entry, entry + index_.entry_size);
  entries.insert(entries.end(), node.entry(index_, at), node.entry(index_, node.count));
  return entries;
}

void Tree::isTreeInsert(Target& target, std::uint32_t record, Path& path) {
  if (path.depth == 0) (void)FindPlace(target, path);
  StoreBig(&target.bytes[index_.entry_size - n::kPointerWidth], record);
  InsertAt(path, path.depth - 1, path.leaf().at, target.bytes.data());
}

void Tree::InsertAt(Path& path, int step, int at, const Byte* entry) {
  const std::uint32_t number = path.step(step).node;
  const Node node = Load(number, -1);
  if (!index_.is_compressed() && node.used + index_.entry_size < file_.limit())
    return flatins(number, node, at, entry);
  StoreEntries(path, step, WithEntry(step, node, at, entry), node.level,
               [&] { return LowerShare(node, at); });
}

void Tree::flatins(std::uint32_t number, const Node& node, int at, const Byte* entry) {
  if (at > node.count) isFatal(kGrowSource, __LINE__);
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

// Where compressed entries are split: behind the first one that ends at or past half of their
// bytes.
int Tree::comphalf(const Byte* entries, int count) const {
  const std::size_t half = (isCompEntries(index_, entries, count, nullptr) + n::kFirst) / 2;
  const Byte* last = entries;
  std::size_t used = n::kFirst + isStoredSize(index_, nullptr, last);
  int lower = 1;
  for (; lower < count - 1 && used < half; ++lower, last += index_.entry_size)
    used += isStoredSize(index_, last, last + index_.entry_size);
  return lower;
}

// How many entries go to the lower node when a node has no room for a new one at `at`: the first
// half with the new one where it falls, or all old ones when the new one comes behind them, so that
// an ascending run leaves full nodes.
int Tree::LowerShare(const Node& node, int at) const {
  if (at == node.count) return at;
  const int split = index_.is_compressed() ? comphalf(node.entries, node.count) : node.count / 2;
  return at <= split ? split + 1 : split;
}

bool Tree::Fits(const Byte* entries, int count, std::size_t spare) const {
  const std::size_t bytes = index_.is_compressed()
                                ? isCompEntries(index_, entries, count, nullptr)
                                : static_cast<std::size_t>(count) * index_.entry_size;
  return bytes + spare + n::kFirst < file_.limit();
}

// Moves a split so that, if that can be, both parts have room for another entry. Above the leaves a
// part that is full at once would be split by every new leaf, and the tree would grow a level each
// time.
int Tree::LeaveRoom(const Byte* entries, int count, int lower) const {
  const auto has_room = [&](int first, int last) {
    const Byte* const from = entries + static_cast<std::size_t>(first) * index_.entry_size;
    return Fits(from, last - first, index_.entry_size + index_.count_bytes());
  };
  while (lower + 1 < count && !has_room(lower, count) && has_room(0, lower + 1)) ++lower;
  while (lower > 1 && !has_room(0, lower) && has_room(lower - 1, count)) --lower;
  return lower;
}

// Stores entries in the node of a path's step; when they are too many, in two: `lower_share` says
// how many go to the new one.
template <typename Share>
void Tree::StoreEntries(Path& path, int step, const std::vector<Byte>& entries, int node_level,
                        Share lower_share) {
  const int count = static_cast<int>(entries.size() / index_.entry_size);
  if (!Fits(entries.data(), count)) return Split(path, step, entries, node_level, lower_share());
  StoreNode(path.step(step).node, entries.data(), count, node_level);
}

// Stores `lower` entries in a new node and the rest in the old one.
void Tree::Split(Path& path, int step, const std::vector<Byte>& entries, int node_level,
                 int lower) {
  const int count = static_cast<int>(entries.size() / index_.entry_size);
  const std::uint32_t number = path.step(step).node;
  index_.edge.depth = 0;
  const auto entry_at = [&](int i) {
    return &entries[static_cast<std::size_t>(i) * index_.entry_size];
  };
  if (node_level > 0) lower = LeaveRoom(entries.data(), count, lower);
  // Long compressed keys may make a half too large. A node filled up leaves a rest that fits.
  while (lower > 1 && !Fits(entry_at(0), lower)) --lower;
  while (lower + 1 < count && !Fits(entry_at(lower), count - lower)) ++lower;
  if (!Fits(entry_at(0), lower) || !Fits(entry_at(lower), count - lower))
    isFatal(kGrowSource, __LINE__);

  const std::uint32_t new_node = NewNode();
  StoreNode(new_node, entry_at(0), lower, node_level);
  const Target for_lower = EntryForChild(index_, entry_at(lower - 1), new_node);
  if (step > 0) {
    InsertSeparator(path, step - 1, for_lower, entry_at(count - 1));
    StoreNode(number, entry_at(lower), count - lower, node_level);
    return;
  }
  // The root keeps its number and moves up a level.
  const std::uint32_t upper_node = NewNode();
  StoreNode(upper_node, entry_at(lower), count - lower, node_level);
  const Target for_upper = EntryForChild(index_, entry_at(count - 1), upper_node);
  Byte root[2 * kMostEntry];
  std::memcpy(root, for_lower.bytes.data(), index_.entry_size);
  std::memcpy(root + index_.entry_size, for_upper.bytes.data(), index_.entry_size);
  StoreNode(number, root, 2, node_level + 1);
}

// Enters a new lower node before the node that it was split off. The last entry of a level, which
// counts as without bound, may have fallen behind its child's keys: `upper_last`, the greatest one
// that stays, then takes its place, so that the entries remain in order.
void Tree::InsertSeparator(Path& path, int step, const Target& for_lower, const Byte* upper_last) {
  const Path::Step& here = path.step(step);
  const Node node = Load(here.node, -1);
  const bool behind =
      here.at + 1 == node.count && isTargetCmp(index_, node.entry(index_, here.at), upper_last) < 0;
  if (!behind) return InsertAt(path, step, here.at, for_lower.bytes.data());
  std::vector<Byte>& entries = WithEntry(step, node, here.at, for_lower.bytes.data());
  std::memcpy(&entries[entries.size() - index_.entry_size], upper_last,
              index_.entry_size - n::kPointerWidth);
  StoreEntries(path, step, entries, node.level, [&] { return LowerShare(node, here.at); });
}

// Takes an entry out of a node. Compressed, the next one may need more room then. Above the leaves
// the bound of a last entry goes to the one before, and down the right edge below it.
void Tree::RemoveAt(Path& path, int step) {
  const Path::Step& here = path.step(step);
  const Node node = Load(here.node, -1);
  const std::size_t size = index_.entry_size;
  const std::size_t at = static_cast<std::size_t>(here.at) * size;
  std::vector<Byte>& entries = TakeEntries(step, node, node.count);
  Target bound;
  const bool passes_on = node.level > 0 && at > 0 && at + size == entries.size();
  if (passes_on) {
    std::memcpy(bound.bytes.data(), &entries[at], size);
    std::memcpy(&entries[at - size], &entries[at], size - n::kPointerWidth);
  }
  const int node_level = node.level;
  const auto begin = entries.begin() + static_cast<std::ptrdiff_t>(at);
  entries.erase(begin, begin + static_cast<std::ptrdiff_t>(size));
  const int left = node.count - 1;
  StoreEntries(path, step, entries, node_level, [&] { return comphalf(entries.data(), left); });
  if (passes_on && node_level > 1) RaiseEdge(bound);
}

// What comes in below a bound that has grown goes under the last entries on the way to it: they
// take it over, one by one, for each may split its node and those above.
void Tree::RaiseEdge(const Target& bound) {
  for (bool raised = true; raised;) {
    raised = false;
    Path path;
    (void)FindPlace(bound, path);
    for (int step = path.depth - 2; step >= 0 && !raised; --step) {
      const Path::Step& here = path.step(step);
      const Node node = Load(here.node, -1);
      if (here.at + 1 < node.count ||
          isTargetCmp(index_, node.entry(index_, here.at), bound.bytes.data()) >= 0)
        continue;
      std::vector<Byte>& entries = TakeEntries(step, node, node.count);
      std::memcpy(&entries[entries.size() - index_.entry_size], bound.bytes.data(),
                  index_.entry_size - n::kPointerWidth);
      const int node_level = node.level, count = node.count;
      StoreEntries(path, step, entries, node_level,
                   [&] { return comphalf(entries.data(), count); });
      raised = true;
    }
  }
  index_.edge.depth = 0;
}

void Tree::isTreeDelete(const Target& target, std::uint32_t record, Path& path) {
  index_.edge.depth = 0;
  const Byte* const entry = path.depth == 0 ? isTreeMatch(target, path) : isTreeCurr(path);
  const std::size_t bytes = index_.length + index_.counter_width;
  if (entry == nullptr || std::memcmp(entry, target.bytes.data(), bytes) != 0 ||
      RecordOf(entry) != record)
    throw Failure{EBADFILE};
  // Nodes that become empty go, up to the first one that keeps an entry.
  int step = path.depth - 1;
  std::array<std::uint32_t, kMostDepth> emptied;
  std::size_t count = 0;
  while (step > 0 && path.step(step).count == 1) emptied[count++] = path.step(step--).node;
  const Path::Step& here = path.step(step);
  if (step == 0 && here.count == 1) {
    StoreNode(here.node, nullptr, 0, 0);
  } else {
    RemoveAt(path, step);
  }
  for (std::size_t i = 0; i < count; ++i) isPutFree(file_, FreeKind::kNode, emptied[i]);
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

std::uint32_t Tree::Renumber(const Byte* key, bool store) {
  if (!store) ReserveLists(0);
  if (store) index_.edge.depth = 0;
  std::uint32_t next = 0;
  RenumberBelow(index_.root, -1, key, store, next);
  return next;
}

void Tree::RenumberBelow(std::uint32_t number, int level, const Byte* key, bool store,
                         std::uint32_t& next) {
  const Node node = Load(number, level);
  const std::size_t size = index_.entry_size;
  const int count = node.count, node_level = node.level;
  std::vector<Byte>& entries = TakeEntries(node_level, node, count);
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
    const std::uint32_t before = next;
    RenumberBelow(RecordOf(entry), node_level - 1, key, store, next);
    if (order > 0) break;
    if (order < 0) continue;
    // A bound takes the last counter below it, or one of its own when there is none.
    if (next == before) ++next;
    StoreBigWidth(counter, index_.counter_width, next - 1);
  }
  if (store) StoreNode(number, entries.data(), count, node_level);
}

// A number is off the list on disk before its node is used: should the process die, nobody else
// gets it.
std::uint32_t Tree::NewNode() {
  const std::uint32_t node = isGetFree(file_, FreeKind::kNode);
  isFreeWrite(file_);
  isHeadFields(file_);
  return node;
}

void Tree::ListBelow(std::uint32_t number, int level, std::vector<std::uint32_t>& nodes) {
  if (nodes.size() > file_.free_nodes.highest) throw Failure{EBADFILE};  // some occur twice
  const Node node = Load(number, level);
  std::vector<std::uint32_t> children;
  for (int i = 0; node.level > 0 && i < node.count; ++i)
    children.push_back(RecordOf(node.entry(index_, i)));
  const int below = node.level - 1;
  for (const std::uint32_t child : children) ListBelow(child, below, nodes);
  nodes.push_back(number);
}

std::vector<std::uint32_t> Tree::Nodes() {
  std::vector<std::uint32_t> nodes;
  ListBelow(index_.root, -1, nodes);
  return nodes;
}

// ---- building

void TreeBuilder::Add(const Target& target, std::uint32_t record) {
  Target entry = target;
  StoreBig(&entry.bytes[index_.entry_size - n::kPointerWidth], record);
  AddTo(0, entry.bytes.data());
}

void TreeBuilder::AddTo(std::size_t level, const Byte* entry) {
  if (level == levels_.size()) levels_.emplace_back();
  const Byte* const before = levels_[level].last(index_.entry_size);
  std::size_t bytes = isStoredSize(index_, before, entry);
  if (n::kFirst + levels_[level].stored + bytes >= file_.limit()) {
    const std::uint32_t number = isNextNode(file_);
    const Target up = EntryForChild(index_, before, number);
    Store(number, level);
    AddTo(level + 1, up.bytes.data());
    bytes = isStoredSize(index_, nullptr, entry);
  }
  Level& filled = levels_[level];
  filled.entries.insert(filled.entries.end(), entry, entry + index_.entry_size);
  filled.stored += bytes;
}

void TreeBuilder::Store(std::uint32_t number, std::size_t level) {
  Level& full = levels_[level];
  const int count = static_cast<int>(full.entries.size() / index_.entry_size);
  Tree(file_, index_).StoreNode(number, full.entries.data(), count, static_cast<int>(level));
  full.entries.clear();
  full.stored = 0;
}

void TreeBuilder::Finish() {
  for (std::size_t level = 0; level + 1 < levels_.size(); ++level) {
    const std::uint32_t number = isNextNode(file_);
    const Target up = EntryForChild(index_, levels_[level].last(index_.entry_size), number);
    Store(number, level);
    AddTo(level + 1, up.bytes.data());
  }
}

void TreeBuilder::StoreRoot() {
  if (!levels_.empty()) Store(index_.root, levels_.size() - 1);
}

}  // namespace isam
