// Reading and searching nodes, and the way down the tree and along its leaves.

#include <cstring>

#include "isam/istree.h"

namespace isam {

using tolvane::LoadBig;
using tolvane::StoreBigWidth;
namespace n = layout::tree_node;

namespace {

// One node at a time is looked at; this is where it lies when it is not in the mapping.
NodeScratch scratch;

}  // namespace

Target MakeTarget(const Index& index, const Byte* key, std::uint32_t counter) {
  Target target;
  std::memcpy(target.bytes.data(), key, index.length);
  StoreBigWidth(&target.bytes[index.length], index.counter_width, counter);
  return target;
}

// A node of a level, or of any when `level` is -1. Its sizes are checked.
Node Tree::Load(std::uint32_t number, int level) {
  if (scratch.raw.size() < file_.node_size) scratch.raw.resize(file_.node_size);
  const Byte* const bytes = isGetNode(file_, number, scratch.raw.data());
  Node node;
  node.used = LoadBig<std::uint16_t>(bytes + n::kUsed);
  node.level = bytes[file_.node_size - n::kLevelFromEnd];
  if (node.used < n::kFirst || node.used >= file_.limit() || (level >= 0 && node.level != level))
      [[unlikely]]
    throw Failure{EBADFILE};
  if (index_.is_compressed()) {
    isCompScan(index_, bytes, node.used, scratch.entries);
    node.entries = scratch.entries.data();
    node.count = static_cast<int>(scratch.entries.size() / index_.entry_size);
  } else {
    node.entries = bytes + n::kFirst;
    node.count = static_cast<int>((node.used - n::kFirst) / index_.entry_size);
    if (static_cast<std::size_t>(node.count) * index_.entry_size != node.used - n::kFirst)
      throw Failure{EBADFILE};
  }
  if (node.level > 0 && node.count == 0) throw Failure{EBADFILE};
  return node;
}

namespace {

// The first of `count` entries for which `less` does not hold.
template <typename Less>
inline int FirstNot(int count, Less less) {
  int low = 0;
  while (count > 0) {
    const int half = count / 2;
    const bool right = less(low + half);
    low = right ? low + half + 1 : low;
    count = right ? count - half - 1 : half;
  }
  return low;
}

}  // namespace

int Tree::LowerBound(const Node& node, int count, const Byte* target) const {
  const std::size_t size = index_.entry_size;
  const Byte* const entries = node.entries;
  if (index_.bytewise) {
    const std::size_t bytes = index_.length + index_.counter_width;
    if (bytes == sizeof(std::uint64_t)) {
      const auto wanted = LoadBig<std::uint64_t>(target);
      return FirstNot(count, [=](int i) {
        return LoadBig<std::uint64_t>(entries + static_cast<std::size_t>(i) * size) < wanted;
      });
    }
    return FirstNot(count, [=](int i) {
      return std::memcmp(entries + static_cast<std::size_t>(i) * size, target, bytes) < 0;
    });
  }
  return FirstNot(count, [&](int i) {
    const Byte* const entry = entries + static_cast<std::size_t>(i) * size;
    const int order = isKeyCmpParts(index_, entry, target);
    if (order != 0) return order < 0;
    return std::memcmp(entry + index_.length, target + index_.length, index_.counter_width) < 0;
  });
}

std::uint32_t Tree::RecordOf(const Byte* entry) const {
  return LoadBig<std::uint32_t>(entry + index_.length + index_.counter_width);
}

// Goes down to the entry that `find` finds in each node.
template <typename Find>
void Tree::Descend(Path& path, Find find) {
  std::uint32_t number = index_.root;
  path.depth = 0;
  path.epoch = file_.epoch;
  for (int level = -1;;) {
    const Node node = Load(number, level);
    if (path.depth == kMostDepth) throw Failure{EBADFILE};
    // Above the leaves the last entry stands for everything beyond.
    const int considered = node.level > 0 ? node.count - 1 : node.count;
    const int at = find(node, considered);
    path.step(path.depth++) = {number, at, node.count};
    if (node.level == 0) break;
    number = RecordOf(node.entry(index_, at));
    level = node.level - 1;
    if (level == 0 && number >= 1) file_.index.Prefetch(file_.node_offset(number), file_.node_size);
  }
}

// A path behind the last entry of a leaf goes on to the next leaf.
bool Tree::StepIntoLeaf(Path& path) {
  if (path.leaf().at < path.leaf().count) return true;
  --path.leaf().at;
  return Next(path);
}

bool Tree::Seek(const Target& target, Path& path) {
  Descend(path, [&](const Node& node, int count) {
    return LowerBound(node, count, target.bytes.data());
  });
  return StepIntoLeaf(path);
}

bool Tree::FindPlace(const Target& target, Path& path) {
  bool there = false;
  Descend(path, [&](const Node& node, int count) {
    const int at = LowerBound(node, count, target.bytes.data());
    there = at < node.count && std::memcmp(node.entry(index_, at), target.bytes.data(),
                                           index_.length + index_.counter_width) == 0;
    return at;
  });
  return there;
}

bool Tree::SeekPrefix(const Byte* key, std::size_t length, bool beyond, Path& path) {
  Index prefix = index_;
  prefix.length = length;
  Descend(path, [&](const Node& node, int count) {
    return FirstNot(count, [&](int i) {
      const int order = isKeyCmp(prefix, node.entry(index_, i), key);
      return beyond ? order <= 0 : order < 0;
    });
  });
  return StepIntoLeaf(path);
}

// Completes a path from its lowest step down to a leaf: to its first or last entry.
bool Tree::DownTo(Path& path, bool last) {
  for (;;) {
    Path::Step& step = path.leaf();
    const Node node = Load(step.node, -1);
    step.count = node.count;
    if (node.level == 0) return node.count > 0;
    if (path.depth == kMostDepth) throw Failure{EBADFILE};
    const std::uint32_t child = RecordOf(node.entry(index_, step.at));
    const Node below = Load(child, node.level - 1);
    path.step(path.depth++) = {child, last ? below.count - 1 : 0, below.count};
  }
}

bool Tree::First(Path& path) {
  path.depth = 1;
  path.epoch = file_.epoch;
  path.step(0) = {index_.root, 0, 0};
  return DownTo(path, false);
}

bool Tree::Last(Path& path) {
  path.depth = 1;
  path.epoch = file_.epoch;
  path.step(0) = {index_.root, Load(index_.root, -1).count - 1, 0};
  return DownTo(path, true);
}

bool Tree::Next(Path& path) {
  if (++path.leaf().at < path.leaf().count) return true;
  for (int depth = path.depth - 1; depth > 0; --depth) {
    Path::Step& step = path.step(depth - 1);
    if (step.at + 1 >= step.count) continue;
    ++step.at;
    path.depth = depth;
    return DownTo(path, false);
  }
  path.leaf().at = path.leaf().count;
  return false;
}

bool Tree::Previous(Path& path) {
  if (--path.leaf().at >= 0) return true;
  for (int depth = path.depth - 1; depth > 0; --depth) {
    Path::Step& step = path.step(depth - 1);
    if (step.at == 0) continue;
    --step.at;
    path.depth = depth;
    return DownTo(path, true);
  }
  path.leaf().at = -1;
  return false;
}

const Byte* Tree::EntryAt(const Path& path) {
  const Node node = Load(path.leaf().node, 0);
  if (path.leaf().at < 0 || path.leaf().at >= node.count) throw Failure{EBADFILE};
  return node.entry(index_, path.leaf().at);
}

}  // namespace isam
