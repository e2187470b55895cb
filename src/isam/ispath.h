// The way from the root of a tree to an entry of a leaf, remembered between operations.
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
    int at;     // the entry
    int count;  // of entries
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

  [[nodiscard]] Step& leaf() { return steps[static_cast<std::size_t>(depth - 1)]; }
  [[nodiscard]] const Step& leaf() const { return steps[static_cast<std::size_t>(depth - 1)]; }
  [[nodiscard]] Step& step(int level) { return steps[static_cast<std::size_t>(level)]; }
  // Whether it leads behind the last entry of the last leaf.
  [[nodiscard]] bool is_behind_all() const {
    return leaf().at == leaf().count &&
           std::all_of(steps.begin(), steps.begin() + depth - 1,
                       [](const Step& step) { return step.at + 1 == step.count; });
  }
};

}  // namespace isam
