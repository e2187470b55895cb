// Nodes, the dictionary, key descriptions and data slots: everything that has a fixed place.

#include <isam.h>

#include <algorithm>

#include "isam/isfile.h"

namespace isam {

using tolvane::LoadBig;
using tolvane::StoreBig;
namespace dictionary = layout::dictionary;
namespace key_node = layout::key_node;

void isPutNode(File& file, const Byte* bytes, std::uint32_t node) {
  file.index.Write(file.node_offset(node), bytes, file.node_size);
}

void isMarkNode(const File& file, Byte* bytes, const std::array<std::uint8_t, 2>& mark) {
  std::copy(mark.begin(), mark.end(), bytes + file.node_size - layout::kMarkFromEnd);
}

namespace {

void TakeWorkSpace(File& file) {
  file.scratch.resize(std::max(file.node_size, file.slot_length()));
  file.node_scratch = is_malloc(file.node_size);
  file.image = is_malloc(file.node_size);
}

}  // namespace

void isMakeHead(File& file, int mode) {
  TakeWorkSpace(file);
  if ((mode & ISTRAILER) != 0) file.flags |= dictionary::kFlagTrailerWord;
  std::vector<Byte> node(file.node_size);
  std::copy(dictionary::kSignature.begin(), dictionary::kSignature.end(), node.begin());
  node[dictionary::kIndexWord] = node[dictionary::kPointerWord] = 4;
  node[dictionary::kSeven] = 7;
  node[dictionary::kEight] = 8;
  node[dictionary::kDuplicateWidth] = static_cast<Byte>(file.duplicate_width);
  StoreBig(&node[dictionary::kNodeSizeLess1], static_cast<std::uint16_t>(file.node_size - 1));
  StoreBig(&node[dictionary::kRecordLength], static_cast<std::uint16_t>(file.record_length));
  StoreBig(&node[dictionary::kHighNode], std::uint32_t{layout::kDictionaryNode});
  StoreBig(&node[dictionary::kUniqueId], std::uint32_t{1});
  StoreBig(&node[file.node_size - dictionary::kFlagsFromEnd],
           static_cast<std::uint16_t>(file.flags));
  std::copy(dictionary::kMagic.begin(), dictionary::kMagic.end(),
            node.end() - static_cast<std::ptrdiff_t>(dictionary::kMagicFromEnd));
  file.free_nodes.highest = layout::kDictionaryNode;
  file.index.Reserve(file.node_size);
  isPutNode(file, node.data(), layout::kDictionaryNode);
}

namespace {

// Takes over the fields that an operation may change.
void LoadDynamic(File& file, const Byte* node) {
  file.key_count = LoadBig<std::uint16_t>(node + dictionary::kKeyCount);
  file.key_node = LoadBig<std::uint32_t>(node + dictionary::kKeyNode);
  file.flags = LoadBig<std::uint16_t>(node + file.node_size - dictionary::kFlagsFromEnd);
  file.free_records.head = LoadBig<std::uint32_t>(node + dictionary::kFreeData);
  file.free_nodes.head = LoadBig<std::uint32_t>(node + dictionary::kFreeNodes);
  file.free_records.highest = LoadBig<std::uint32_t>(node + dictionary::kHighRecord);
  file.free_nodes.highest = LoadBig<std::uint32_t>(node + dictionary::kHighNode);
  file.change_counter = LoadBig<std::uint32_t>(node + dictionary::kChangeCounter);
  file.unique_id = LoadBig<std::uint32_t>(node + dictionary::kUniqueId);
}

// Checks that the files hold what the dictionary says.
void CheckSizes(File& file) {
  (void)file.index.Read(file.node_offset(std::max(file.free_nodes.highest, 1U)), file.node_size,
                        file.scratch.data());
  if (file.record_length == 0 || file.free_records.highest == 0) return;
  (void)file.data.Read(file.slot_offset(file.free_records.highest), file.slot_length(),
                       file.scratch.data());
}

// Visits the key-description nodes in the order of their chain with number and bytes, which stay
// where they are until the visit is over. Fails with EBADFILE when the chain does not end.
template <typename Visit>
void ForEachKeyNode(File& file, Visit visit) {
  std::vector<Byte> scratch(file.node_size);
  std::uint32_t nodes = 0;
  for (std::uint32_t number = file.key_node; number != 0;) {
    if (++nodes > file.free_nodes.highest) throw Failure{EBADFILE};
    const Byte* const node = isGetNode(file, number, scratch.data());
    const auto next = LoadBig<std::uint32_t>(node + key_node::kNext);
    visit(number, node);
    number = next;
  }
}

void LoadKeyEntries(File& file) {
  std::vector<Index> indexes;
  ForEachKeyNode(file, [&](std::uint32_t number, const Byte* node) {
    const std::size_t used = LoadBig<std::uint16_t>(node + key_node::kUsed);
    if (used < key_node::kFirst || used > file.limit()) throw Failure{EBADFILE};
    for (std::size_t at = key_node::kFirst; at < used;) {
      const std::size_t length = LoadBig<std::uint16_t>(node + at);
      if (length < layout::key_entry::kNoPartsLeast || at + length > used) throw Failure{EBADFILE};
      Index& index = indexes.emplace_back();
      LoadKeyEntry(node + at, length, file.record_length, index);
      index.Settle(file.duplicate_width);
      index.described_in = number;
      at += length;
    }
  });
  if (indexes.size() != file.key_count) throw Failure{EBADFILE};
  file.indexes = std::move(indexes);
}

void TakeOverNumbers(File& file) {
  LoadDynamic(file, file.index.Read(0, file.node_size, file.scratch.data()));
  isFreeClear(file);
  isPathClear(file);
  CheckSizes(file);
}

}  // namespace

void isNeedSignature(File& file) {
  Byte scratch[dictionary::kSignature.size()];
  const Byte* const start = file.index.Read(0, sizeof scratch, scratch);
  if (!std::equal(dictionary::kSignature.begin(), dictionary::kSignature.end(), start))
    throw Failure{EBADFILE};
}

void isLoadHead(File& file) {
  Byte head[8];
  const Byte* const start = file.index.Read(0, sizeof head, head);
  file.node_size = std::size_t{LoadBig<std::uint16_t>(start + dictionary::kNodeSizeLess1)} + 1;
  if (file.node_size % layout::kNodeUnit != 0 ||
      file.node_size > layout::kNodeUnit * layout::kMaxNodeUnits)
    throw Failure{EBADFILE};
  file.scratch.resize(file.node_size);
  const Byte* const node = file.index.Read(0, file.node_size, file.scratch.data());
  file.duplicate_width = node[dictionary::kDuplicateWidth];
  file.record_length = LoadBig<std::uint16_t>(node + dictionary::kRecordLength);
  // Records of varying length cannot be read safely here.
  if (file.duplicate_width < 1 || file.duplicate_width > 4 ||
      LoadBig<std::uint16_t>(node + dictionary::kMaxRecordLength) != 0)
    throw Failure{EBADFILE};
  LoadDynamic(file, node);
  TakeWorkSpace(file);
  CheckSizes(file);
  LoadKeyEntries(file);
}

void isDelta(File& file) {
  if (file.exclusive) return;
  const Byte* const node = file.index.Read(0, file.node_size, file.scratch.data());
  if (LoadBig<std::uint32_t>(node + dictionary::kChangeCounter) == file.change_counter) return;
  const std::uint32_t keys = file.key_count;
  TakeOverNumbers(file);
  if (file.key_count != keys) LoadKeyEntries(file);
}

void isTakeOver(File& file) {
  TakeOverNumbers(file);
  LoadKeyEntries(file);
}

void isHeadFields(File& file) {
  // From the head of the free data list to the unique identifier.
  std::array<Byte, dictionary::kUniqueId + 4 - dictionary::kFreeData> fields;
  const auto put = [&](std::size_t at, std::uint32_t value) {
    StoreBig(&fields[at - dictionary::kFreeData], value);
  };
  put(dictionary::kFreeData, file.free_records.head);
  put(dictionary::kFreeNodes, file.free_nodes.head);
  put(dictionary::kHighRecord, file.free_records.highest);
  put(dictionary::kHighNode, file.free_nodes.highest);
  put(dictionary::kChangeCounter, file.change_counter);
  put(dictionary::kUniqueId, file.unique_id);
  file.index.Write(dictionary::kFreeData, fields.data(), fields.size());
}

void isHeadWrite(File& file) {
  ++file.change_counter;
  isHeadFields(file);
}

void isHeadKdsc(File& file) {
  Byte field[4];
  StoreBig(field, file.key_node);
  file.index.Write(dictionary::kKeyNode, field, 4);
  StoreBig(field, static_cast<std::uint16_t>(file.flags));
  file.index.Write(file.node_size - dictionary::kFlagsFromEnd, field, 2);
  StoreBig(field, static_cast<std::uint16_t>(file.key_count));
  file.index.Write(dictionary::kKeyCount, field, 2);
}

namespace {

std::vector<Byte> NewKeyNode(const File& file) {
  std::vector<Byte> node(file.node_size);
  StoreBig(&node[key_node::kUsed], static_cast<std::uint16_t>(key_node::kFirst));
  isMarkNode(file, node.data(), layout::kKeyNodeMark);
  return node;
}

// Whether a key-description node has room for one more entry; an empty one has it for any.
bool HasRoom(const File& file, const std::vector<Byte>& node, const std::vector<Byte>& entry) {
  const std::size_t used = LoadBig<std::uint16_t>(&node[key_node::kUsed]);
  return entry.size() + layout::key_entry::kParts + used <= file.limit();
}

void AddEntry(std::vector<Byte>& node, const std::vector<Byte>& entry) {
  const std::size_t used = LoadBig<std::uint16_t>(&node[key_node::kUsed]);
  std::copy(entry.begin(), entry.end(), &node[used]);
  StoreBig(&node[key_node::kUsed], static_cast<std::uint16_t>(used + entry.size()));
}

}  // namespace

void MakeRoot(File& file, Index& index) {
  index.root = isGetFree(file, FreeKind::kNode);
  index.key.k_rootnode = static_cast<std::int32_t>(index.root);
  std::vector<Byte> root(file.node_size);
  StoreBig(root.data(), static_cast<std::uint16_t>(layout::tree_node::kFirst));
  isPutNode(file, root.data(), index.root);
}

void AppendKeyEntry(File& file, Index& index) {
  std::uint32_t last = 0;
  std::vector<Byte> node;
  ForEachKeyNode(file, [&](std::uint32_t number, const Byte* bytes) {
    last = number;
    node.assign(bytes, bytes + file.node_size);
  });
  const bool fits = last != 0 && HasRoom(file, node, StoreKeyEntry(index));
  index.described_in = fits ? last : isGetFree(file, FreeKind::kNode);
  if (index.has_parts() && index.root == 0) MakeRoot(file, index);
  std::vector<Byte> fresh = NewKeyNode(file);
  AddEntry(fits ? node : fresh, StoreKeyEntry(index));
  if (!fits) {
    isPutNode(file, fresh.data(), index.described_in);
    if (last != 0) StoreBig(&node[key_node::kNext], index.described_in);
    if (last == 0) file.key_node = index.described_in;
  }
  if (last != 0) isPutNode(file, node.data(), last);
  ++file.key_count;
  isHeadKdsc(file);
}

void RewriteKeyEntries(File& file) {
  std::vector<std::uint32_t> chain;
  ForEachKeyNode(file, [&](std::uint32_t number, const Byte*) { chain.push_back(number); });
  std::size_t at = 0;
  std::vector<Byte> node = NewKeyNode(file);
  for (Index& index : file.indexes) {
    const auto entry = StoreKeyEntry(index);
    if (!HasRoom(file, node, entry)) {
      StoreBig(&node[key_node::kNext], chain.at(at + 1));
      isPutNode(file, node.data(), chain[at++]);
      node = NewKeyNode(file);
    }
    AddEntry(node, entry);
    index.described_in = chain.at(at);
  }
  isPutNode(file, node.data(), chain.at(at));
  for (std::size_t rest = at + 1; rest < chain.size(); ++rest)
    isPutFree(file, FreeKind::kNode, chain[rest]);
  file.key_count = static_cast<std::uint32_t>(file.indexes.size());
  isHeadKdsc(file);
}

// ---- data slots

const Byte* isGetData(File& file, std::uint32_t record, Byte* scratch) {
  if (record < 1 || record > file.free_records.highest) throw Failure{ENOCURR};
  return file.data.Read(file.slot_offset(record), file.slot_length(), scratch);
}

bool isDelCheck(File& file, std::uint32_t record) {
  if (record < 1 || record > file.free_records.highest) return true;
  if (file.record_length == 0) return false;  // only the indexes can tell
  Byte status = 0;
  return *file.data.Read(file.slot_offset(record) + file.record_length, 1, &status) ==
         layout::slot::kDeleted;
}

void isPutData(File& file, const Byte* record, std::uint32_t number) {
  constexpr Byte kStatus[1 + layout::slot::kTrailerWidth] = {layout::slot::kLive};
  const std::uint64_t offset = file.slot_offset(number);
  file.data.Write(offset, record, file.record_length);
  // The status comes last: until then the slot does not live.
  file.data.Write(offset + file.record_length, kStatus, file.slot_length() - file.record_length);
}

void isDelData(File& file, std::uint32_t number) {
  const Byte status = layout::slot::kDeleted;
  file.data.Write(file.slot_offset(number) + file.record_length, &status, 1);
}

}  // namespace isam
