// The tree of one index, packed from the left into the nodes of a new index file.
#pragma once

#include <vector>

#include "index_file.h"
#include "new_index.h"

namespace isamck {

// Takes the entries of an index in their order. Every node is filled as far as it goes and stored
// when the next one is begun; the root, in its own node, comes last.
class PackedTree {
 public:
  PackedTree(const Header& header, const Key& key, NewIndex& out)
      : header_(header), key_(key), out_(out), levels_(1, Level(header.node_size)) {}

  // `key` has the key's length.
  void Add(const Byte* key, std::uint32_t counter, std::uint32_t record) {
    Append(0, key, counter, record);
  }
  // Ends adding; a tree without entries is an empty root.
  void Finish();

 private:
  // The node that is being filled on a level; leaves are level 0.
  struct Level {
    explicit Level(std::size_t node_size) : node(node_size) {}
    std::vector<Byte> node;
    std::size_t used = isam::layout::tree_node::kFirst;
    std::size_t last_pointer = 0;  // offset of the last entry's pointer
    std::vector<Byte> last_key;    // empty: no entry yet
    std::uint32_t last_counter = 0;
  };

  void Append(std::size_t level, const Byte* key, std::uint32_t counter, std::uint32_t pointer);
  void PassUp(std::size_t level);
  void Seal(std::size_t level, std::uint32_t number);

  const Header& header_;
  const Key& key_;
  NewIndex& out_;
  std::vector<Level> levels_;
};

}  // namespace isamck
