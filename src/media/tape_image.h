// Tape images: files that stand for a tape, block for block and mark for mark. Two containers are
// in use; all their numbers are little-endian.
//
//   .tap  Each block stands between two equal 4-byte markers that give its length; a marker of
//         zero is a tape mark. An odd block is followed by a pad byte, or in a twin form not: the
//         first odd block shows which. Bit 31 of a marker: the block was read with an error.
//         FFFFFFFE is an erase gap of 4 bytes, FFFEFFFF half a gap (skip 2), FFFFFFFF the end of
//         the medium. Other values in the top bits are private and refused.
//   .aws  Each chunk has a 6-byte header: its length (2), the length of the chunk before it (2,
//         0 at the start and after a mark), flags (1): 80 first chunk of a block, 20 last one, 40
//         tape mark; and a zero byte. Compressed chunks (flags 01, 02) are refused.
//
// Two marks in a row are the logical end of the tape, the end of the file that of the medium.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "datarep/byte_order.h"
#include "media/input_stream.h"
#include "media/output_stream.h"

namespace tolvane {

enum class ImageFormat { kTap, kAws };

// A path with the prefix of its container; nothing but the path when it has none.
struct ImagePath {
  ImageFormat format = ImageFormat::kTap;
  std::string list;  // what stands behind the prefix
  bool is_image = false;
};
[[nodiscard]] ImagePath ParseImagePath(const std::string& path);

// The name for files that stand beside a volume: that of its file, or of the first of its images.
[[nodiscard]] std::string NameOfVolume(const std::string& path);

// One object of an image.
struct TapeObject {
  enum class Kind { kBlock, kMark, kGap, kEnd, kDamage };
  Kind kind = Kind::kEnd;
  std::uint64_t offset = 0;      // of its first byte in the file
  std::span<const Byte> data{};  // kBlock; valid until the next object is read
  bool read_error = false;       // kBlock: it was read with an error when the image was made
  std::string damage{};          // kDamage: what is wrong
};

// Reads an image object by object. Damage ends it: the same object comes again.
class TapeImageReader {
 public:
  explicit TapeImageReader(ImageFormat format, BeforeWait before_wait = nullptr) : format_(format) {
    stream_.before_wait = before_wait;
  }

  // False with errno set.
  [[nodiscard]] bool Open(const std::string& path);
  // The next object; at the end of the file or medium kEnd, however often it is asked. An object
  // that the file does not hold whole is damage, so that a declared length takes no memory.
  [[nodiscard]] TapeObject Next();

 private:
  enum class Padding { kUnknown, kPadded, kBare };

  TapeObject NextTap();
  TapeObject TapBlock(std::uint32_t marker);
  TapeObject NextAws();
  TapeObject AwsBlock();
  std::string ChunkFault(std::size_t taken, std::uint16_t previous);
  TapeObject Skip(TapeObject object, std::size_t bytes);
  TapeObject Damaged(std::string what) const;

  ImageFormat format_;
  InputStream stream_;
  std::uint64_t offset_ = 0;
  Padding padding_ = Padding::kUnknown;
  std::uint16_t previous_length_ = 0;  // .aws: of the chunk before
  std::vector<Byte> joined_;           // .aws: a block of several chunks
};

// Writes an image from its beginning. Nothing follows an object that could not be written.
class TapeImageWriter {
 public:
  explicit TapeImageWriter(ImageFormat format) : format_(format) {}

  // Empties a file that exists. False with errno set.
  [[nodiscard]] bool Open(const std::string& path) { return stream_.Open(path); }
  // Failures show in lost() and in Close. A block of .tap has at most 16,777,215 bytes.
  void WriteBlock(std::span<const Byte> block);
  void WriteMark();
  // False with errno set, or when an object could not be written (which has been reported).
  [[nodiscard]] bool Close();
  void Flush() { stream_.Flush(); }

  // Bytes written so far.
  [[nodiscard]] std::uint64_t size() const { return size_; }
  // Objects that could not be written.
  [[nodiscard]] std::int64_t lost() const { return stream_.lost(); }

 private:
  void PutAwsChunk(std::span<const Byte> chunk, Byte flags, Byte* to);

  ImageFormat format_;
  OutputStream stream_{"Tape object", AfterLoss::kStop};
  std::uint64_t size_ = 0;
  std::uint16_t previous_length_ = 0;
};

}  // namespace tolvane
