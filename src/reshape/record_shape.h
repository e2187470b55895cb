// How records grow: by the explosion of their packed and signed fields, by the date fields that
// DATE IS widens, or by both, in which case a field is exploded first. Compiled from the copybook,
// once, into a plan for the records that no condition selects and one for each condition.
//
// Descriptions of the same bytes grow to the largest of them, so that what stands behind them
// stands at one place in all records. Sizes, keys and the exploded copybook follow from here.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>

#include "convert/mask.h"
#include "copybook/symbol_table.h"
#include "dates/date_is.h"
#include "reshape/record_plan.h"

namespace tolvane {

// What is done to each occurrence of a field.
struct FieldChange {
  MaskItem item;      // type 0: not exploded
  DateField date;     // date.date null: not widened
  std::size_t width;  // bytes in the end

  [[nodiscard]] bool explodes() const { return item.type != 0; }
};

class RecordShape {
 public:
  // By the mask list, the DATE IS records of the table and the options as they stand. The table
  // must outlive the shape.
  explicit RecordShape(const copybook::SymbolTable& table);
  RecordShape(const RecordShape&) = delete;
  RecordShape& operator=(const RecordShape&) = delete;

  // The plan for records that a condition selects; null: none does.
  [[nodiscard]] const RecordPlan& PlanFor(const MaskItem* condition) const {
    return plans_.at(condition);
  }
  [[nodiscard]] bool has_conditions() const { return plans_.size() > 1; }

  // Bytes of a field, all occurrences together, and of the longest record.
  [[nodiscard]] std::int64_t GetExpandedFieldSize(const copybook::Field& field) const;
  [[nodiscard]] std::int64_t GetExpandedRecordSize() const;
  // Where a byte of the record comes to lie.
  [[nodiscard]] std::size_t MapOffset(std::size_t offset) const {
    return PlanFor(nullptr).MapOffset(offset);
  }
  // What becomes of a field; null: it stays, or never applies.
  [[nodiscard]] const FieldChange* ChangeOf(const copybook::Field& field) const;

 private:
  // Distance of an occurrence from the first, in the unconverted and the converted record.
  struct Shift {
    std::int64_t source = 0, converted = 0;
  };
  struct Draft;  // a plan in the making

  void NoteChange(const copybook::SymbolTable& table, const copybook::Field& field);
  [[nodiscard]] std::int64_t GrowthOf(const copybook::Field& field) const;
  [[nodiscard]] std::int64_t GrowthOfMembers(const copybook::Field* first) const;
  [[nodiscard]] std::int64_t GrowthOfLayouts(const copybook::Field& base) const;

  void MakePlan(const MaskItem* condition);
  void PlanMembers(const copybook::Field* first, Shift shift, Draft& draft) const;
  void PlanField(const copybook::Field& field, Shift shift, Draft& draft) const;
  void PlanOccurrence(const copybook::Field& field, Shift shift, Draft& draft) const;

  const copybook::SymbolTable& table_;
  std::unordered_map<const copybook::Field*, FieldChange> changes_;
  std::set<const copybook::Field*> touched_;  // they and the groups around them
  std::map<const MaskItem*, RecordPlan> plans_;
};

// Moves the key table to records whose bytes come to lie elsewhere: a key before a field that grows
// stays, one behind it moves, one over it grows.
void AlterKeysDescription(const RecordShape& shape);

}  // namespace tolvane
