// Keys as the index orders them, worked out here again and not by the engine: cutting a key out of
// a record, comparing two keys, telling null keys, and reading and writing their stored form.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "index_file.h"

namespace isamck {

// The key of a record, key.length bytes into `to`.
void MakeKey(const Key& key, const Byte* record, Byte* to);

// Negative, zero or positive.
[[nodiscard]] int CompareKeys(const Key& key, const Byte* a, const Byte* b);

// Whether a key is not entered in its index.
[[nodiscard]] bool IsNullKey(const Key& key, const Byte* bytes);

// One entry of a tree node.
struct Entry {
  std::size_t offset = 0;     // in the node
  std::uint32_t counter = 0;  // of duplicates
  std::uint32_t pointer = 0;  // record number, or child node above the leaves
};

// A tree node taken apart. The keys of the entries stand one after another in `keys`.
struct TreeNode {
  unsigned level = 0;
  std::size_t used = 0;
  std::vector<Entry> entries;
  std::vector<Byte> keys;

  [[nodiscard]] const Byte* key_of(std::size_t entry, const Key& key) const {
    return keys.data() + entry * key.length;
  }
};

// Takes a node apart. False when it cannot be one; `why` and `offset` then say what is wrong where.
// The entries before that place are in `node`.
[[nodiscard]] bool ParseTreeNode(const Header& header, const Key& key,
                                 const std::vector<Byte>& bytes, TreeNode& node, std::string& why,
                                 std::size_t& offset);

// The stored form of a key behind `previous` (null for the first of a node).
[[nodiscard]] std::vector<Byte> StoredKey(const Key& key, const Byte* previous, const Byte* bytes);

}  // namespace isamck
