// A backup file on disk, or what stands in its place (a pipe, a terminal), as a stream of bytes
// handed out as views. A regular file is read in large pieces; anything else by one read at a
// time, of whatever is there, and `before_wait` is called first, because such a read may block.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "datarep/byte_order.h"

namespace tolvane {

// Called before a read that may block; null: nothing is.
using BeforeWait = void (*)();

// One read of at most `room` bytes, tried again some times after errors that pass by. Returns the
// bytes read, 0 also when the user ends the input by a signal, -1 with errno set after an error.
[[nodiscard]] std::int64_t ReadPatiently(int fd, std::span<Byte> room, BeforeWait before_wait);

class InputStream {
 public:
  InputStream() = default;
  ~InputStream();
  InputStream(const InputStream&) = delete;
  InputStream& operator=(const InputStream&) = delete;

  // False with errno set when the file cannot be opened or is a directory.
  [[nodiscard]] bool Open(const std::string& path);

  // At least `bytes` bytes from the current place on, fewer only at the end or on an error. The
  // view may be longer than asked for; it is valid until the next call of Peek. Memory is taken
  // as bytes arrive, whatever was asked for.
  [[nodiscard]] std::span<const Byte> Peek(std::size_t bytes);
  // Withholds the trailer of the stream: as many of its last `most` bytes as `measure` says of
  // them. To be called before the first of them was passed over.
  using Measure = std::function<std::size_t(std::span<const Byte>)>;
  void WithholdTrailer(std::size_t most, Measure measure);
  // What was withheld, once the stream has ended.
  [[nodiscard]] std::span<const Byte> trailer() const { return {buffer_.data() + end_, trailer_}; }
  // Passes over bytes that the last Peek has shown, at most as many. What it showed behind them
  // stays valid until the next Peek.
  void Skip(std::size_t bytes) { start_ += bytes; }

  // A file whose reads do not wait for anybody.
  [[nodiscard]] bool is_regular() const { return is_regular_; }
  // The error of the read that ended the stream; 0 at a plain end.
  [[nodiscard]] int error() const { return error_; }

  // Called before each read of what is no regular file.
  BeforeWait before_wait = nullptr;

 private:
  [[nodiscard]] bool Fill();
  void EndStream();
  [[nodiscard]] std::size_t Shown() const {
    const std::size_t held = end_ - start_;
    return at_end_ ? held : held - std::min(held, withheld_);
  }

  int fd_ = -1;
  bool is_regular_ = false;
  bool at_end_ = false;
  int error_ = 0;
  std::vector<Byte> buffer_;
  std::size_t start_ = 0;  // first byte not yet passed over
  std::size_t end_ = 0;    // one past the last byte read
  std::size_t withheld_ = 0;
  Measure measure_trailer_;
  std::size_t trailer_ = 0;  // bytes behind end_
};

}  // namespace tolvane
