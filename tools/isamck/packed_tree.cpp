#include "packed_tree.h"

#include <algorithm>
#include <utility>

#include "key_order.h"

namespace isamck {

using tolvane::StoreBig;
using tolvane::StoreBigWidth;
namespace tree_node = isam::layout::tree_node;

void PackedTree::Finish() {
  for (std::size_t level = 0; level + 1 < levels_.size(); ++level) PassUp(level);
  Seal(levels_.size() - 1, key_.root);
}

void PackedTree::Append(std::size_t level, const Byte* key, std::uint32_t counter,
                        std::uint32_t pointer) {
  if (level == levels_.size()) levels_.emplace_back(header_.node_size);
  const std::size_t width = header_.counter_width(key_);
  for (;;) {
    Level& at = levels_[level];
    const bool first = at.last_key.empty();
    const auto stored = StoredKey(key_, first ? nullptr : at.last_key.data(), key);
    const std::size_t size = stored.size() + width + tree_node::kPointerWidth;
    if (at.used + size >= header_.limit()) {
      PassUp(level);
      continue;
    }
    const bool repeats = !first && stored.empty() && key_.has(kDCompress);
    if (repeats) at.node[at.last_pointer] |= 0x80;
    std::copy(stored.begin(), stored.end(), &at.node[at.used]);
    StoreBigWidth(&at.node[at.used + stored.size()], width, counter);
    at.last_pointer = at.used + stored.size() + width;
    StoreBig(&at.node[at.last_pointer], pointer);
    at.used += size;
    at.last_key.assign(key, key + key_.length);
    at.last_counter = counter;
    return;
  }
}

// Gives the node of a level a number, tells the level above of it, and starts the next one.
void PackedTree::PassUp(std::size_t level) {
  const std::uint32_t number = out_.NewNode();
  Seal(level, number);
  const Level full = std::exchange(levels_[level], Level(header_.node_size));
  Append(level + 1, full.last_key.data(), full.last_counter, number);
}

void PackedTree::Seal(std::size_t level, std::uint32_t number) {
  Level& at = levels_[level];
  StoreBig(&at.node[tree_node::kUsed], static_cast<std::uint16_t>(at.used));
  at.node[header_.node_size - tree_node::kLevelFromEnd] = static_cast<Byte>(level);
  out_.Put(number, at.node);
}

}  // namespace isamck
