#include "rebuild.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <limits>
#include <sstream>

#include "check.h"
#include "datarep/sorter.h"
#include "key_order.h"
#include "locks.h"
#include "platform/system_calls.h"
#include "report.h"

namespace isamck {

using tolvane::LoadBig;
using tolvane::StoreBig;
using tolvane::StoreBigWidth;
using tolvane::sys;
namespace layout = isam::layout;

namespace {

constexpr int kDone = 0, kRefused = 1, kImpossible = 2;
constexpr std::uint32_t kUnknownCounter = std::numeric_limits<std::uint32_t>::max();

int Complain(const std::string& name, const std::string& why) {
  std::fprintf(stderr, "isamck: '%s': %s\n", name.c_str(), why.c_str());
  return kImpossible;
}

// The new index file, node by node.
class NewIndex {
 public:
  explicit NewIndex(std::string path) : path_(std::move(path)) {}
  ~NewIndex() {
    if (fd_ < 0) return;
    sys.close(fd_);
    (void)sys.unlink(path_.c_str());  // it was not completed
  }
  NewIndex(const NewIndex&) = delete;
  NewIndex& operator=(const NewIndex&) = delete;

  [[nodiscard]] bool Open(mode_t mode) {
    fd_ = sys.open(path_.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, mode & 0777);
    return fd_ >= 0;
  }
  void Put(const Header& header, std::uint32_t number, const std::vector<Byte>& node) {
    const std::uint64_t offset = (std::uint64_t{number} - 1) * header.node_size;
    for (std::size_t done = 0; done < node.size() && !failed_;) {
      const ssize_t n = sys.pwrite(fd_, node.data() + done, node.size() - done,
                                   static_cast<off_t>(offset + done));
      if (n < 0 && errno == EINTR) continue;
      failed_ = n <= 0;
      done += static_cast<std::size_t>(std::max<ssize_t>(n, 0));
    }
  }
  [[nodiscard]] bool failed() const { return failed_; }
  // Puts the file in the place of `name`, whole and on the medium.
  [[nodiscard]] bool Replace(const std::string& name) {
    if (failed_ || sys.fsync(fd_) != 0 || sys.rename(path_.c_str(), name.c_str()) != 0)
      return false;
    sys.close(fd_);
    fd_ = -1;
    return true;
  }

 private:
  std::string path_;
  int fd_ = -1;
  bool failed_ = false;
};

// Packs the entries of one index, which come in order, into nodes from the leaves up.
class TreeBuilder {
 public:
  TreeBuilder(const Header& header, const Key& key, NewIndex& out, std::uint32_t& last_node)
      : header_(header), key_(key), out_(out), last_node_(last_node) {}

  void Add(const Byte* key, std::uint32_t counter, std::uint32_t record) {
    Append(0, key, counter, record);
  }
  void Finish() {
    if (levels_.empty()) levels_.emplace_back(header_.node_size);
    for (std::size_t level = 0; level + 1 < levels_.size(); ++level) PassUp(level);
    Seal(levels_.size() - 1, key_.root);
  }

 private:
  struct Level {
    explicit Level(std::size_t node_size) : node(node_size) {}
    std::vector<Byte> node;
    std::size_t used = layout::tree_node::kFirst;
    std::size_t last_pointer = 0;  // offset of the last entry's pointer
    std::vector<Byte> last_key;    // empty: no entry yet
    std::uint32_t last_counter = 0;
  };

  void Append(std::size_t level, const Byte* key, std::uint32_t counter, std::uint32_t pointer) {
    if (level == levels_.size()) levels_.emplace_back(header_.node_size);
    const std::size_t width = header_.counter_width(key_);
    for (;;) {
      Level& at = levels_[level];
      const bool first = at.last_key.empty();
      const auto stored = StoredKey(key_, first ? nullptr : at.last_key.data(), key);
      const std::size_t size = stored.size() + width + layout::tree_node::kPointerWidth;
      if (at.used + size >= header_.limit()) {
        PassUp(level);
        continue;
      }
      const bool repeats = !first && stored.empty() && key_.has(kDCompress);
      if (repeats) at.node[at.last_pointer] |= 0x80;
      std::copy(stored.begin(), stored.end(), &at.node[at.used]);
      StoreBigWidth(&at.node[at.used + stored.size()], width, counter);
      at.last_pointer = at.used + stored.size() + width;
      StoreBig(&at.node[at.last_pointer], pointer);
      at.used += size;
      at.last_key.assign(key, key + key_.length);
      at.last_counter = counter;
      return;
    }
  }

