#include "check.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "key_chain.h"
#include "key_order.h"

namespace isamck {

using tolvane::LoadBig;
namespace layout = isam::layout;

namespace {

// Who a node of the index file belongs to.
enum class Owner : std::uint8_t { kNobody, kDictionary, kKeys, kTree, kFreeList, kFree };

constexpr const char* kOwnerNames[] = {"nobody", "the dictionary",    "the key descriptions",
                                       "a tree", "a free-list chain", "the free nodes"};

// What is known of a record: it lives, the index that is being read has it, the free list has its
// number.
enum RecordState : std::uint8_t { kLive = 1, kSeen = 2, kListed = 4 };

class Checker {
 public:
  Checker(const FileNames& names, Report& report) : names_(names), report_(report) {}

  void Run();

 private:
  bool OpenFiles();
  void CheckDictionary();
  void CheckSizes();
  bool Claim(std::uint32_t node, Owner owner, std::uint32_t from, std::uint64_t offset);
  void ScanData();
  void CheckTree(const Key& key, IndexSummary& summary);
  // Bounds of the keys in a subtree; null: none.
  struct Bounds {
    const Byte* above = nullptr;  // every entry is greater
    std::uint32_t above_counter = 0;
    const Byte* most = nullptr;  // no entry is greater
    std::uint32_t most_counter = 0;
  };
  void CheckNode(const Key& key, std::uint32_t number, int level, const Bounds& bounds,
                 IndexSummary& summary);
  void CheckOrder(const Key& key, std::uint32_t number, const TreeNode& node, const Bounds& bounds);
  bool ReadKeyOf(std::uint32_t number, const Key& key);
  void CheckLeaf(const Key& key, std::uint32_t number, const TreeNode& node);
  void CheckMissing(const Key& key);
  void CheckFreeList(std::uint32_t head, bool data_list);
  void CheckFreeNumber(std::uint32_t node, std::uint64_t offset, std::uint32_t number,
                       bool data_list);
  void CheckAccount();
  int Compare(const Key& key, const Byte* a, std::uint32_t a_counter, const Byte* b,
              std::uint32_t b_counter) const;

