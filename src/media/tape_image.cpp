#include "media/tape_image.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tolvane {
namespace {

// .tap markers.
constexpr std::size_t kMarkerWidth = 4;
constexpr std::uint32_t kTapMark = 0x00000000;
constexpr std::uint32_t kTapGap = 0xFFFFFFFE;
constexpr std::uint32_t kTapHalfGap = 0xFFFEFFFF;
constexpr std::uint32_t kTapEnd = 0xFFFFFFFF;
constexpr std::uint32_t kTapError = 0x80000000;
constexpr std::uint32_t kTapLength = 0x00FFFFFF;

// .aws chunk headers: offsets (widths) and flags.
constexpr std::size_t kChunkHeader = 6;
constexpr std::size_t kChunkLength = 0;    // (2)
constexpr std::size_t kChunkPrevious = 2;  // (2)
constexpr std::size_t kChunkFlags = 4;     // (1)
constexpr std::size_t kChunkZero = 5;      // (1)
constexpr Byte kFirstChunk = 0x80;
constexpr Byte kLastChunk = 0x20;
constexpr Byte kChunkMark = 0x40;
constexpr Byte kCompressed = 0x03;
constexpr std::size_t kMostInChunk = 65535;
constexpr std::size_t kMostInBlock = 16 << 20;

constexpr const char* kPrefixes[] = {"tap:", "aws:"};

std::string Hex(std::uint32_t value) {
  char text[12];
  std::snprintf(text, sizeof text, "%08X", value);
  return text;
}

}  // namespace

ImagePath ParseImagePath(const std::string& path) {
  for (const ImageFormat format : {ImageFormat::kTap, ImageFormat::kAws}) {
    const std::string prefix = kPrefixes[static_cast<int>(format)];
    if (path.starts_with(prefix)) return {format, path.substr(prefix.size()), true};
  }
  return {.list = path};
}

std::string NameOfVolume(const std::string& path) {
  const ImagePath image = ParseImagePath(path);
  return image.is_image ? image.list.substr(0, image.list.find_first_of(",=")) : path;
}

bool TapeImageReader::Open(const std::string& path) { return stream_.Open(path); }

TapeObject TapeImageReader::Next() { return format_ == ImageFormat::kTap ? NextTap() : NextAws(); }

// Passes over an object that is read.
TapeObject TapeImageReader::Skip(TapeObject object, std::size_t bytes) {
  object.offset = offset_;
  stream_.Skip(bytes);
  offset_ += bytes;
  return object;
}

TapeObject TapeImageReader::Damaged(std::string what) const {
  return {.kind = TapeObject::Kind::kDamage, .offset = offset_, .damage = std::move(what)};
}

TapeObject TapeImageReader::NextTap() {
  const auto shown = stream_.Peek(kMarkerWidth);
  if (shown.empty()) {
    if (stream_.error() != 0) return Damaged(std::strerror(stream_.error()));
    return {.kind = TapeObject::Kind::kEnd, .offset = offset_};
  }
  if (shown.size() < kMarkerWidth) return Damaged("the image ends inside a marker");
  const auto marker = LoadLittle<std::uint32_t>(shown.data());
  switch (marker) {
    case kTapMark:
      return Skip({.kind = TapeObject::Kind::kMark}, kMarkerWidth);
    case kTapGap:
      return Skip({.kind = TapeObject::Kind::kGap}, kMarkerWidth);
    case kTapHalfGap:
      return Skip({.kind = TapeObject::Kind::kGap}, kMarkerWidth / 2);
    case kTapEnd:
      return {.kind = TapeObject::Kind::kEnd, .offset = offset_};
    default:
      return TapBlock(marker);
  }
}

TapeObject TapeImageReader::TapBlock(std::uint32_t marker) {
  if ((marker & ~(kTapError | kTapLength)) != 0)
    return Damaged("marker " + Hex(marker) + " is a private object of another program");
  const std::size_t length = marker & kTapLength;
  const std::size_t odd = length % 2;
  const auto shown = stream_.Peek(kMarkerWidth + length + odd + kMarkerWidth);
  const auto closes_at = [&](std::size_t at) {
    return shown.size() >= at + kMarkerWidth &&
           LoadLittle<std::uint32_t>(shown.data() + at) == marker;
  };
  const std::size_t bare = kMarkerWidth + length;
  std::size_t closing = bare + (padding_ == Padding::kBare ? 0 : odd);
  if (odd != 0 && padding_ == Padding::kUnknown) {
    if (!closes_at(closing) && closes_at(bare)) closing = bare;
    if (closes_at(closing)) padding_ = closing == bare ? Padding::kBare : Padding::kPadded;
  }
  if (shown.size() < closing + kMarkerWidth)
    return Damaged("the image ends inside a block of " + std::to_string(length) + " bytes");
  if (!closes_at(closing))
    return Damaged("the opening marker " + Hex(marker) + " is closed by " +
                   Hex(LoadLittle<std::uint32_t>(shown.data() + closing)));
  return Skip({.kind = TapeObject::Kind::kBlock,
               .data = shown.subspan(kMarkerWidth, length),
               .read_error = (marker & kTapError) != 0},
              closing + kMarkerWidth);
}

