#include "datarep/sorter.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <utility>

namespace tolvane {
namespace {

constexpr std::size_t kRunBuffer = std::size_t{256} << 10;

}  // namespace

Sorter::Sorter(std::size_t item_size, Less less, std::size_t memory)
    : size_(item_size),
      less_(std::move(less)),
      capacity_(std::max<std::size_t>(2, memory / item_size)) {}

Sorter::Sorter(std::size_t item_size, std::size_t sorted_bytes, std::size_t memory)
    : Sorter(
          item_size,
          [item_size](const Byte* a, const Byte* b) { return std::memcmp(a, b, item_size) < 0; },
          memory) {
  sorted_bytes_ = sorted_bytes;
}

bool Sorter::Add(const Byte* item) {
  if (items_.size() == capacity_ * size_ && !SpillRun()) return false;
  items_.insert(items_.end(), item, item + size_);
  return true;
}

void Sorter::SortMemory() {
  // Byte by byte, where not too many bytes differ at all.
  constexpr std::size_t kMostPositions = 16;
  if (sorted_bytes_ > 0 && !items_.empty()) {
    std::vector<Byte> differences(sorted_bytes_);
    for (std::size_t at = size_; at < items_.size(); at += size_)
      for (std::size_t i = 0; i < sorted_bytes_; ++i)
        differences[i] = static_cast<Byte>(differences[i] | (items_[at + i] ^ items_[i]));
    std::vector<std::size_t> positions;
    for (std::size_t i = 0; i < sorted_bytes_; ++i)
      if (differences[i] != 0) positions.push_back(i);
    if (positions.size() <= kMostPositions) return SortByBytes(positions);
  }
  SortByOrder();
}

void Sorter::SortByOrder() {
  std::vector<std::uint32_t> order(items_.size() / size_);
  std::iota(order.begin(), order.end(), 0U);
  std::sort(order.begin(), order.end(), [this](std::uint32_t a, std::uint32_t b) {
    return less_(&items_[a * size_], &items_[b * size_]);
  });
  std::vector<Byte> sorted(items_.size());
  Byte* to = sorted.data();
  for (const std::uint32_t item : order) {
    std::memcpy(to, &items_[item * size_], size_);
    to += size_;
  }
  items_.swap(sorted);
}

// Distributes the items by one position after the other, the last one first; each time those of one
// value keep their order.
void Sorter::SortByBytes(const std::vector<std::size_t>& positions) {
  std::vector<Byte> sorted(items_.size());
  for (auto position = positions.rbegin(); position != positions.rend(); ++position) {
    std::array<std::size_t, 256> place{};
    for (std::size_t at = *position; at < items_.size(); at += size_) ++place[items_[at]];
    std::size_t next = 0;
    for (std::size_t& count : place) next += std::exchange(count, next) * size_;
    for (std::size_t at = 0; at < items_.size(); at += size_) {
      std::size_t& to = place[items_[at + *position]];
      std::memcpy(&sorted[to], &items_[at], size_);
      to += size_;
    }
    items_.swap(sorted);
  }
}

bool Sorter::SeekTo(std::int64_t item) {
  return std::fseek(file_.get(), static_cast<long>(item) * static_cast<long>(size_), SEEK_SET) == 0;
}

// Heaps have their last element in front; here it is the run with the least item.
bool Sorter::IsLater(std::size_t a, std::size_t b) const {
  return less_(&runs_[b].buffer[runs_[b].at], &runs_[a].buffer[runs_[a].at]);
}

// Writes the items at hand behind the runs in the file, sorted, as another run.
bool Sorter::SpillRun() {
  if (!file_) file_.reset(std::tmpfile());
  SortMemory();
  const auto items = static_cast<std::int64_t>(items_.size() / size_);
  if (!file_ || !SeekTo(spilled_) ||
      std::fwrite(items_.data(), 1, items_.size(), file_.get()) != items_.size())
    return !(failed_ = true);
  Run& run = runs_.emplace_back();
  run.next = spilled_;
  spilled_ += items;
  run.end = spilled_;
  items_.clear();
  return true;
}

bool Sorter::Sort() {
  if (runs_.empty()) {
    SortMemory();
    return true;
  }
  if (!items_.empty() && !SpillRun()) return false;
  if (std::fflush(file_.get()) != 0) return !(failed_ = true);
  items_ = {};
  for (std::size_t i = 0; i < runs_.size(); ++i) {
    if (!Refill(runs_[i])) return false;
    heap_.push_back(i);
  }
  std::make_heap(heap_.begin(), heap_.end(),
                 [this](std::size_t a, std::size_t b) { return IsLater(a, b); });
  return true;
}

// Reads the next items of a run; an ended run keeps an empty buffer.
bool Sorter::Refill(Run& run) {
  const auto items = std::min<std::int64_t>(
      run.end - run.next, static_cast<std::int64_t>(std::max<std::size_t>(1, kRunBuffer / size_)));
  run.buffer.resize(static_cast<std::size_t>(items) * size_);
  run.at = 0;
  run.have = run.buffer.size();
  if (items == 0) return true;
  if (!SeekTo(run.next) || std::fread(run.buffer.data(), size_, static_cast<std::size_t>(items),
                                      file_.get()) != static_cast<std::size_t>(items))
    return !(failed_ = true);
  run.next += items;
  return true;
}

const Byte* Sorter::Next() {
  if (runs_.empty()) {
    if (given_ == items_.size()) return nullptr;
    given_ += size_;
    return &items_[given_ - size_];
  }
  const auto later = [this](std::size_t a, std::size_t b) { return IsLater(a, b); };
  // The run that gave the last item goes on first.
  if (given_ > 0) {
    Run& run = runs_[heap_.back()];
    run.at += size_;
    if (run.at == run.have && !Refill(run)) return nullptr;
    if (run.have == 0) {
      heap_.pop_back();
    } else {
      std::push_heap(heap_.begin(), heap_.end(), later);
    }
  }
  if (heap_.empty()) return nullptr;
  ++given_;
  std::pop_heap(heap_.begin(), heap_.end(), later);
  const Run& run = runs_[heap_.back()];
  return &run.buffer[run.at];
}

}  // namespace tolvane
