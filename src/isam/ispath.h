// The way from the root of a tree to an entry of a leaf, remembered between operations. It holds as
// long as the file's epoch is its own: any change of the file may have moved the entry.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace isam {

// Both parts of a node split above the leaves take another entry, so that each level doubles what
// a tree holds: node numbers end first.
inline constexpr int kMostDepth = 32;

struct Path {
  struct Step {
    std::uint32_t node;
    int at;     // the entry, from 0; `count`, or -1, at an end that was reached in the leaf
    int count;  // of the node's entries, when it was read
  };
  std::array<Step, kMostDepth> steps;
  int depth = 0;            // 0: it leads nowhere
  std::uint64_t epoch = 0;  // of the file when it was found

  Path() {}  // NOLINT(modernize-use-equals-default): steps beyond the depth are left as they are
  Path(const Path& other) { *this = other; }
  Path& operator=(const Path& other) {
    std::copy_n(other.steps.begin(), other.depth, steps.begin());
    depth = other.depth;
    epoch = other.epoch;
    return *this;
  }

  // The last step. The path must lead somewhere.
  [[nodiscard]] Step& leaf() { return steps[static_cast<std::size_t>(depth - 1)]; }
  [[nodiscard]] const Step& leaf() const { return steps[static_cast<std::size_t>(depth - 1)]; }
  // Counted from the root, 0, downward, against the levels of nodes.
  [[nodiscard]] Step& step(int number) { return steps[static_cast<std::size_t>(number)]; }
  // Whether it leads behind the last entry of the last leaf.
  [[nodiscard]] bool is_behind_all() const {
    return leaf().at == leaf().count &&
           std::all_of(steps.begin(), steps.begin() + depth - 1,
                       [](const Step& step) { return step.at + 1 == step.count; });
  }
};

}  // namespace isam