  // Gives the node of a level a number, tells the level above of it, and starts the next one.
  void PassUp(std::size_t level) {
    const std::uint32_t number = ++last_node_;
    Seal(level, number);
    const std::vector<Byte> key = levels_[level].last_key;
    const std::uint32_t counter = levels_[level].last_counter;
    levels_[level] = Level(header_.node_size);
    Append(level + 1, key.data(), counter, number);
  }

  void Seal(std::size_t level, std::uint32_t number) {
    Level& at = levels_[level];
    StoreBig(at.node.data(), static_cast<std::uint16_t>(at.used));
    at.node[header_.node_size - layout::tree_node::kLevelFromEnd] = static_cast<Byte>(level);
    out_.Put(header_, number, at.node);
  }

  const Header& header_;
  const Key& key_;
  NewIndex& out_;
  std::uint32_t& last_node_;
  std::vector<Level> levels_;
};

class Rebuilder {
 public:
  Rebuilder(const FileNames& names, const RebuildDescription& description)
      : names_(names), description_(description), out_(names.index + ".new") {}

  int Run();

 private:
  int ReadOld();
  int OpenData();
  void LayOut();
  bool BuildIndex(const Key& key);
  bool CollectEntries(const Key& key, tolvane::Sorter& sorter,
                      const std::vector<std::uint32_t>& counters);
  std::vector<std::uint32_t> OldCounters(const Key& key) const;
  void ReadOldCounters(const Key& key, std::uint32_t node, int level,
                       std::vector<std::uint32_t>& counters, std::uint64_t& visits) const;
  void WriteKeys();
  void WriteFreeList();
  void WriteDictionary();
  int Finish();