// What is wrong with the chunk header at `taken` bytes from here; empty when nothing is.
std::string TapeImageReader::ChunkFault(std::size_t taken, std::uint16_t previous) {
  const auto shown = stream_.Peek(taken + kChunkHeader);
  if (shown.size() < taken + kChunkHeader) return "the image ends inside a chunk header";
  const Byte* const header = shown.data() + taken;
  const auto said = LoadLittle<std::uint16_t>(header + kChunkPrevious);
  if (said != previous)
    return "the chunk header says that " + std::to_string(said) + " bytes stand before it, not " +
           std::to_string(previous);
  if ((header[kChunkFlags] & kCompressed) != 0 || (header[kChunkZero] & 0x80) != 0)
    return "the chunk is compressed; compressed images are not supported";
  const auto length = LoadLittle<std::uint16_t>(header + kChunkLength);
  if ((header[kChunkFlags] & kChunkMark) != 0)
    return length != 0 ? "a tape mark with a length" : "";
  if (length == 0) return "a chunk without data";
  if (stream_.Peek(taken + kChunkHeader + length).size() < taken + kChunkHeader + length)
    return "the image ends inside a chunk of " + std::to_string(length) + " bytes";
  return "";
}

TapeObject TapeImageReader::NextAws() {
  const auto header = stream_.Peek(kChunkHeader);
  if (header.empty()) {
    if (stream_.error() != 0) return Damaged(std::strerror(stream_.error()));
    return {.kind = TapeObject::Kind::kEnd, .offset = offset_};
  }
  if (std::string fault = ChunkFault(0, previous_length_); !fault.empty())
    return Damaged(std::move(fault));
  if ((stream_.Peek(kChunkHeader)[kChunkFlags] & kChunkMark) == 0) return AwsBlock();
  previous_length_ = 0;
  return Skip({.kind = TapeObject::Kind::kMark}, kChunkHeader);
}

// A block of one chunk is handed out as it lies; the chunks of a longer one are joined.
TapeObject TapeImageReader::AwsBlock() {
  std::size_t taken = 0;
  std::uint16_t previous = previous_length_;
  joined_.clear();
  for (bool first = true;; first = false) {
    if (std::string fault = ChunkFault(taken, previous); !fault.empty())
      return Damaged(std::move(fault));
    const auto shown = stream_.Peek(taken + kChunkHeader);
    const Byte flags = shown[taken + kChunkFlags];
    if ((flags & kChunkMark) != 0) return Damaged("a tape mark inside a block");
    if (((flags & kFirstChunk) != 0) != first)
      return Damaged(first ? "a chunk without the first of its block"
                           : "a block begins before the last one has ended");
    if (joined_.size() > kMostInBlock) return Damaged("a block of more than 16 MiB");
    previous = LoadLittle<std::uint16_t>(&shown[taken + kChunkLength]);
    const auto data =
        stream_.Peek(taken + kChunkHeader + previous).subspan(taken + kChunkHeader, previous);
    taken += kChunkHeader + previous;
    const bool last = (flags & kLastChunk) != 0;
    if (!first || !last) joined_.insert(joined_.end(), data.begin(), data.end());
    if (!last) continue;
    previous_length_ = previous;
    return Skip(
        {.kind = TapeObject::Kind::kBlock, .data = first ? data : std::span<const Byte>(joined_)},
        taken);
  }
}

void TapeImageWriter::WriteBlock(std::span<const Byte> block) {
  std::size_t bytes = 0;
  if (format_ == ImageFormat::kTap) {
    const std::size_t padded = block.size() + block.size() % 2;
    bytes = padded + 2 * kMarkerWidth;
    Byte* const to = stream_.Room(bytes);
    const auto marker = static_cast<std::uint32_t>(block.size());
    StoreLittle(to, marker);
    std::copy(block.begin(), block.end(), to + kMarkerWidth);
    if (padded > block.size()) to[kMarkerWidth + block.size()] = 0;
    StoreLittle(to + kMarkerWidth + padded, marker);
  } else {
    const std::size_t chunks =
        std::max<std::size_t>(1, (block.size() + kMostInChunk - 1) / kMostInChunk);
    bytes = block.size() + chunks * kChunkHeader;
    Byte* to = stream_.Room(bytes);
    for (std::size_t i = 0; i < chunks; ++i) {
      const auto chunk =
          block.subspan(i * kMostInChunk, std::min(kMostInChunk, block.size() - i * kMostInChunk));
      PutAwsChunk(
          chunk, static_cast<Byte>((i == 0 ? kFirstChunk : 0) | (i + 1 == chunks ? kLastChunk : 0)),
          to);
      to += kChunkHeader + chunk.size();
    }
  }
  stream_.Commit(bytes);
  size_ += bytes;
}

void TapeImageWriter::PutAwsChunk(std::span<const Byte> chunk, Byte flags, Byte* to) {
  StoreLittle(to + kChunkLength, static_cast<std::uint16_t>(chunk.size()));
  StoreLittle(to + kChunkPrevious, previous_length_);
  to[kChunkFlags] = flags;
  to[kChunkZero] = 0;
  std::copy(chunk.begin(), chunk.end(), to + kChunkHeader);
  previous_length_ = static_cast<std::uint16_t>(chunk.size());
}

void TapeImageWriter::WriteMark() {
  const bool is_tap = format_ == ImageFormat::kTap;
  const std::size_t bytes = is_tap ? kMarkerWidth : kChunkHeader;
  Byte* const to = stream_.Room(bytes);
  if (is_tap) {
    StoreLittle(to, kTapMark);
  } else {
    PutAwsChunk({}, kChunkMark, to);
  }
  stream_.Commit(bytes);
  size_ += bytes;
}

bool TapeImageWriter::Close() { return stream_.Close() && stream_.lost() == 0; }

}  // namespace tolvane
