// The innermost part of every operation, kept in one place for inlining: a node read and checked,
// and the search among its entries.
#pragma once

#include <cstring>

#include "isam/istree.h"

namespace isam {

inline constexpr char kGrowSource[] = "isgrow.c";  // of fatal messages about nodes

// A node of a level, or of any when `level` is -1. Its sizes are checked: contradictions end the
// process with the fatal message.
inline Node Tree::Load(std::uint32_t number, int level) {
  Node node;
  node.bytes = isGetNode(file_, number, file_.node_scratch.get());
  node.used = tolvane::LoadBig<std::uint16_t>(node.bytes + layout::tree_node::kUsed);
  node.level = node.bytes[file_.node_size - layout::tree_node::kLevelFromEnd];
  if (node.used < layout::tree_node::kFirst || node.used >= file_.limit() ||
      (level >= 0 && node.level != level)) [[unlikely]]
    isFatal(kGrowSource, __LINE__);
  if (index_.is_compressed()) [[unlikely]] {
    isCompScan(index_, node.bytes, node.used, file_.entries_scratch);
    node.entries = file_.entries_scratch.data();
    node.count = static_cast<int>(file_.entries_scratch.size() / index_.entry_size);
  } else {
    node.entries = node.bytes + layout::tree_node::kFirst;
    node.count = index_.EntriesIn(node.used - layout::tree_node::kFirst);
    if (static_cast<std::size_t>(node.count) * index_.entry_size !=
        node.used - layout::tree_node::kFirst) [[unlikely]]
      isFatal(kGrowSource, __LINE__);
  }
  if (node.count == 0 && (node.level > 0 || level >= 0)) [[unlikely]]
    isFatal(kGrowSource, __LINE__);
  return node;
}

// The first of `count` entries for which `less` does not hold. The steps depend on the count alone,
// so that the processor goes on without guessing.
template <typename Less>
inline int FirstNot(const Index& index, const Byte* entries, int count, Less less) {
  const std::size_t size = index.entry_size;
  const Byte* low = entries;
  auto left = static_cast<std::size_t>(count);
  while (left > 1) {
    const std::size_t half = left / 2, bytes = half * size;
    low = less(low + bytes - size) ? low + bytes : low;
    left -= half;
  }
  if (left == 1 && less(low)) low += size;
  return index.EntriesIn(static_cast<std::size_t>(low - entries));
}

// The first of the `count` first entries that is not less than a target.
inline int Tree::isNodeMatch(const Node& node, int count, const Byte* target) const {
  using tolvane::LoadBig;
  if (!index_.bytewise)
    return FirstNot(index_, node.entries, count,
                    [&](const Byte* entry) { return isTargetCmp(index_, entry, target) < 0; });
  const std::size_t bytes = index_.length + index_.counter_width;
  if (bytes == sizeof(std::uint64_t)) {
    const auto wanted = LoadBig<std::uint64_t>(target);
    return FirstNot(index_, node.entries, count,
                    [wanted](const Byte* entry) { return LoadBig<std::uint64_t>(entry) < wanted; });
  }
  return FirstNot(index_, node.entries, count,
                  [=](const Byte* entry) { return std::memcmp(entry, target, bytes) < 0; });
}

}  // namespace isam
