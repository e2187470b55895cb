// The blocks of a COPYG volume being written: records of quarter-words between control words, in
// the form that WordStream and SdfReader read.
//
// What stands before the records is given by a header file of text: 120 octal numbers of 18 bits,
// 8 a line in fields of 6 columns, of which 116 count. They are the volume's header (28 words), the
// head of a block (2 words) and the label of the SDF file (28 words). The head is that of every
// block but for its checksum.
//
// The blocks are handed to the caller's sink; a failure of the sink is the result.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "datarep/byte_order.h"
#include "media/word_stream.h"

namespace tolvane {

class CopygBlocks {
 public:
  using Sink = std::function<bool(std::span<const Byte>)>;

  // Reads the header file. False after a message.
  [[nodiscard]] bool ReadHeaderFile(const std::string& path);
  // The volume's header, kCopygHeaderBytes bytes, to be written first.
  [[nodiscard]] std::span<const Byte> header() const { return header_; }

  // Adds one record; what is missing of its last word is filled with spaces.
  [[nodiscard]] bool AddRecord(std::span<const std::uint16_t> quarters, const Sink& sink);
  // Ends the file and writes the last block. Warns when the label tells another number or size of
  // records than there were.
  [[nodiscard]] bool Finish(const Sink& sink);

 private:
  [[nodiscard]] bool AddWord(Word word, const Sink& sink);
  [[nodiscard]] bool AddQuarters(std::span<const std::uint16_t> quarters, const Sink& sink);
  [[nodiscard]] bool PutBlock(const Sink& sink);
  void CheckLabel() const;

  std::string path_;
  std::vector<Byte> header_;
  std::vector<std::uint16_t> head_;      // what every block begins with
  std::vector<std::uint16_t> quarters_;  // the block being filled
  std::vector<Byte> block_;              // ... packed
  std::vector<std::uint16_t> padded_;    // a record that does not fill its last word
  Word label_words_ = 0;                 // of a record, as the label tells
  Word label_count_ = 0;
  std::size_t longest_ = 0;  // words of the longest record
  std::int64_t records_ = 0;
};

}  // namespace tolvane
