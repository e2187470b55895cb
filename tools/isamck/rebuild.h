// Makes the index file of an indexed file anew from its data file: every index packed from the
// left, the free lists, the dictionary. The new file replaces the old one by rename, complete and
// on the medium, or not at all.
#pragma once

#include <vector>

#include "index_file.h"

namespace isamck {

// What to build when the old index file does not tell, or tells it no more.
struct RebuildDescription {
  std::size_t record_length = 0;
  std::size_t node_size = 0;  // 0: the default
  std::vector<Key> keys;
};

// Rebuilds; prints what it finds and does. 0 done, 1 refused (keys occur twice in a unique index;
// nothing is replaced), 2 it cannot be done.
[[nodiscard]] int Rebuild(const FileNames& names, const RebuildDescription& description);

}  // namespace isamck