  const FileNames& names_;
  Report& report_;
  ReadFile index_, data_;
  Header header_;
  std::vector<Owner> owners_;         // by node number
  std::vector<std::uint8_t> states_;  // by record number
  std::vector<Byte> record_, key_;
};

void Checker::Run() {
  std::string why;
  if (!OpenFiles()) return;
  auto header = ReadDictionary(index_, why);
  if (!header) {
    report_.Unreadable("'" + names_.index + "': " + why);
    return;
  }
  header_ = *std::move(header);
  report_.node_size = header_.node_size;
  report_.record_length = header_.record_length;
  if (header_.record_length > 0 && !data_.Open(names_.data, false)) {
    report_.Unreadable("'" + names_.data + "': " + std::strerror(errno));
    return;
  }
  CheckDictionary();
  CheckSizes();
  const std::uint64_t nodes =
      std::min<std::uint64_t>(header_.high_node, index_.size() / header_.node_size);
  owners_.assign(nodes + 1, Owner::kNobody);
  if (nodes >= layout::kDictionaryNode) owners_[layout::kDictionaryNode] = Owner::kDictionary;
  std::vector<std::uint32_t> chain;
  (void)ReadKeys(index_, header_, report_, &chain);
  for (const std::uint32_t node : chain) (void)Claim(node, Owner::kKeys, node, 0);
  ScanData();
  for (const Key& key : header_.keys) {
    IndexSummary& summary = report_.indexes.emplace_back();
    summary.description = DescribeKey(key);
    if (!key.parts.empty()) CheckTree(key, summary);
  }
  CheckFreeList(header_.free_data, true);
  CheckFreeList(header_.free_nodes, false);
  CheckAccount();
}

bool Checker::OpenFiles() {
  if (index_.Open(names_.index, false)) return true;
  report_.Unreadable("'" + names_.index + "': " + std::strerror(errno));
  return false;
}

void Checker::CheckDictionary() {
  namespace d = layout::dictionary;
  std::vector<Byte> node;
  (void)ReadNode(index_, header_, layout::kDictionaryNode, node);  // it was read before
  const struct {
    std::size_t offset;
    Byte value;
  } constants[] = {{d::kIndexWord, 4}, {d::kPointerWord, 4}, {d::kSeven, 7}, {d::kEight, 8}};
  for (const auto& constant : constants)
    if (node[constant.offset] != constant.value)
      report_.AddIndexFault(layout::kDictionaryNode, constant.offset,
                            "the byte is " + std::to_string(node[constant.offset]) + ", not " +
                                std::to_string(constant.value));
  const std::size_t magic = header_.node_size - d::kMagicFromEnd;
  if (!std::equal(d::kMagic.begin(), d::kMagic.end(), node.begin() + static_cast<long>(magic)))
    report_.AddIndexFault(layout::kDictionaryNode, magic, "the closing magic is missing");
  if (header_.high_node < layout::kDictionaryNode)
    report_.AddIndexFault(layout::kDictionaryNode, d::kHighNode, "the highest node is 0");
}

void Checker::CheckSizes() {
  const std::uint64_t nodes = index_.size() / header_.node_size;
  if (nodes < header_.high_node)
    report_.Add({"index", 0, 0,
                 "it holds " + std::to_string(nodes) + " whole nodes, the dictionary counts " +
                     std::to_string(header_.high_node)});
  if (header_.record_length == 0) return;
  const std::uint64_t slots = data_.size() / header_.slot_length();
  if (slots < header_.high_record)
    report_.Add({"data", 0, 0,
                 "it holds " + std::to_string(slots) + " whole slots, the dictionary counts " +
                     std::to_string(header_.high_record)});
}

// Whether `node` can belong to `owner`; `from` and `offset` name the place that says so.
bool Checker::Claim(std::uint32_t node, Owner owner, std::uint32_t from, std::uint64_t offset) {
  if (node < 1 || node >= owners_.size()) {
    report_.AddIndexFault(
        from, offset,
        "it names node " + std::to_string(node) + ", of " + std::to_string(owners_.size() - 1));
    return false;
  }
  if (owners_[node] != Owner::kNobody) {
    report_.AddIndexFault(from, offset,
                          "it names node " + std::to_string(node) + ", which belongs to " +
                              kOwnerNames[static_cast<int>(owners_[node])]);
    return false;
  }
  owners_[node] = owner;
  return true;
}

// Which records live.
void Checker::ScanData() {
  if (header_.record_length == 0) {  // the indexes say which
    states_.assign(std::min<std::uint64_t>(header_.high_record, index_.size()) + 1, 0);
    return;
  }
  const std::size_t slot = header_.slot_length();
  const std::uint64_t count = std::min<std::uint64_t>(header_.high_record, data_.size() / slot);
  states_.assign(count + 1, 0);
  const std::size_t at_once = std::max<std::size_t>(1, (std::size_t{1} << 20) / slot);
  std::vector<Byte> slots(at_once * slot);
  for (std::uint64_t first = 1; first <= count; first += at_once) {
    const std::uint64_t wanted = std::min<std::uint64_t>(at_once, count - first + 1);
    const std::size_t got =
        data_.ReadAt(header_.slot_offset(first), slots.data(), wanted * slot) / slot;
    for (std::size_t i = 0; i < got; ++i) {
      const Byte status = slots[i * slot + header_.record_length];
      const auto number = static_cast<std::uint32_t>(first + i);
      if (status == layout::slot::kLive) {
        states_[number] = kLive;
        ++report_.live_records;
      } else if (status == layout::slot::kDeleted) {
        ++report_.deleted_records;
      } else {
        report_.AddDataFault(number, header_.slot_offset(number) + header_.record_length,
                             "its status byte is " + std::to_string(status));
      }
    }
  }
  record_.resize(header_.record_length);
}

int Checker::Compare(const Key& key, const Byte* a, std::uint32_t a_counter, const Byte* b,
                     std::uint32_t b_counter) const {
  const int order = CompareKeys(key, a, b);
  if (order != 0 || a_counter == b_counter) return order;
  return a_counter < b_counter ? -1 : 1;
}

void Checker::CheckTree(const Key& key, IndexSummary& summary) {
  for (std::uint8_t& state : states_) state &= static_cast<std::uint8_t>(~kSeen);
  key_.resize(key.length);
  if (Claim(key.root, Owner::kTree, header_.key_node, 0)) CheckNode(key, key.root, -1, {}, summary);
  CheckMissing(key);
}

// One node and what hangs below it. `level` is the one that its parent demands, -1 of a root.
void Checker::CheckNode(const Key& key, std::uint32_t number, int level, const Bounds& bounds,
                        IndexSummary& summary) {
  std::vector<Byte> bytes;
  if (!ReadNode(index_, header_, number, bytes)) {
    report_.AddIndexFault(number, 0, "the file does not hold it whole");
    return;
  }
  TreeNode node;
  std::string why;
  std::size_t offset = 0;
  if (!ParseTreeNode(header_, key, bytes, node, why, offset))
    report_.AddIndexFault(number, offset, why);
  const std::size_t level_at = header_.node_size - layout::tree_node::kLevelFromEnd;
  if (level >= 0 && node.level != static_cast<unsigned>(level)) {
    report_.AddIndexFault(
        number, level_at,
        "its level is " + std::to_string(node.level) + ", not " + std::to_string(level));
    return;
  }
  if (level < 0) summary.depth = node.level + 1;
  ++summary.nodes;
  summary.bytes_used += node.used;
  summary.bytes_usable += header_.limit();
  if (node.entries.empty() && (level >= 0 || node.level > 0))
    report_.AddIndexFault(number, 0, "it is empty");
  CheckOrder(key, number, node, bounds);
  if (node.level == 0) {
    summary.entries += node.entries.size();
    CheckLeaf(key, number, node);
    return;
  }
  for (std::size_t i = 0; i < node.entries.size(); ++i) {
    const Entry& entry = node.entries[i];
    Bounds below = bounds;
    if (i > 0) {
      below.above = node.key_of(i - 1, key);
      below.above_counter = node.entries[i - 1].counter;
    }
    // The last entry of a level stands for everything beyond.
    if (i + 1 < node.entries.size() || bounds.most != nullptr) {
      below.most = node.key_of(i, key);
      below.most_counter = entry.counter;
    }
    if (Claim(entry.pointer, Owner::kTree, number, entry.offset))
      CheckNode(key, entry.pointer, static_cast<int>(node.level) - 1, below, summary);
  }
}

// The entries ascend and lie within the bounds that the separators above set.
void Checker::CheckOrder(const Key& key, std::uint32_t number, const TreeNode& node,
                         const Bounds& bounds) {
  for (std::size_t i = 0; i < node.entries.size(); ++i) {
    const Entry& entry = node.entries[i];
    const Byte* const bytes = node.key_of(i, key);
    if (i > 0) {
      const Entry& before = node.entries[i - 1];
      const int order = Compare(key, node.key_of(i - 1, key), before.counter, bytes, entry.counter);
      if (order > 0) report_.AddIndexFault(number, entry.offset, "its key is out of order");
      if (order == 0) report_.AddIndexFault(number, entry.offset, "its key equals the one before");
    }
    if (bounds.above != nullptr &&
        Compare(key, bounds.above, bounds.above_counter, bytes, entry.counter) >= 0)
      report_.AddIndexFault(number, entry.offset, "its key belongs into the node before");
    if (bounds.most != nullptr &&
        Compare(key, bytes, entry.counter, bounds.most, bounds.most_counter) > 0)
      report_.AddIndexFault(number, entry.offset, "its key is beyond its separator");
  }
}

// Makes the key of a record, as the data file has it, in key_. False when it cannot be read.
bool Checker::ReadKeyOf(std::uint32_t number, const Key& key) {
  const std::uint64_t at = header_.slot_offset(number);
  if (data_.ReadAt(at, record_.data(), record_.size()) < record_.size()) return false;
  MakeKey(key, record_.data(), key_.data());
  return true;
}

void Checker::CheckLeaf(const Key& key, std::uint32_t number, const TreeNode& node) {
  for (std::size_t i = 0; i < node.entries.size(); ++i) {
    const Entry& entry = node.entries[i];
    const auto fault = [&](const std::string& text) {
      report_.AddIndexFault(number, entry.offset,
                            "record " + std::to_string(entry.pointer) + " " + text);
    };
    if (entry.pointer < 1 || entry.pointer >= states_.size()) {
      fault("does not exist");
      continue;
    }
    std::uint8_t& state = states_[entry.pointer];
    if ((state & kSeen) != 0) fault("stands in this index twice");
    state |= kSeen;
    if (header_.record_length == 0) {
      report_.live_records += (state & kLive) == 0 ? 1 : 0;
      state |= kLive;
      continue;
    }
    if ((state & kLive) == 0) {
      fault("is deleted");
      continue;
    }
    if (!ReadKeyOf(entry.pointer, key)) continue;
    if (!std::equal(key_.begin(), key_.end(), node.key_of(i, key))) fault("has another key");
    if (IsNullKey(key, key_.data())) fault("has a null key");
  }
}

// Live records that the index does not have.
void Checker::CheckMissing(const Key& key) {
  if (header_.record_length == 0) return;
  for (std::uint32_t number = 1; number < states_.size(); ++number) {
    if ((states_[number] & (kLive | kSeen)) != kLive) continue;
    if (ReadKeyOf(number, key) && !IsNullKey(key, key_.data()))
      report_.AddDataFault(number, header_.slot_offset(number),
                           "it is missing in the index with root node " + std::to_string(key.root));
  }
}

void Checker::CheckFreeList(std::uint32_t head, bool data_list) {
  namespace f = layout::free_node;
  const std::size_t head_at =
      data_list ? layout::dictionary::kFreeData : layout::dictionary::kFreeNodes;
  std::uint32_t from = layout::kDictionaryNode;
  std::uint64_t offset = head_at;
  std::vector<Byte> bytes;
  for (std::uint32_t node = head; node != 0;) {
    if (!Claim(node, Owner::kFreeList, from, offset)) return;
    if (!ReadNode(index_, header_, node, bytes)) return;
    CheckMark(header_, node, bytes, layout::kFreeNodeMark, "a free-list node", report_);
    const std::size_t used = LoadBig<std::uint16_t>(&bytes[f::kUsed]);
    if (used < f::kFirst || used > header_.limit() || (used - f::kFirst) % f::kNumberWidth != 0) {
      report_.AddIndexFault(node, f::kUsed,
                            "its used count is impossible: " + std::to_string(used));
      return;
    }
    if (!data_list) ++report_.free_nodes;
    for (std::size_t at = f::kFirst; at < used; at += f::kNumberWidth)
      CheckFreeNumber(node, at, LoadBig<std::uint32_t>(&bytes[at]), data_list);
    from = node;
    offset = f::kNext;
    node = LoadBig<std::uint32_t>(&bytes[f::kNext]);
  }
}

void Checker::CheckFreeNumber(std::uint32_t node, std::uint64_t offset, std::uint32_t number,
                              bool data_list) {
  if (!data_list) {
    if (Claim(number, Owner::kFree, node, offset)) ++report_.free_nodes;
    return;
  }
  ++report_.free_records;
  const std::string named = "record number " + std::to_string(number);
  if (number < 1 || number >= states_.size()) {
    report_.AddIndexFault(node, offset, named + " does not exist");
    return;
  }
  if ((states_[number] & kLive) != 0) report_.AddIndexFault(node, offset, named + " lives");
  if ((states_[number] & kListed) != 0)
    report_.AddIndexFault(node, offset, named + " is listed twice");
  states_[number] |= kListed;
}

// Numbers that are neither in use nor free.
void Checker::CheckAccount() {
  for (std::uint32_t node = 1; node < owners_.size(); ++node)
    if (owners_[node] == Owner::kNobody)
      report_.AddIndexFault(node, 0, "it is lost: in use nowhere and not free");
  if ((header_.flags & layout::dictionary::kFlagPrecious) != 0) {
    if (header_.free_data != 0)
      report_.AddIndexFault(layout::kDictionaryNode, layout::dictionary::kFreeData,
                            "a precious file has a list of free records");
    return;
  }
  if (header_.record_length == 0) return;  // a record whose keys are all null is nowhere
  for (std::uint32_t number = 1; number < states_.size(); ++number)
    if ((states_[number] & (kLive | kListed)) == 0)
      report_.AddDataFault(number, header_.slot_offset(number),
                           "its number is lost: deleted and not free");
}

}  // namespace

void CheckFile(const FileNames& names, Report& report) { Checker(names, report).Run(); }

}  // namespace isamck