  const FileNames& names_;
  const RebuildDescription& description_;
  ReadFile old_index_, data_;
  Header old_, header_;
  NewIndex out_;
  std::uint32_t last_node_ = 0;
  std::vector<bool> live_;  // by record number
  std::uint64_t live_count_ = 0, violations_ = 0;
};

int Rebuilder::Run() {
  if (const int result = ReadOld(); result != kDone) return result;
  if (const int result = OpenData(); result != kDone) return result;
  if (!out_.Open(0666)) return Complain(names_.index + ".new", std::strerror(errno));
  LayOut();
  for (const Key& key : header_.keys)
    if (!key.parts.empty() && !BuildIndex(key))
      return Complain(names_.base, std::string("sorting the keys: ") + std::strerror(errno));
  return Finish();
}

// What the old index file and the command line tell of the file.
int Rebuilder::ReadOld() {
  std::string why = "no record length and keys were given";
  if (old_index_.Open(names_.index, true)) {
    if (!LockForRebuild(old_index_.fd(), names_.index))
      return Complain(names_.index, "the file is in use; nothing was changed");
    if (auto header = ReadDictionary(old_index_, why)) {
      Report ignored(names_.base);
      const bool complete = ReadKeys(old_index_, *header, ignored, nullptr);
      if (!complete) why = "its key descriptions are damaged";
      if (complete || !description_.keys.empty()) header_ = old_ = *std::move(header);
      if (complete) why.clear();
    }
  } else {
    why = std::strerror(errno);
  }
  if (!description_.keys.empty()) {
    header_.keys = description_.keys;
    header_.record_length = description_.record_length;
    if (description_.node_size > 0 || header_.node_size == 0)
      header_.node_size =
          description_.node_size > 0 ? description_.node_size : layout::kDefaultNodeSize;
    if (header_.unique_id == 0) header_.unique_id = 1;
    return kDone;
  }
  if (why.empty()) return kDone;
  return Complain(names_.index, why + "; describe the file with --record-length and --key");
}

// Which records live, and how many numbers there are.
int Rebuilder::OpenData() {
  if (header_.record_length == 0) return kDone;
  if (!data_.Open(names_.data, false)) return Complain(names_.data, std::strerror(errno));
  const std::size_t slot = header_.slot_length();
  const std::uint64_t slots = data_.size() / slot;
  if (slots > std::numeric_limits<std::int32_t>::max())
    return Complain(names_.data, "it has more slots than there are record numbers");
  if (const std::uint64_t rest = data_.size() % slot; rest != 0)
    std::printf("%s: the data file ends in %" PRIu64
                " bytes that are no whole record of %zu; they "
                "stay where they are\n",
                names_.base.c_str(), rest, slot);
  live_.assign(slots + 1, false);
  std::vector<Byte> bytes(slot);
  std::uint32_t high = static_cast<std::uint32_t>(std::min<std::uint64_t>(old_.high_record, slots));
  for (std::uint32_t number = 1; number <= slots; ++number) {
    if (data_.ReadAt((number - 1) * slot, bytes.data(), slot) < slot)
      return Complain(names_.data, "it cannot be read at record " + std::to_string(number));
    live_[number] = bytes[header_.record_length] == layout::slot::kLive;
    if (live_[number]) ++live_count_;
    // Slots beyond the highest number that hold nothing are room taken in advance.
    const bool used = std::any_of(bytes.begin(), bytes.end(), [](Byte b) { return b != 0; });
    if (used) high = std::max(high, number);
  }
  header_.high_record = high;
  live_.resize(std::size_t{high} + 1);
  return kDone;
}

// Key descriptions from node 2 on, then a root for each index.
void Rebuilder::LayOut() {
  last_node_ = layout::kDictionaryNode;
  header_.key_node = header_.keys.empty() ? 0 : layout::kDictionaryNode + 1;
  header_.key_count = static_cast<std::uint32_t>(header_.keys.size());
  std::size_t used = header_.limit();
  for (Key& key : header_.keys) {
    const std::size_t part =
        key.has(kNullKey) ? layout::key_entry::kNullPartSize : layout::key_entry::kPartSize;
    const std::size_t entry = layout::key_entry::kParts + key.parts.size() * part;
    if (entry + layout::key_entry::kParts + used > header_.limit()) {
      ++last_node_;
      used = layout::key_node::kFirst;
    }
    used += entry;
    if (!key.parts.empty()) key.root = ++last_node_;
  }
}

// The duplicate counters that the old index has for its records, as far as it can be read.
std::vector<std::uint32_t> Rebuilder::OldCounters(const Key& key) const {
  std::vector<std::uint32_t> counters(live_.size(), kUnknownCounter);
  for (const Key& old : old_.keys) {
    const bool same = old.length == key.length && DescribeKey(old) == DescribeKey(key);
    std::uint64_t visits = 0;
    if (same && old_index_.is_open()) ReadOldCounters(old, old.root, -1, counters, visits);
    if (same) break;
  }
  return counters;
}

void Rebuilder::ReadOldCounters(const Key& key, std::uint32_t number, int level,
                                std::vector<std::uint32_t>& counters, std::uint64_t& visits) const {
  std::vector<Byte> bytes;
  TreeNode node;
  std::string why;
  std::size_t offset = 0;
  if (++visits > old_.high_node || !ReadNode(old_index_, old_, number, bytes)) return;
  (void)ParseTreeNode(old_, key, bytes, node, why, offset);  // what can be read of it counts
  if (level >= 0 && node.level != static_cast<unsigned>(level)) return;
  for (const Entry& entry : node.entries) {
    if (node.level > 0) {
      ReadOldCounters(key, entry.pointer, static_cast<int>(node.level) - 1, counters, visits);
    } else if (entry.pointer < counters.size() && counters[entry.pointer] == kUnknownCounter) {
      counters[entry.pointer] = entry.counter;
    }
  }
}

// An item to sort: the key, the old counter, the record number.
bool Rebuilder::CollectEntries(const Key& key, tolvane::Sorter& sorter,
                               const std::vector<std::uint32_t>& counters) {
  std::vector<Byte> record(header_.record_length), item(key.length + 8);
  for (std::uint32_t number = 1; number < live_.size(); ++number) {
    if (!live_[number]) continue;
    const std::uint64_t at = (std::uint64_t{number} - 1) * header_.slot_length();
    if (data_.ReadAt(at, record.data(), record.size()) < record.size()) return false;
    MakeKey(key, record.data(), item.data());
    if (IsNullKey(key, item.data())) continue;
    StoreBig(&item[key.length], counters.empty() ? kUnknownCounter : counters[number]);
    StoreBig(&item[key.length + 4], number);
    if (!sorter.Add(item.data())) return false;
  }
  return true;
}

bool Rebuilder::BuildIndex(const Key& key) {
  const std::size_t tail = 8;
  tolvane::Sorter sorter(key.length + tail, [&key](const Byte* a, const Byte* b) {
    const int order = CompareKeys(key, a, b);
    return order != 0 ? order < 0 : std::memcmp(a + key.length, b + key.length, tail) < 0;
  });
  const auto counters = key.has(kDuplicates) ? OldCounters(key) : std::vector<std::uint32_t>{};
  if (!CollectEntries(key, sorter, counters) || !sorter.Sort()) return false;
  TreeBuilder builder(header_, key, out_, last_node_);
  const std::uint64_t most_counter = (std::uint64_t{1} << (8 * header_.duplicate_width - 1)) - 1;
  std::vector<Byte> before;
  std::uint64_t counter = 0;
  while (const Byte* item = sorter.Next()) {
    const auto number = LoadBig<std::uint32_t>(item + key.length + 4);
    const bool same = !before.empty() && std::equal(before.begin(), before.end(), item);
    counter = same ? counter + 1 : 0;
    if (same && (!key.has(kDuplicates) || counter > most_counter)) {
      ++violations_;
      std::printf("%s: record %" PRIu32 " has a key that occurs %s (%s)\n", names_.base.c_str(),
                  number, key.has(kDuplicates) ? "too often" : "already", DescribeKey(key).c_str());
      continue;
    }
    before.assign(item, item + key.length);
    builder.Add(item, static_cast<std::uint32_t>(counter), number);
  }
  builder.Finish();
  return !sorter.failed();
}

void Rebuilder::WriteKeys() {
  namespace k = layout::key_entry;
  std::vector<std::vector<Byte>> nodes;
  std::size_t used = header_.limit();
  const auto start_node = [&] {
    nodes.emplace_back(header_.node_size);
    used = layout::key_node::kFirst;
    std::copy(layout::kKeyNodeMark.begin(), layout::kKeyNodeMark.end(),
              nodes.back().end() - static_cast<long>(layout::kMarkFromEnd));
  };
  std::vector<std::uint32_t> numbers;
  std::uint32_t number = layout::kDictionaryNode;
  for (const Key& key : header_.keys) {
    const bool nulls = key.has(kNullKey);
    const std::size_t part_size = nulls ? k::kNullPartSize : k::kPartSize;
    const std::size_t length = k::kParts + key.parts.size() * part_size;
    if (length + k::kParts + used > header_.limit()) {
      start_node();
      numbers.push_back(++number);
    }
    Byte* const entry = &nodes.back()[used];
    StoreBig(entry + k::kLength, static_cast<std::uint16_t>(length));
    StoreBig(entry + k::kRoot, key.root);
    entry[k::kHalfFlags] = static_cast<Byte>(key.flags >> 1);
    for (std::size_t i = 0; i < key.parts.size(); ++i) {
      const KeyPart& part = key.parts[i];
      Byte* const at = entry + k::kParts + i * part_size;
      const std::size_t mark = i == 0 && key.has(kDuplicates) ? k::kDuplicatesBit : 0;
      StoreBig(at + k::kPartLength, static_cast<std::uint16_t>(part.length | mark));
      StoreBig(at + k::kPartStart, static_cast<std::uint16_t>(part.start));
      if (nulls) at[k::kPartType] = part.null_byte;
      at[part_size - 1] =
          static_cast<Byte>(static_cast<int>(part.type) | (part.descending ? 0x80 : 0));
    }
    used += length;
    StoreBig(nodes.back().data(), static_cast<std::uint16_t>(used));
    if (!key.parts.empty()) ++number;
  }
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (i + 1 < nodes.size()) StoreBig(&nodes[i][layout::key_node::kNext], numbers[i + 1]);
    out_.Put(header_, numbers[i], nodes[i]);
  }
}

// The deleted record numbers, the highest given back first, so that the lowest is reused first.
void Rebuilder::WriteFreeList() {
  namespace f = layout::free_node;
  header_.free_data = header_.free_nodes = 0;
  if ((header_.flags & layout::dictionary::kFlagPrecious) != 0) return;
  std::vector<Byte> node;
  std::size_t used = 0;
  const auto write_node = [&] {
    if (header_.free_data == 0) return;
    StoreBig(&node[f::kUsed], static_cast<std::uint16_t>(used));
    out_.Put(header_, header_.free_data, node);
  };
  for (std::size_t number = live_.size(); number-- > 1;) {
    if (live_[number]) continue;
    if (header_.free_data == 0 || used + f::kNumberWidth > header_.limit()) {
      write_node();
      node.assign(header_.node_size, 0);
      std::copy(layout::kFreeNodeMark.begin(), layout::kFreeNodeMark.end(),
                node.end() - static_cast<long>(layout::kMarkFromEnd));
      StoreBig(&node[f::kNext], header_.free_data);
      header_.free_data = ++last_node_;
      used = f::kFirst;
    }
    StoreBig(&node[used], static_cast<std::uint32_t>(number));
    used += f::kNumberWidth;
  }
  write_node();
}

void Rebuilder::WriteDictionary() {
  namespace d = layout::dictionary;
  std::vector<Byte> node(header_.node_size);
  std::copy(d::kSignature.begin(), d::kSignature.end(), node.begin());
  node[d::kIndexWord] = node[d::kPointerWord] = 4;
  node[d::kSeven] = 7;
  node[d::kEight] = 8;
  node[d::kDuplicateWidth] = static_cast<Byte>(header_.duplicate_width);
  const auto half = [&](std::size_t at, std::size_t value) {
    StoreBig(&node[at], static_cast<std::uint16_t>(value));
  };
  const auto word = [&](std::size_t at, std::uint32_t value) { StoreBig(&node[at], value); };
  half(d::kNodeSizeLess1, header_.node_size - 1);
  half(d::kKeyCount, header_.key_count);
  half(d::kRecordLength, header_.record_length);
  half(d::kMaxRecordLength, header_.maximum_length);
  half(header_.node_size - d::kFlagsFromEnd, header_.flags);
  word(d::kKeyNode, header_.key_node);
  word(d::kFreeData, header_.free_data);
  word(d::kFreeNodes, header_.free_nodes);
  word(d::kHighRecord, header_.high_record);
  word(d::kHighNode, last_node_);
  word(d::kChangeCounter, header_.change_counter + 1);
  word(d::kUniqueId, header_.unique_id);
  word(d::kAudit, header_.audit);
  word(d::kSchema1, header_.schema1);
  word(d::kSchema2, header_.schema2);
  std::copy(d::kMagic.begin(), d::kMagic.end(), node.end() - static_cast<long>(d::kMagicFromEnd));
  out_.Put(header_, layout::kDictionaryNode, node);
}

int Rebuilder::Finish() {
  if (violations_ > 0) {
    std::printf("%s: %" PRIu64 " key violations; nothing was replaced\n", names_.base.c_str(),
                violations_);
    return kRefused;
  }
  WriteKeys();
  WriteFreeList();
  WriteDictionary();
  struct stat status {};
  if (old_index_.is_open() && sys.fstat(old_index_.fd(), &status) == 0)
    (void)sys.chmod((names_.index + ".new").c_str(), status.st_mode & 07777);  // as far as it goes
  if (!out_.Replace(names_.index)) return Complain(names_.index, std::strerror(errno));
  std::printf("%s: rebuilt, %" PRIu64 " records\n", names_.base.c_str(), live_count_);
  return kDone;
}

}  // namespace

