#include "convert/mask_list_builder.h"

#include <algorithm>

#include "convert/comp1100.h"
#include "convert/mask_of_field.h"
#include "copybook/table_index.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "state/options.h"

namespace tolvane {

using copybook::Field;
using copybook::SymbolTable;

namespace {

constexpr std::int64_t kMostItems = 1000000;  // of the list

int Fail(const char* text) {
  PrintError("%s", text);
  return 0;
}

// The first item from `field` on that is no redefinition, nor below one. Standalone items are no
// part of a record.
const Field* SkipRedefinitions(const Field* field) {
  while (field != nullptr &&
         (field->redefines != nullptr || field->level == 1 || field->IsStandalone())) {
    TRACE_LINE("Skipping %02d  %s (REDEFINES item)\n", field->level, field->name.c_str());
    const int level = field->level;
    do field = field->next;
    while (field != nullptr && field->level > level);
  }
  return field;
}

bool IsOnList(const Field& field) {
  return std::any_of(mask_list.begin(), mask_list.end(), [&field](const MaskItem& item) {
    return item.type == mask_type::kBinary && item.location == field.offset &&
           item.length == field.length;
  });
}

}  // namespace

const Field* FindItem(const SymbolTable& table, const std::string& name) {
  const Field* const field = table.GetSymHashSubStr(name).Unique();
  return field == nullptr || field->IsStandalone() ? nullptr : field;
}

// ---- segments

int MaskListBuilder::AddRecords() {
  const Field* field = table_.First();
  while (field != nullptr && field->IsStandalone()) field = field->next;
  for (; field != nullptr; field = SkipRedefinitions(field->next))
    if (ProcessMaskListCandidate(*field) == 0) return Fail("Processing mask list candidates\n");
  return 1;
}

int MaskListBuilder::AddRawFields() {
  for (const std::string& name : opt.rawfield) {
    const Field* const field = FindItem(table_, name);
    if (field == nullptr) {
      PrintError("Can not find unique field %s ", name.c_str());
      return Fail("Adding RAW fields to the mask table\n");
    }
    if (IsWordData() && field->length > static_cast<std::int64_t>(kMostCompQuarters))
      return Fail("Can not handle raw fields longer than 7 bytes!!\n");
    if (!IsOnList(*field) && AddSymbolToMaskTable(*field, mask_type::kBinary) == 0) return 0;
  }
  return 1;
}

int MaskListBuilder::EndSegment() {
  if (SortMaskList(segment_) == 0) return 0;
  if (segment_ == 0) NoteUnconditional();
  return 1;
}

void MaskListBuilder::BeginGroup(MaskItem condition) {
  segment_ = mask_list.size();
  AddNewItemToMaskList(std::move(condition));
}

int MaskListBuilder::AddUsed(const Field& field) {
  if (!field.IsGroup()) return ProcessMaskListCandidate(field);
  for (const Field* member = field.next; member != nullptr && member->level > field.level;
       member = SkipRedefinitions(member->next)) {
    TRACE_LINE("%02d  %s (GROUP item)\n", member->level, member->name.c_str());
    if (ProcessMaskListCandidate(*member) == 0) return 0;
  }
  return 1;
}

int MaskListBuilder::Finish() {
  if (SortMaskList(segment_) == 0) return Fail("Sorting mask list\n");
  std::erase_if(mask_list, [](const MaskItem& item) { return item.type == 0; });
  return 1;
}

// ---- items

int MaskListBuilder::ProcessMaskListCandidate(const Field& field) {
  const char type = MaskItemOf(field).type;
  if (type == mask_type::kBinary && field.usage == '1' && !IsRawField(field))
    return AddBitBytes(field);
  if (type != 0) return AddSymbolToMaskTable(field, type);
  if (!NeedsCompiler(field)) return 1;
  PrintError("COBOL compiler type unknown \n");
  PrintError("You must specify (MF or MBP) to convert signed numeric data.\n");
  return 0;
}

// One item for each occurrence of the field; only the first carries its usage.
int MaskListBuilder::AddSymbolToMaskTable(const Field& field, char type) {
  copybook::TableIndex index(field);
  if (index.Count() > kMostItems - static_cast<std::int64_t>(mask_list.size()))
    return Fail("Allocating memory for mask table.\n");
  MaskItem item = MaskItemOf(field, type);
  bool first = true;
  do {
    item.location = static_cast<std::int32_t>(index.CalcIdxOffset());
    item.expanded_location = index.CalcIdxAuxOffset();
    item.source_bit = static_cast<std::int8_t>(index.Bit());
    item.destination_bit = static_cast<std::int8_t>(index.AuxBit());
    if (first) Unlink(item);
    AddNewItemToMaskList(item);
    item.usage = 0;
    first = false;
  } while (index.CalcNextIdx());
  return 1;
}

// Bit fields that stay bits: the bytes that hold them, each once.
int MaskListBuilder::AddBitBytes(const Field& field) {
  copybook::TableIndex index(field);
  if (index.Count() > kMostItems) return Fail("Allocating memory for mask table.\n");
  do {
    const std::int64_t begin = index.CalcIdxOffset();
    const std::int64_t end = begin + (index.Bit() + static_cast<unsigned>(field.digits) + 7) / 8;
    MaskItem* const last = mask_list.empty() ? nullptr : &mask_list.back();
    if (last != nullptr && last->usage == '1' && begin >= last->location && begin <= last->end()) {
      last->length = std::max(last->end(), end) - last->location;
      continue;
    }
    MaskItem item = MaskItemOf(field, mask_type::kBinary);
    item.location = static_cast<std::int32_t>(begin);
    item.expanded_location = index.CalcIdxAuxOffset();
    item.length = end - begin;
    AddNewItemToMaskList(std::move(item));
  } while (index.CalcNextIdx());
  return 1;
}

// Notes the items before the first condition; the first of equal ones counts.
void MaskListBuilder::NoteUnconditional() {
  unconditional_.clear();
  for (std::size_t i = 0; i < mask_list.size() && !mask_list[i].is_condition(); ++i) {
    const MaskItem& item = mask_list[i];
    // Deliberate: binary and packed items are kept beside those of a group.
    if (item.type != mask_type::kBinary && item.type != mask_type::kPacked)
      unconditional_.emplace(Identity{item.type, item.location, item.length}, i);
  }
}

// Marks the item of every record whose place this one takes; Finish drops it.
void MaskListBuilder::Unlink(const MaskItem& item) {
  const auto found = unconditional_.find({item.type, item.location, item.length});
  if (found == unconditional_.end()) return;
  mask_list[found->second].type = 0;
  unconditional_.erase(found);
}

}  // namespace tolvane
