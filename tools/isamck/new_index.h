// The index file that a rebuild makes, node by node, under a name of its own until it is complete;
// and everything in it but the trees (packed_tree.h).
//
// Writing does not stop at an error: Replace fails then, and nothing has changed.
#pragma once

#include <string>
#include <vector>

#include "index_file.h"

namespace isamck {

class NewIndex {
 public:
  explicit NewIndex(std::string path) : path_(std::move(path)) {}
  // Removes a file that has not replaced another.
  ~NewIndex();
  NewIndex(const NewIndex&) = delete;
  NewIndex& operator=(const NewIndex&) = delete;

  // False with errno set.
  [[nodiscard]] bool Open();
  // The number of a node that is still to be put; the first is that of the dictionary.
  [[nodiscard]] std::uint32_t NewNode() { return ++last_node_; }
  [[nodiscard]] std::uint32_t last_node() const { return last_node_; }
  // Stores a node, which is as long as all are.
  void Put(std::uint32_t number, const std::vector<Byte>& node);
  // Gives it the access mode of an open file, as far as that goes.
  void TakeModeOf(int fd);
  // Puts the file in the place of `name`, whole and on the medium. False with errno set.
  [[nodiscard]] bool Replace(const std::string& name);

 private:
  std::string path_;
  int fd_ = -1;
  bool failed_ = false;
  std::uint32_t last_node_ = 0;
};

// Gives every key of a header the node of its description, from `out` on, and every index its root,
// in the order in which the engine would have taken them. Returns the description nodes by key.
[[nodiscard]] std::vector<std::uint32_t> LayOutKeys(Header& header, NewIndex& out);

// The key descriptions in the nodes that LayOutKeys has named.
void WriteKeys(const Header& header, const std::vector<std::uint32_t>& nodes, NewIndex& out);

// The free list of the record numbers that are not `live` (by number, from 1), of which the lowest
// is given out first; its head goes into the header. None in a precious file.
void WriteFreeList(Header& header, const std::vector<bool>& live, NewIndex& out);

// The dictionary, when every other node has its number.
void WriteDictionary(const Header& header, NewIndex& out);

}  // namespace isamck
