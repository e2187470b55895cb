// The mask list: the fields of a record that conversion treats specially, in order, and the
// condition items that make the fields after them apply only to records that satisfy a test.
// Everything that no item covers is character data. The list is built once, before the first
// record, from a copybook or from the options -B, -P, -U and -I.
//
// A segment is a run of field items between two condition items. Failures print their message and
// return 0.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "convert/relation.h"
#include "datarep/decimal.h"

namespace tolvane {

// Types of mask items; the letters are stored and printed as such.
namespace mask_type {
inline constexpr char kBit = '1';
inline constexpr char kBinary = 'B';
inline constexpr char kGroup = 'C';
inline constexpr char kFloat = 'F';
inline constexpr char kCondition = 'I';
inline constexpr char kMbpUnpacked = 'M';
inline constexpr char kUnsigned = 'N';
inline constexpr char kPacked = 'P';
inline constexpr char kMfUnpacked = 'U';
}  // namespace mask_type

// The text of a type in dumps.
[[nodiscard]] const char* MaskTypeText(char type);

inline constexpr std::size_t kConditionValueWidth = 50;

namespace copybook {
struct Field;
}

// Whether fields of the type carry their sign in the zone of one of their bytes.
[[nodiscard]] constexpr bool IsOverpunched(char type) {
  return type == mask_type::kMfUnpacked || type == mask_type::kMbpUnpacked;
}

// The zone of a negative sign in ASCII data: that of the compiler that the type stands for.
[[nodiscard]] constexpr Byte NegativeZone(char type) {
  return type == mask_type::kMbpUnpacked ? kMbpNegative : kMfNegative;
}

struct ConditionNode;

struct MaskItem {
  char type = 0;
  std::int64_t length = 0;    // bytes; -1 in a condition item made by ID IS
  std::int32_t location = 0;  // offset in the input record
  std::int16_t occurs = 1;    // repeats back to back
  std::int16_t digits = 0;    // digits of the picture; bits of a bit field
  bool is_signed = false;
  bool sign_leading = false;    // of an unpacked field: overpunched in the first byte, not the last
  bool has_sign_nibble = true;  // of a packed field: the last nibble is no digit (COMP-6: it is)
  char usage = 0;               // the copybook's usage letter, first occurrence only
  std::string name{};
  std::int64_t expanded_location = -1;  // offset in the converted record; -1: it follows from ours
  std::int8_t source_bit = 0;
  std::int8_t destination_bit = 0;

  // Condition items.
  std::int64_t condition_start = 0;            // offset of the compared field
  std::int64_t condition_end = 0;              // one past it
  const Relation* op = nullptr;                // null: `tree` decides
  std::string value{};                         // the literal of -I
  bool is_record_number = false;               // location is minus the number that op compares with
  std::shared_ptr<ConditionNode> tree{};       // of an ID IS condition
  std::vector<const copybook::Field*> used{};  // what its USE names

  [[nodiscard]] bool is_condition() const { return type == mask_type::kCondition; }
  [[nodiscard]] bool has_overpunch() const { return IsOverpunched(type); }
  // The byte of an occurrence that carries its sign.
  [[nodiscard]] std::int64_t sign_byte() const { return sign_leading ? 0 : length - 1; }
  // Whether the group of `condition` takes its place when that holds.
  [[nodiscard]] bool IsReplacedBy(const MaskItem& condition) const {
    return location >= condition.condition_start && location < condition.condition_end;
  }
  // One past the last byte of its last occurrence.
  [[nodiscard]] std::int64_t end() const { return location + length * occurs; }
};

using MaskList = std::vector<MaskItem>;

extern MaskList mask_list;

// Appends an item; a blank name becomes "FILLER".
MaskItem& AddNewItemToMaskList(MaskItem item);

// The items between a condition item of the list and the next: those that apply when it holds.
[[nodiscard]] std::span<const MaskItem> GroupOf(const MaskItem& condition);

// Sorts the segment that begins at item `first` (after it, if it is a condition item) by location,
// and checks from there to the end of the list that no field overlaps the next and that no
// condition item stands last. 1, or 0 after messages.
[[nodiscard]] int SortMaskList(std::size_t first);

// Sorts every segment from item `first` on and checks them as SortMaskList does.
[[nodiscard]] int SortMaskSegments(std::size_t first);

// Writes the list to the trace.
void MaskListDump(const char* title);

void MaskListEmpty();

}  // namespace tolvane
