#include "new_index.h"

#include <algorithm>
#include <cerrno>

#include "platform/system_calls.h"

namespace isamck {

using tolvane::StoreBig;
using tolvane::sys;
namespace layout = isam::layout;
namespace key_entry = layout::key_entry;
namespace key_node = layout::key_node;

NewIndex::~NewIndex() {
  if (fd_ < 0) return;
  sys.close(fd_);
  (void)sys.unlink(path_.c_str());  // it was not completed
}

bool NewIndex::Open() {
  fd_ = sys.open(path_.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  return fd_ >= 0;
}

void NewIndex::Put(std::uint32_t number, const std::vector<Byte>& node) {
  const std::uint64_t offset = (std::uint64_t{number} - 1) * node.size();
  for (std::size_t done = 0; done < node.size() && !failed_;) {
    const ssize_t n =
        sys.pwrite(fd_, node.data() + done, node.size() - done, static_cast<off_t>(offset + done));
    if (n < 0 && errno == EINTR) continue;
    failed_ = n <= 0;
    done += static_cast<std::size_t>(std::max<ssize_t>(n, 0));
  }
}

void NewIndex::TakeModeOf(int fd) {
  struct stat status {};
  if (sys.fstat(fd, &status) == 0) (void)sys.chmod(path_.c_str(), status.st_mode & 07777);
}

bool NewIndex::Replace(const std::string& name) {
  if (failed_ || sys.fsync(fd_) != 0 || sys.rename(path_.c_str(), name.c_str()) != 0) return false;
  sys.close(fd_);
  fd_ = -1;
  return true;
}

namespace {

std::size_t PartSize(const Key& key) {
  return key.has(kNullKey) ? key_entry::kNullPartSize : key_entry::kPartSize;
}

std::size_t EntrySize(const Key& key) {
  return key_entry::kParts + key.parts.size() * PartSize(key);
}

void StoreKeyEntry(const Key& key, Byte* entry) {
  namespace k = key_entry;
  StoreBig(entry + k::kLength, static_cast<std::uint16_t>(EntrySize(key)));
  StoreBig(entry + k::kRoot, key.root);
  entry[k::kHalfFlags] = static_cast<Byte>(key.flags >> 1);
  for (std::size_t i = 0; i < key.parts.size(); ++i) {
    const KeyPart& part = key.parts[i];
    Byte* const at = entry + k::kParts + i * PartSize(key);
    const std::size_t mark = i == 0 && key.has(kDuplicates) ? k::kDuplicatesBit : 0;
    StoreBig(at + k::kPartLength, static_cast<std::uint16_t>(part.length | mark));
    StoreBig(at + k::kPartStart, static_cast<std::uint16_t>(part.start));
    if (key.has(kNullKey)) at[k::kPartType] = part.null_byte;
    at[PartSize(key) - 1] =
        static_cast<Byte>(static_cast<int>(part.type) | (part.descending ? 0x80 : 0));
  }
}

}  // namespace

std::vector<std::uint32_t> LayOutKeys(Header& header, NewIndex& out) {
  std::vector<std::uint32_t> nodes;
  std::size_t used = header.limit();
  for (Key& key : header.keys) {
    const bool fits = EntrySize(key) + key_entry::kParts + used <= header.limit();
    nodes.push_back(fits ? nodes.back() : out.NewNode());
    if (!fits) used = key_node::kFirst;
    used += EntrySize(key);
    if (!key.parts.empty()) key.root = out.NewNode();
  }
  header.key_node = nodes.empty() ? 0 : nodes.front();
  header.key_count = static_cast<std::uint32_t>(nodes.size());
  return nodes;
}

void WriteKeys(const Header& header, const std::vector<std::uint32_t>& nodes, NewIndex& out) {
  std::vector<Byte> node;
  std::size_t used = 0;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (i == 0 || nodes[i] != nodes[i - 1]) {
      node.assign(header.node_size, 0);
      used = key_node::kFirst;
      std::copy(layout::kKeyNodeMark.begin(), layout::kKeyNodeMark.end(),
                node.end() - static_cast<long>(layout::kMarkFromEnd));
    }
    StoreKeyEntry(header.keys[i], &node[used]);
    used += EntrySize(header.keys[i]);
    if (i + 1 < nodes.size() && nodes[i + 1] == nodes[i]) continue;
    StoreBig(&node[key_node::kUsed], static_cast<std::uint16_t>(used));
    if (i + 1 < nodes.size()) StoreBig(&node[key_node::kNext], nodes[i + 1]);
    out.Put(nodes[i], node);
  }
}

void WriteFreeList(Header& header, const std::vector<bool>& live, NewIndex& out) {
  namespace f = layout::free_node;
  header.free_data = header.free_nodes = 0;
  if ((header.flags & layout::dictionary::kFlagPrecious) != 0) return;
  std::vector<Byte> node;
  std::size_t used = 0;
  const auto write_node = [&] {
    if (header.free_data == 0) return;
    StoreBig(&node[f::kUsed], static_cast<std::uint16_t>(used));
    out.Put(header.free_data, node);
  };
  for (std::size_t number = live.size(); number-- > 1;) {
    if (live[number]) continue;
    if (header.free_data == 0 || used + f::kNumberWidth > header.limit()) {
      write_node();
      node.assign(header.node_size, 0);
      std::copy(layout::kFreeNodeMark.begin(), layout::kFreeNodeMark.end(),
                node.end() - static_cast<long>(layout::kMarkFromEnd));
      StoreBig(&node[f::kNext], header.free_data);
      header.free_data = out.NewNode();
      used = f::kFirst;
    }
    StoreBig(&node[used], static_cast<std::uint32_t>(number));
    used += f::kNumberWidth;
  }
  write_node();
}

void WriteDictionary(const Header& header, NewIndex& out) {
  namespace d = layout::dictionary;
  std::vector<Byte> node(header.node_size);
  std::copy(d::kSignature.begin(), d::kSignature.end(), node.begin());
  node[d::kIndexWord] = node[d::kPointerWord] = 4;
  node[d::kSeven] = 7;
  node[d::kEight] = 8;
  node[d::kDuplicateWidth] = static_cast<Byte>(header.duplicate_width);
  const auto half = [&](std::size_t at, std::size_t value) {
    StoreBig(&node[at], static_cast<std::uint16_t>(value));
  };
  const auto word = [&](std::size_t at, std::uint32_t value) { StoreBig(&node[at], value); };
  half(d::kNodeSizeLess1, header.node_size - 1);
  half(d::kKeyCount, header.key_count);
  half(d::kRecordLength, header.record_length);
  half(d::kMaxRecordLength, header.maximum_length);
  half(header.node_size - d::kFlagsFromEnd, header.flags);
  word(d::kKeyNode, header.key_node);
  word(d::kFreeData, header.free_data);
  word(d::kFreeNodes, header.free_nodes);
  word(d::kHighRecord, header.high_record);
  word(d::kHighNode, out.last_node());
  word(d::kChangeCounter, header.change_counter + 1);
  word(d::kUniqueId, header.unique_id);
  word(d::kAudit, header.audit);
  word(d::kSchema1, header.schema1);
  word(d::kSchema2, header.schema2);
  std::copy(d::kMagic.begin(), d::kMagic.end(), node.end() - static_cast<long>(d::kMagicFromEnd));
  out.Put(layout::kDictionaryNode, node);
}

}  // namespace isamck
