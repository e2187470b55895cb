// The lists of free node and record numbers: the number freed last is given first.

#include <isam.h>

#include <algorithm>

#include "isam/isfile.h"

namespace isam {

using tolvane::LoadBig;
using tolvane::StoreBig;
namespace f = layout::free_node;

namespace {

FreeList& ListOf(File& file, FreeKind kind) {
  return kind == FreeKind::kNode ? file.free_nodes : file.free_records;
}

std::uint32_t NextHighest(File& file, FreeKind kind) {
  FreeList& list = ListOf(file, kind);
  constexpr std::uint32_t kMost = 0x7FFFFFFF;
  if (list.highest == kMost) throw Failure{EFBIG};
  if (kind == FreeKind::kNode)
    file.index.Reserve(file.node_offset(list.highest + 1) + file.node_size);
  return ++list.highest;
}

bool IsListNode(const File& file, const Byte* node) {
  const std::size_t used = LoadBig<std::uint16_t>(node + f::kUsed);
  return std::equal(layout::kFreeNodeMark.begin(), layout::kFreeNodeMark.end(),
                    node + file.node_size - layout::kMarkFromEnd) &&
         used >= f::kFirst && used <= file.limit() && (used - f::kFirst) % f::kNumberWidth == 0;
}

// Fails when a number cannot be free: nothing that it names would be safe.
void NeedFreeNumber(const File& file, const FreeList& list, std::uint32_t number) {
  bool in_use = number < 1 || number > list.highest;
  if (&list == &file.free_nodes)
    in_use = in_use || number == layout::kDictionaryNode || number == file.key_node ||
             std::any_of(file.indexes.begin(), file.indexes.end(), [number](const Index& index) {
               return number == index.root || number == index.described_in;
             });
  if (in_use) throw Failure{EBADFILE};
}

// A node of a list, after a check of all that it says.
const Byte* ListNode(File& file, const FreeList& list, std::uint32_t number, Byte* scratch) {
  NeedFreeNumber(file, file.free_nodes, number);
  const Byte* const node = isGetNode(file, number, scratch);
  if (!IsListNode(file, node)) throw Failure{EBADFILE};
  const std::size_t used = LoadBig<std::uint16_t>(node + f::kUsed);
  for (std::size_t at = f::kFirst; at < used; at += f::kNumberWidth)
    NeedFreeNumber(file, list, LoadBig<std::uint32_t>(node + at));
  return node;
}

// All nodes of a list, from its head on, and how many numbers they hold.
std::vector<std::uint32_t> ListNodes(File& file, const FreeList& list, std::uint32_t& count) {
  std::vector<Byte> scratch(file.node_size);
  std::vector<std::uint32_t> nodes;
  count = 0;
  for (std::uint32_t number = list.head; number != 0;) {
    if (nodes.size() > file.free_nodes.highest) throw Failure{EBADFILE};
    nodes.push_back(number);
    const Byte* const node = ListNode(file, list, number, scratch.data());
    const std::size_t used = LoadBig<std::uint16_t>(node + f::kUsed);
    count += static_cast<std::uint32_t>((used - f::kFirst) / f::kNumberWidth);
    number = LoadBig<std::uint32_t>(node + f::kNext);
  }
  return nodes;
}

// Takes over the head of a list, and makes sure of the one behind it.
void LoadHead(File& file, FreeList& list) {
  if (list.state != FreeList::State::kNotLoaded) return;
  if (list.node == nullptr) list.node = is_malloc(file.node_size);
  const Byte* const node = ListNode(file, list, list.head, list.node.get());
  if (node != list.node.get()) std::copy_n(node, file.node_size, list.node.get());
  list.used = LoadBig<std::uint16_t>(&list.node[f::kUsed]);
  const auto next = LoadBig<std::uint32_t>(&list.node[f::kNext]);
  if (next != 0) (void)ListNode(file, list, next, file.node_scratch.get());
  list.state = FreeList::State::kClean;
}

void WriteHead(File& file, FreeList& list) {
  if (list.state != FreeList::State::kChanged) return;
  isPutNode(file, list.node.get(), list.head);
  list.state = FreeList::State::kClean;
}

// Makes `node` the head of a list, in front of the old one.
void PushHead(File& file, FreeList& list, std::uint32_t node) {
  WriteHead(file, list);
  list.node = is_malloc(file.node_size);
  StoreBig(&list.node[f::kNext], list.head);
  isMarkNode(file, list.node.get(), layout::kFreeNodeMark);
  list.head = node;
  list.used = f::kFirst;
  StoreBig(&list.node[f::kUsed], static_cast<std::uint16_t>(list.used));
  list.state = FreeList::State::kChanged;
}

// The head is used up: the list goes on with the next node.
void PopHead(FreeList& list) {
  list.head = LoadBig<std::uint32_t>(&list.node[f::kNext]);
  list.state = FreeList::State::kNotLoaded;
}

}  // namespace

std::uint32_t isNextNode(File& file) { return NextHighest(file, FreeKind::kNode); }

std::uint32_t isGetFree(File& file, FreeKind kind) {
  FreeList& list = ListOf(file, kind);
  if ((kind == FreeKind::kRecord && file.is_precious()) || list.head == 0)
    return NextHighest(file, kind);
  LoadHead(file, list);
  if (list.used == f::kFirst) {
    // Only the list of nodes has heads without numbers: the head itself is the next one.
    if (kind == FreeKind::kRecord) return NextHighest(file, kind);
    const std::uint32_t node = list.head;
    PopHead(list);
    return node;
  }
  list.used -= f::kNumberWidth;
  const auto number = LoadBig<std::uint32_t>(&list.node[list.used]);
  StoreBig(&list.node[f::kUsed], static_cast<std::uint16_t>(list.used));
  list.state = FreeList::State::kChanged;
  if (kind == FreeKind::kRecord && list.used == f::kFirst) {
    // Deliberate: the node of the last number goes back at once.
    const std::uint32_t node = list.head;
    PopHead(list);
    isPutFree(file, FreeKind::kNode, node);
  }
  return number;
}

void isPutFree(File& file, FreeKind kind, std::uint32_t number) {
  FreeList& list = ListOf(file, kind);
  if (kind == FreeKind::kRecord && file.is_precious()) return;
  if (list.head != 0) LoadHead(file, list);
  const bool has_room = list.head != 0 && list.used + f::kNumberWidth <= file.limit();
  if (!has_room) {
    PushHead(file, list, kind == FreeKind::kNode ? number : isGetFree(file, FreeKind::kNode));
    if (kind == FreeKind::kNode) return;
  }
  StoreBig(&list.node[list.used], number);
  list.used += f::kNumberWidth;
  StoreBig(&list.node[f::kUsed], static_cast<std::uint16_t>(list.used));
  list.state = FreeList::State::kChanged;
}

void isFreeWrite(File& file) {
  WriteHead(file, file.free_nodes);
  WriteHead(file, file.free_records);
}

std::uint32_t isFreeCount(File& file) {
  const FreeList& list = file.free_records;
  if (list.state == FreeList::State::kChanged) isFatal("isfree.c", __LINE__);
  std::uint32_t count = 0;
  (void)ListNodes(file, list, count);
  return count;
}

void isFreeClear(File& file) {
  file.free_nodes.state = file.free_records.state = FreeList::State::kNotLoaded;
}

void isFreeTest(File& file) {
  for (FreeList* const list : {&file.free_nodes, &file.free_records})
    if (list->head != 0) LoadHead(file, *list);
}

bool isFreeHasRoom(File& file) {
  const FreeList& list = file.free_records;
  if (file.is_precious() || file.free_nodes.head != 0) return true;
  if (list.head == 0) return false;
  LoadHead(file, file.free_records);
  return list.used + f::kNumberWidth <= file.limit();
}

void isFreeDrop(File& file) {
  FreeList& list = file.free_records;
  std::uint32_t count = 0;
  const std::vector<std::uint32_t> nodes = ListNodes(file, list, count);
  list.head = 0;
  list.state = FreeList::State::kNotLoaded;
  for (const std::uint32_t node : nodes) isPutFree(file, FreeKind::kNode, node);
}

}  // namespace isam
