#include "isam/isnode.h"

namespace isam {

using tolvane::StoreBig;
namespace n = layout::tree_node;

Target MakeTarget(const Index& index, const Byte* key, std::uint32_t counter) {
  Target target;
  std::memcpy(target.bytes.data(), key, index.length);
  tolvane::StoreBigWidth(&target.bytes[index.length], index.counter_width, counter);
  return target;
}

// Stores a whole node.
void Tree::StoreNode(std::uint32_t number, const Byte* entries, int count, int level) {
  Byte* const node = file_.image.get();
  std::size_t bytes = static_cast<std::size_t>(count) * index_.entry_size;
  if (index_.is_compressed()) {
    bytes = isCompKey(index_, entries, count, node + n::kFirst);
  } else {
    std::memcpy(node + n::kFirst, entries, bytes);
  }
  StoreBig(node, static_cast<std::uint16_t>(bytes + n::kFirst));
  std::memset(node + n::kFirst + bytes, 0, file_.node_size - n::kFirst - bytes);
  node[file_.node_size - n::kLevelFromEnd] = static_cast<Byte>(level);
  isPutNode(file_, node, number);
}

// Takes an entry out of a node.
void Tree::RemoveAt(std::uint32_t number, int at) {
  const Node node = Load(number, -1);
  const std::size_t size = index_.entry_size;
  const std::size_t before = static_cast<std::size_t>(at) * size;
  const std::size_t all = static_cast<std::size_t>(node.count) * size;
  std::vector<Byte>& entries = file_.entries_changed;
  entries.assign(node.entries, node.entries + before);
  entries.insert(entries.end(), node.entries + before + size, node.entries + all);
  StoreNode(number, entries.data(), node.count - 1, node.level);
}

}  // namespace isam
