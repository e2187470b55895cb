#include "index_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "platform/system_calls.h"

namespace isamck {

using tolvane::LoadBig;
using tolvane::sys;
namespace layout = isam::layout;

ReadFile::~ReadFile() {
  if (fd_ >= 0) sys.close(fd_);
}

ReadFile::ReadFile(ReadFile&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), size_(other.size_) {}

bool ReadFile::Open(const std::string& path, bool for_locks) {
  fd_ = sys.open(path.c_str(), (for_locks ? O_RDWR : O_RDONLY) | O_CLOEXEC, 0);
  if (fd_ < 0 && for_locks) fd_ = sys.open(path.c_str(), O_RDONLY | O_CLOEXEC, 0);
  struct stat status {};
  if (fd_ < 0 || sys.fstat(fd_, &status) != 0) return false;
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return false;
  }
  size_ = static_cast<std::uint64_t>(status.st_size);
  return true;
}

std::size_t ReadFile::ReadAt(std::uint64_t offset, Byte* to, std::size_t bytes) const {
  std::size_t done = 0;
  while (done < bytes) {
    const ssize_t got = sys.pread(fd_, to + done, bytes - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

namespace {

bool IsReadable(const std::string& path) { return sys.access(path.c_str(), R_OK) == 0; }

// The first line of the link file, its line feed included, as the engine reads it.
std::string FollowLink(const std::string& base) {
  ReadFile link;
  if (!link.Open(base + ".lnk", false)) return base;
  char line[1600];
  const std::size_t got =
      link.ReadAt(0, reinterpret_cast<Byte*>(line), sizeof line - 1);  // NOLINT: text as bytes
  if (got == 0) return base;
  const std::string text(line, got);
  const auto end = text.find('\n');
  return text.substr(0, end == std::string::npos ? end : end + 1);
}

}  // namespace

FileNames FindFiles(const std::string& name) {
  FileNames names{.base = name, .index = {}, .data = {}};
  for (const char* suffix : {".idx", ".dat"})
    if (name.ends_with(suffix) && IsReadable(name)) names.base = name.substr(0, name.size() - 4);
  names.base = FollowLink(names.base);
  names.index = names.base + ".idx";
  const char* const preference = std::getenv("ZORISAMDAT");
  const bool bare = preference != nullptr && (*preference == 'n' || *preference == 'N');
  const std::string suffixed = names.base + ".dat";
  const std::string& preferred = bare ? names.base : suffixed;
  const std::string& other = bare ? suffixed : names.base;
  names.data = !IsReadable(preferred) && IsReadable(other) ? other : preferred;
  return names;
}

std::size_t Header::slot_length() const {
  return record_length + layout::slot::kStatusWidth +
         (maximum_length > 0 ? layout::slot::kVariableWidth : 0) +
         ((flags & layout::dictionary::kFlagTrailerWord) != 0 ? layout::slot::kTrailerWidth : 0);
}

std::optional<Header> ReadDictionary(const ReadFile& index, std::string& why) {
  namespace d = layout::dictionary;
  Byte head[8];
  if (index.ReadAt(0, head, sizeof head) < sizeof head) {
    why = "it is too short for a dictionary";
    return std::nullopt;
  }
  if (!std::equal(d::kSignature.begin(), d::kSignature.end(), head)) {
    why = "it does not begin as an index file";
    return std::nullopt;
  }
  Header header;
  header.node_size = std::size_t{LoadBig<std::uint16_t>(head + d::kNodeSizeLess1)} + 1;
  if (header.node_size % layout::kNodeUnit != 0 ||
      header.node_size > layout::kNodeUnit * layout::kMaxNodeUnits) {
    why = "its node size is impossible: " + std::to_string(header.node_size);
    return std::nullopt;
  }
  std::vector<Byte> node;
  if (!ReadNode(index, header, layout::kDictionaryNode, node)) {
    why = "it ends inside the dictionary";
    return std::nullopt;
  }
  const auto word = [&](std::size_t at) { return LoadBig<std::uint32_t>(&node[at]); };
  const auto half = [&](std::size_t at) { return LoadBig<std::uint16_t>(&node[at]); };
  header.duplicate_width = node[d::kDuplicateWidth];
  header.record_length = half(d::kRecordLength);
  header.maximum_length = half(d::kMaxRecordLength);
  header.flags = half(header.node_size - d::kFlagsFromEnd);
  header.key_count = half(d::kKeyCount);
  header.key_node = word(d::kKeyNode);
  header.free_data = word(d::kFreeData);
  header.free_nodes = word(d::kFreeNodes);
  header.high_record = word(d::kHighRecord);
  header.high_node = word(d::kHighNode);
  header.change_counter = word(d::kChangeCounter);
  header.unique_id = word(d::kUniqueId);
  header.audit = word(d::kAudit);
  header.schema1 = word(d::kSchema1);
  header.schema2 = word(d::kSchema2);
  if (header.duplicate_width < 1 || header.duplicate_width > 4) {
    why = "its duplicate counters are " + std::to_string(header.duplicate_width) + " bytes wide";
    return std::nullopt;
  }
  return header;
}

std::optional<Key> ParseKeyEntry(const Byte* entry, std::size_t length, std::size_t record_length,
                                 std::string& why) {
  namespace k = layout::key_entry;
  constexpr unsigned kTypeMask = 0x3F, kDescending = 0x80;
  Key key;
  if (length <= k::kNoPartsMost) return key;
  key.root = LoadBig<std::uint32_t>(entry + k::kRoot);
  key.flags = static_cast<unsigned>(entry[k::kHalfFlags]) << 1;
  const std::size_t part_size = key.has(kNullKey) ? k::kNullPartSize : k::kPartSize;
  if (key.flags >= 64 || (length - k::kParts) % part_size != 0 || length >= k::kTooLong) {
    why = "a key entry of " + std::to_string(length) + " bytes with flags " +
          std::to_string(key.flags);
    return std::nullopt;
  }
  for (std::size_t at = k::kParts; at < length; at += part_size) {
    std::size_t bytes = LoadBig<std::uint16_t>(entry + at + k::kPartLength);
    if (at == k::kParts && (bytes & k::kDuplicatesBit) != 0) {
      key.flags |= kDuplicates;
      bytes &= ~std::size_t{k::kDuplicatesBit};
    }
    const Byte* const type = entry + at + part_size - 1;
    KeyPart part{.start = LoadBig<std::uint16_t>(entry + at + k::kPartStart),
                 .length = bytes,
                 .descending = (*type & kDescending) != 0,
                 .null_byte = key.has(kNullKey) ? type[-1] : Byte{0}};
    const unsigned code = *type & kTypeMask;
    if (code >= kTypes || bytes % UnitOf(static_cast<KeyType>(code)) != 0 ||
        (record_length > 0 && part.start + bytes > record_length)) {
      why = "a key part of type " + std::to_string(*type) + ", " + std::to_string(bytes) +
            " bytes at " + std::to_string(part.start);
      return std::nullopt;
    }
    part.type = static_cast<KeyType>(code);
    key.length += bytes;
    key.parts.push_back(part);
  }
  if (key.length <= kMostKeyBytes) return key;
  why = "a key of " + std::to_string(key.length) + " bytes";
  return std::nullopt;
}

bool ReadNode(const ReadFile& index, const Header& header, std::uint32_t number,
              std::vector<Byte>& node) {
  node.resize(header.node_size);
  return number >= 1 &&
         index.ReadAt(header.node_offset(number), node.data(), node.size()) == node.size();
}

}  // namespace isamck
