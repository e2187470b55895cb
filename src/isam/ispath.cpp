// The way down a tree and along its leaves.

#include "isam/isnode.h"

namespace isam {

void isPathClear(File& file) {
  ++file.epoch;
  for (Index& index : file.indexes) index.edge.depth = 0;
}

// Goes down to the entry that `find` finds in each node; returns the leaf.
template <typename Find>
inline Node Tree::isPathDown(Path& path, Find find) {
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
    if (node.level == 0) return node;
    number = RecordOf(node.entry(index_, at));
    level = node.level - 1;
    if (level == 0 && number >= 1) file_.index.Prefetch(file_.node_offset(number), file_.node_size);
  }
}

// A path behind the last entry of a leaf goes on to the next leaf.
const Byte* Tree::EntryOrNext(const Node& leaf, Path& path) {
  const int at = path.leaf().at;
  if (at < leaf.count) return leaf.entry(index_, at);
  --path.leaf().at;
  return isTreeNext(path);
}

const Byte* Tree::isTreeMatch(const Target& target, Path& path) {
  const Node leaf = isPathDown(path, [&](const Node& node, int count) {
    return isNodeMatch(node, count, target.bytes.data());
  });
  return EntryOrNext(leaf, path);
}

const Byte* Tree::isTreeGreat(const Byte* key, std::size_t length, bool equal, Path& path) {
  Index prefix = index_;
  prefix.length = length;
  const Node leaf = isPathDown(path, [&](const Node& node, int count) {
    return FirstNot(index_, node.entries, count, [&](const Byte* entry) {
      const int order = isKeyCmp(prefix, entry, key);
      return equal ? order < 0 : order <= 0;
    });
  });
  return EntryOrNext(leaf, path);
}

bool Tree::FindPlace(const Target& target, Path& path) {
  const std::size_t bytes = index_.length + index_.counter_width;
  if (index_.edge.depth > 0) {
    // Keys often come in ascending order: behind the last one of all no search is needed.
    const Node last = Load(index_.edge.leaf().node, 0);
    if (last.count > 0 &&
        isTargetCmp(index_, last.entry(index_, last.count - 1), target.bytes.data()) < 0) {
      path = index_.edge;
      path.epoch = file_.epoch;
      path.leaf().at = path.leaf().count = last.count;
      return false;
    }
  }
  const Node leaf = isPathDown(path, [&](const Node& node, int count) {
    return isNodeMatch(node, count, target.bytes.data());
  });
  const int at = path.leaf().at;
  if (at < leaf.count) return std::memcmp(leaf.entry(index_, at), target.bytes.data(), bytes) == 0;
  if (path.is_behind_all()) index_.edge = path;
  return false;
}

// Completes a path from its lowest step down to a leaf: to its first or last entry.
const Byte* Tree::DownTo(Path& path, bool last) {
  for (;;) {
    Path::Step& step = path.leaf();
    const Node node = Load(step.node, -1);
    step.count = node.count;
    if (node.level == 0) return node.count > 0 ? node.entry(index_, step.at) : nullptr;
    if (path.depth == kMostDepth) throw Failure{EBADFILE};
    const std::uint32_t child = RecordOf(node.entry(index_, step.at));
    const Node below = Load(child, node.level - 1);
    path.step(path.depth++) = {child, last ? below.count - 1 : 0, below.count};
  }
}

const Byte* Tree::isTreeFirst(Path& path) {
  path.depth = 1;
  path.epoch = file_.epoch;
  path.step(0) = {index_.root, 0, 0};
  return DownTo(path, false);
}

const Byte* Tree::isTreeLast(Path& path) {
  path.depth = 1;
  path.epoch = file_.epoch;
  path.step(0) = {index_.root, Load(index_.root, -1).count - 1, 0};
  return DownTo(path, true);
}

const Byte* Tree::isTreeNext(Path& path) {
  if (++path.leaf().at < path.leaf().count) return isTreeCurr(path);
  for (int depth = path.depth - 1; depth > 0; --depth) {
    Path::Step& step = path.step(depth - 1);
    if (step.at + 1 >= step.count) continue;
    ++step.at;
    path.depth = depth;
    return DownTo(path, false);
  }
  path.leaf().at = path.leaf().count;
  return nullptr;
}

const Byte* Tree::isTreePrev(Path& path) {
  if (--path.leaf().at >= 0) return isTreeCurr(path);
  for (int depth = path.depth - 1; depth > 0; --depth) {
    Path::Step& step = path.step(depth - 1);
    if (step.at == 0) continue;
    --step.at;
    path.depth = depth;
    return DownTo(path, true);
  }
  path.leaf().at = -1;
  return nullptr;
}

const Byte* Tree::isTreeRecord(const Byte* key, std::uint32_t record, Path& path) {
  const Byte* entry = isTreeMatch(MakeTarget(index_, key, 0), path);
  while (entry != nullptr && isKeyMatch(index_, entry, key)) {
    if (RecordOf(entry) == record) return entry;
    entry = isTreeNext(path);
  }
  return nullptr;
}

const Byte* Tree::isTreeCurr(const Path& path) {
  const Node node = Load(path.leaf().node, 0);
  if (path.leaf().at < 0 || path.leaf().at >= node.count) throw Failure{EBADFILE};
  return node.entry(index_, path.leaf().at);
}

}  // namespace isam
