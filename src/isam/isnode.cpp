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
    bytes = isCompEntries(index_, entries, count, node + n::kFirst);
  } else if (count > 0) {
    std::memcpy(node + n::kFirst, entries, bytes);
  }
  StoreBig(node, static_cast<std::uint16_t>(bytes + n::kFirst));
  std::memset(node + n::kFirst + bytes, 0, file_.node_size - n::kFirst - bytes);
  node[file_.node_size - n::kLevelFromEnd] = static_cast<Byte>(level);
  isPutNode(file_, node, number);
}

}  // namespace isam
