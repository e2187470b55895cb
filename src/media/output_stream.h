// A file being written in whole units: the records of a flat file or the blocks of a backup. Units
// are gathered and written in large pieces where nobody can tell the difference: Flush sends out
// what is held back and is called before whatever lets somebody look (a read that may wait, a
// message, the end). What is no regular file gets each unit at once.
//
// The death of the process leaves whole units in a regular file, as far as the system allows: units
// within a page of the file are written together, and one that goes on in the next page by itself.
//
// A unit that cannot be written is reported with its number; the units after it are tried all the
// same or, where they would cover what is missing, lost with it. What a failed write left of a unit
// is cut off again.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "datarep/byte_order.h"
#include "reports/losses.h"

namespace tolvane {

class OutputStream {
 public:
  // `noun` names a unit in messages: "Record", "Block".
  explicit OutputStream(const char* noun, AfterLoss after_loss = AfterLoss::kGoOn)
      : losses_(noun, after_loss) {}
  ~OutputStream();
  OutputStream(const OutputStream&) = delete;
  OutputStream& operator=(const OutputStream&) = delete;

  // Opens for writing, emptying a file that exists. False with errno set.
  [[nodiscard]] bool Open(const std::string& path);
  [[nodiscard]] bool is_open() const { return fd_ >= 0; }

  // Writes what is no unit and stands before the first: a header, or a file without units. False
  // with errno set.
  [[nodiscard]] bool WriteAtOnce(const Byte* from, std::size_t bytes);

  // Room for one unit of at most `bytes` bytes, valid until the next call, across flushes.
  Byte* Room(std::size_t bytes) {
    if (piece_.size() - have_ < bytes) [[unlikely]]
      MakeRoom(bytes);
    return piece_.data() + have_;
  }
  // The unit that was built in the room is complete with its first `bytes` bytes.
  void Commit(std::size_t bytes) {
    ends_.push_back(have_ + bytes);
    have_ += bytes;
    if (have_ - start_ >= piece_limit_) Flush();
  }

  // Sends out what is held back. Losses are reported and counted, which is not a failure here.
  void Flush();
  // Flushes and closes; nothing when it is closed already. False with errno set when closing
  // failed.
  [[nodiscard]] bool Close();

  // Units that could not be written.
  [[nodiscard]] std::int64_t lost() const { return losses_.count(); }

 private:
  void MakeRoom(std::size_t bytes);
  [[nodiscard]] std::size_t EndOfWrite(std::size_t unit) const;
  void LoseUnit(std::size_t unit, std::size_t written, int error);

  std::string path_;
  int fd_ = -1;
  bool is_regular_ = false;
  std::size_t piece_limit_ = 0;
  std::vector<Byte> piece_;
  std::size_t start_ = 0;          // of the first byte not yet written
  std::size_t have_ = 0;           // one past the last committed byte
  std::vector<std::size_t> ends_;  // where each of its units ends
  off_t position_ = 0;             // of the piece in the file
  std::int64_t handed_out_ = 0;    // units in earlier pieces
  Losses losses_;
  bool flushing_ = false;
};

}  // namespace tolvane
