// Sorts items of one size, more of them than memory should hold: sorted runs go to a temporary
// file, which the system removes with the process, and are merged.
//
// Every item is added, Sort is called once, and Next gives them until it gives null; failed() then
// tells whether that was the end.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

#include "datarep/byte_order.h"

namespace tolvane {

class Sorter {
 public:
  // Whether one item comes before another; a total order.
  using Less = std::function<bool(const Byte*, const Byte*)>;
  static constexpr std::size_t kMemory = std::size_t{32} << 20;

  // `memory` bytes of items are sorted at once, with as many again for work space.
  Sorter(std::size_t item_size, Less less, std::size_t memory = kMemory);
  // By the bytes of the items. Items whose first `sorted_bytes` are equal must come in order.
  Sorter(std::size_t item_size, std::size_t sorted_bytes, std::size_t memory = kMemory);

  // Takes a copy of an item. False with errno set when the temporary file cannot be written.
  [[nodiscard]] bool Add(const Byte* item);
  // Ends adding. False with errno set when the temporary file fails.
  [[nodiscard]] bool Sort();
  // The next item, valid until the next call; null at the end, and with errno set when the
  // temporary file cannot be read.
  [[nodiscard]] const Byte* Next();
  [[nodiscard]] bool failed() const { return failed_; }

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  // A sorted run in the file, and what has been read of it.
  struct Run {
    std::int64_t next = 0, end = 0;  // items of the file, from the first that is not read
    std::vector<Byte> buffer;
    std::size_t at = 0, have = 0;  // bytes of the buffer: the item to give next, and all
  };

  [[nodiscard]] bool SpillRun();
  [[nodiscard]] bool SeekTo(std::int64_t item);
  [[nodiscard]] bool IsLater(std::size_t a, std::size_t b) const;
  void SortMemory();
  void SortByOrder();
  void SortByBytes(const std::vector<std::size_t>& positions);
  [[nodiscard]] bool Refill(Run& run);

  std::size_t size_;
  std::size_t sorted_bytes_ = 0;  // 0: by less_ alone
  Less less_;
  std::size_t capacity_;  // items
  std::vector<Byte> items_;
  std::size_t given_ = 0;  // bytes of items_, or items of the runs
  std::unique_ptr<std::FILE, CloseFile> file_;
  std::int64_t spilled_ = 0;  // items in the file
  std::vector<Run> runs_;
  // The runs that go on, as a heap; the one that gave the last item stands behind it.
  std::vector<std::size_t> heap_;
  bool failed_ = false;
};

}  // namespace tolvane
