// Sorts items of one size, more of them than memory should hold: sorted runs go to a temporary
// file and are merged. The order is the caller's.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

#include "datarep/byte_order.h"

namespace isamck {

class Sorter {
 public:
  using Byte = tolvane::Byte;
  using Less = std::function<bool(const Byte*, const Byte*)>;

  // `memory` bytes of items are sorted at once.
  Sorter(std::size_t item_size, Less less, std::size_t memory = std::size_t{64} << 20);

  // False with errno set when the temporary file cannot be written.
  [[nodiscard]] bool Add(const Byte* item);
  // Ends adding; Next then gives the items in order, null at the end.
  [[nodiscard]] bool Sort();
  [[nodiscard]] const Byte* Next();
  [[nodiscard]] bool failed() const { return failed_; }

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  struct Run {
    std::int64_t next = 0, end = 0;  // items in the file
    std::vector<Byte> buffer;
    std::size_t at = 0, have = 0;
  };

  [[nodiscard]] bool SpillRun();
  void SortMemory();
  [[nodiscard]] bool Refill(Run& run);

  std::size_t size_;
  Less less_;
  std::size_t capacity_;
  std::vector<Byte> items_;
  std::vector<std::uint32_t> order_;
  std::size_t given_ = 0;
  std::unique_ptr<std::FILE, CloseFile> file_;
  std::int64_t spilled_ = 0;
  std::vector<Run> runs_;
  std::vector<std::size_t> heap_;
  bool failed_ = false;
};

}  // namespace isamck
