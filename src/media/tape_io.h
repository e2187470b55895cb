// A backup volume being read: its descriptor and the operations that hand out blocks and records.
//
// This room delimits records and converts nothing inside them. Records are handed out as views
// into the block at hand, valid until the next call. What ends a volume early is reported here,
// once, with the volume's name and the place; `damaged` then tells the caller that input was left.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "datarep/byte_order.h"
#include "media/drive.h"
#include "media/input_stream.h"
#include "media/sdf.h"

namespace tolvane {

// Input kinds, as the pipeline chooses them.
enum class InputKind : char {
  kMsdosText = 'D',  // lines that end CR LF
  kUnixText = 'U',   // lines that end LF
  kTape = ' ',       // labels, fixed or variable blocks
  kCopyg = 'G',      // 36-bit COPYG blocks
  kElement = 'E',    // element file
  kSdf = 'S',        // labels, fixed or variable blocks of SDF words
};
[[nodiscard]] constexpr bool IsText(InputKind kind) {
  return kind == InputKind::kMsdosText || kind == InputKind::kUnixText;
}
// Whether the volume holds 36-bit words, whose beginning tells what they are.
[[nodiscard]] constexpr bool IsWordKind(InputKind kind) {
  return kind == InputKind::kCopyg || kind == InputKind::kElement || kind == InputKind::kSdf;
}

// The words of a volume of a 36-bit kind, behind its headers.
struct SdfVolume {
  SdfVolume(const std::string& name, WordStream::Source source)
      : words(name, std::move(source)), reader(words) {}
  WordStream words;
  SdfReader reader;
  SdfLabel label;
};

// Each record of a variable block begins with a descriptor of this many bytes, which its length
// includes; so does each block.
inline constexpr std::size_t kDescriptorWidth = 4;

// A volume being read. Whoever opened it may settle its sizes before the first record (a user's
// answer, an option that prevails over the label); the rest is for the reading operations.
struct TapeIo {
  std::int32_t block_size = 0;   // bytes of a block (fixed), of the last block read (variable)
  std::int32_t record_size = 0;  // bytes of a record (fixed), last descriptor's length (variable)
  std::int64_t blocks_read = 0;
  std::int64_t counted_from = 0;  // ... before those that the volume's trailer label counts
  std::int64_t bytes_read = 0;    // of a file of fixed blocks
  std::int64_t records = 0;       // records handed out

  InputKind kind = InputKind::kTape;
  bool variable_blocked = false;  // else blocks have one size
  bool end_of_file = false;
  bool labelled = false;         // a VOL1 or HDR1 was found
  bool has_label_sizes = false;  // its HDR2 told the sizes
  bool damaged = false;          // the volume was not read to its end
  bool has_early_block = false;  // the first data block stands in `early_block`
  bool passed_end = false;       // what stands behind the data has been seen to
  bool is_later_volume = false;
  bool warned_of_tail = false;   // told that variable blocks are longer than they say
  bool warned_of_rest = false;   // told that blocks end in part of a record
  bool warned_of_split = false;  // told that lines are longer than a record

  std::string device;              // the path
  std::int32_t volume_number = 0;  // from HDR1; the one expected when volumes change
  std::string volume_serial;       // from VOL1; "UNIX" or "MSDOS" for text
  std::string file_label;          // from HDR1 or the COPYG header, else the path's base name
  std::string copyg_qualifier;     // the other name of the COPYG header

  std::unique_ptr<Drive> drive;  // a tape; null for a file
  DeviceNames names;
  InputStream stream;                  // a file; closed for a tape
  std::span<const Byte> block;         // what is left of the block at hand
  std::vector<Byte> assembled;         // a line padded, or a record put together from blocks
  std::vector<Byte> rest;              // what a block left behind its last whole record
  std::vector<Byte> early_block;       // a data block met where a label was looked for
  std::vector<Byte> text;              // bytes of text blocks of a tape not yet made lines
  std::span<const Byte> words_left{};  // a 36-bit kind: of the block or record at hand
  std::size_t last_word_block = kCopygBlockBytes;  // ... bytes of the block before
  std::unique_ptr<SdfVolume> sdf;                  // ... its words

  [[nodiscard]] bool is_text() const { return IsText(kind); }
  [[nodiscard]] bool in_words() const { return IsWordKind(kind); }
  // Whether the words stand in COPYG blocks, all of one size, whatever labels say.
  [[nodiscard]] bool word_blocks() const { return in_words() && kind != InputKind::kSdf; }
  [[nodiscard]] bool is_tape() const { return drive != nullptr; }
};

// What to open, and how the caller takes its records.
struct TapeInRequest {
  std::string path{};  // empty: the device that the environment names
  std::int32_t record_size = 0;
  std::int32_t block_size = 0;
  InputKind kind = InputKind::kTape;
  bool fixed = true;
  BeforeWait before_wait = nullptr;
};

// Opens an input and reads its labels: a tape device, tape images or a file; of the 36-bit kinds
// also the header and the label of the SDF file, which it announces. Null with errno set, or with
// errno 0 when the input is empty.
[[nodiscard]] std::unique_ptr<TapeIo> openTapeIn(const TapeInRequest& request);

// Reads the labels at the front of a volume. 1 when the first data block comes next, 0 to give up,
// with errno set.
[[nodiscard]] int readHdr(TapeIo& tape);

// Puts in volume `number`: the next of the list, or the one that somebody is asked to mount. False
// to give up.
[[nodiscard]] bool ChangeVolume(Drive& drive, const std::string& device, std::int32_t number);

// Reads the COPYG header, if there is one, and the label of the SDF file, and makes the words
// behind them what comes next. False after messages, with errno set.
[[nodiscard]] bool OpenWords(TapeIo& tape);

// The next bytes of a volume of words, at most `most`, whatever its blocks are; valid until the
// next call. None at the end.
[[nodiscard]] std::span<const Byte> getCopygSdfBlk(TapeIo& tape, std::size_t most);

// Handles what stands behind the data, at a tape mark or the end of a file: 1 when reading goes on
// on a new volume. Nothing is read of this one any more.
[[nodiscard]] int readEof(TapeIo& tape);

// Rewinds a device and closes. The destructor closes without rewinding.
void closeTapeIn(TapeIo& tape);

// Makes the next block or line the block at hand and returns its length, without the descriptor of
// a variable block; 0 at a tape mark and at the end, and after an error, which has been reported.
// Of a file of fixed blocks as many whole records as are there come at once.
std::size_t getBlk(TapeIo& tape);

// One record handed out. `length` is the length in the record's descriptor: for variable records
// it counts the descriptor's own 4 bytes, which `data` does not hold. 0 at the end.
struct TapeRecord {
  std::span<const Byte> data;
  std::int32_t length = 0;
};

// The next record of a kind that has no words, on the next volume when this one is at its end.
// `data` is valid until the next call. A variable record of more than `capacity` data bytes is
// refused with a message, as if the input ended; fixed records have tape.record_size bytes, the
// last one fewer when the input ends inside it.
[[nodiscard]] TapeRecord getTapeIn(TapeIo& tape, std::int32_t capacity);

}  // namespace tolvane