std::optional<Key> ParseKeyOption(const std::string& text) {
  constexpr const char* kTypes[] = {"char",  "int",  "long",  "double",
                                    "float", "mint", "mlong", "string"};
  Key key;
  std::istringstream parts(text);
  for (std::string part_text; std::getline(parts, part_text, '+');) {
    std::istringstream words(part_text);
    std::vector<std::string> list;
    for (std::string word; std::getline(words, word, ',');) list.push_back(word);
    const auto number = [](const std::string& word) -> std::optional<unsigned> {
      if (word.empty() || word.size() > 5 ||
          word.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
      return static_cast<unsigned>(std::stoul(word));
    };
    if (list.size() < 2 || !number(list[0]) || !number(list[1])) return std::nullopt;
    KeyPart part{.start = *number(list[0]), .length = *number(list[1])};
    for (std::size_t i = 2; i < list.size(); ++i) {
      const auto type = std::find(std::begin(kTypes), std::end(kTypes), list[i]);
      if (type != std::end(kTypes)) {
        part.type = static_cast<KeyType>(type - std::begin(kTypes));
      } else if (list[i] == "desc") {
        part.descending = true;
      } else if (list[i] == "dups") {
        key.flags |= kDuplicates;
      } else if (const auto flags =
                     list[i].starts_with("flags=") ? number(list[i].substr(6)) : std::nullopt) {
        key.flags |= *flags & 0x1E;
      } else {
        return std::nullopt;
      }
    }
    key.length += part.length;
    key.parts.push_back(part);
  }
  const bool possible = !key.parts.empty() && key.parts.size() <= kMostParts && key.length > 0 &&
                        key.length <= kMostKeyBytes;
  return possible ? std::optional<Key>(key) : std::nullopt;
}

int Rebuild(const FileNames& names, const RebuildDescription& description) {
  return Rebuilder(names, description).Run();
}

}  // namespace isamck
