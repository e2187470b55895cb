#include "sorter.h"

#include <algorithm>
#include <numeric>

namespace isamck {
namespace {

constexpr std::size_t kRunBuffer = std::size_t{256} << 10;

}  // namespace

Sorter::Sorter(std::size_t item_size, Less less, std::size_t memory)
    : size_(item_size),
      less_(std::move(less)),
      capacity_(std::max<std::size_t>(2, memory / item_size)) {}

bool Sorter::Add(const Byte* item) {
  if (items_.size() == capacity_ * size_ && !SpillRun()) return false;
  items_.insert(items_.end(), item, item + size_);
  return true;
}

void Sorter::SortMemory() {
  order_.resize(items_.size() / size_);
  std::iota(order_.begin(), order_.end(), 0U);
  std::sort(order_.begin(), order_.end(), [this](std::uint32_t a, std::uint32_t b) {
    return less_(&items_[a * size_], &items_[b * size_]);
  });
}

bool Sorter::SpillRun() {
  if (!file_) file_.reset(std::tmpfile());
  SortMemory();
  if (!file_ || std::fseek(file_.get(), static_cast<long>(spilled_) * static_cast<long>(size_),
                           SEEK_SET) != 0)
    return !(failed_ = true);
  for (const std::uint32_t item : order_)
    if (std::fwrite(&items_[item * size_], size_, 1, file_.get()) != 1) return !(failed_ = true);
  Run& run = runs_.emplace_back();
  run.next = spilled_;
  spilled_ += static_cast<std::int64_t>(order_.size());
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
  order_ = {};
  for (std::size_t i = 0; i < runs_.size(); ++i) {
    if (!Refill(runs_[i])) return false;
    heap_.push_back(i);
  }
  std::make_heap(heap_.begin(), heap_.end(), [this](std::size_t a, std::size_t b) {
    return less_(&runs_[b].buffer[runs_[b].at], &runs_[a].buffer[runs_[a].at]);
  });
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
  if (std::fseek(file_.get(), static_cast<long>(run.next) * static_cast<long>(size_), SEEK_SET) !=
          0 ||
      std::fread(run.buffer.data(), size_, static_cast<std::size_t>(items), file_.get()) !=
          static_cast<std::size_t>(items))
    return !(failed_ = true);
  run.next += items;
  return true;
}

const Sorter::Byte* Sorter::Next() {
  if (runs_.empty()) {
    if (given_ == order_.size()) return nullptr;
    return &items_[order_[given_++] * size_];
  }
  const auto later = [this](std::size_t a, std::size_t b) {
    return less_(&runs_[b].buffer[runs_[b].at], &runs_[a].buffer[runs_[a].at]);
  };
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

}  // namespace isamck
