#include "rebuild.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <limits>

#include "datarep/sorter.h"
#include "key_chain.h"
#include "key_order.h"
#include "locks.h"
#include "new_index.h"
#include "packed_tree.h"
#include "platform/system_calls.h"
#include "report.h"

namespace isamck {

using tolvane::LoadBig;
using tolvane::StoreBig;
using tolvane::sys;
namespace layout = isam::layout;

namespace {

constexpr int kDone = 0, kRefused = 1, kImpossible = 2;
constexpr std::uint32_t kUnknownCounter = std::numeric_limits<std::uint32_t>::max();

int Complain(const std::string& name, const std::string& why) {
  std::fprintf(stderr, "isamck: '%s': %s\n", name.c_str(), why.c_str());
  return kImpossible;
}

class Rebuilder {
 public:
  Rebuilder(const FileNames& names, const RebuildDescription& description)
      : names_(names), description_(description), out_(names.index + ".new") {}

  int Run();

 private:
  int ReadOld();
  int OpenData();
  bool BuildIndex(const Key& key);
  bool CollectEntries(const Key& key, tolvane::Sorter& sorter,
                      const std::vector<std::uint32_t>& counters);
  std::vector<std::uint32_t> OldCounters(const Key& key) const;
  void ReadOldCounters(const Key& key, std::uint32_t node, int level,
                       std::vector<std::uint32_t>& counters, std::uint64_t& visits) const;
  int Finish();

  const FileNames& names_;
  const RebuildDescription& description_;
  ReadFile old_index_, data_;
  Header old_, header_;
  NewIndex out_;
  std::vector<std::uint32_t> key_nodes_;  // by key
  std::vector<bool> live_;                // by record number
  std::uint64_t live_count_ = 0, violations_ = 0;
};

int Rebuilder::Run() {
  if (const int result = ReadOld(); result != kDone) return result;
  if (const int result = OpenData(); result != kDone) return result;
  if (!out_.Open()) return Complain(names_.index + ".new", std::strerror(errno));
  (void)out_.NewNode();  // the dictionary's
  key_nodes_ = LayOutKeys(header_, out_);
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
      return Complain(names_.index, "it is in use or may not be written; nothing was changed");
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
    if (data_.ReadAt(header_.slot_offset(number), bytes.data(), slot) < slot)
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
    const std::uint64_t at = header_.slot_offset(number);
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
  PackedTree tree(header_, key, out_);
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
    tree.Add(item, static_cast<std::uint32_t>(counter), number);
  }
  tree.Finish();
  return !sorter.failed();
}

int Rebuilder::Finish() {
  if (violations_ > 0) {
    std::printf("%s: %" PRIu64 " key violations; nothing was replaced\n", names_.base.c_str(),
                violations_);
    return kRefused;
  }
  WriteKeys(header_, key_nodes_, out_);
  WriteFreeList(header_, live_, out_);
  WriteDictionary(header_, out_);
  if (old_index_.is_open()) out_.TakeModeOf(old_index_.fd());
  if (!out_.Replace(names_.index)) return Complain(names_.index, std::strerror(errno));
  std::printf("%s: rebuilt, %" PRIu64 " records\n", names_.base.c_str(), live_count_);
  return kDone;
}

}  // namespace

int Rebuild(const FileNames& names, const RebuildDescription& description) {
  return Rebuilder(names, description).Run();
}

}  // namespace isamck
