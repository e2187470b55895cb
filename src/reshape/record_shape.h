// How records grow: by the explosion of their packed and signed fields, by the date fields that
// DATE IS widens, or by both, in which case a field is exploded first. Compiled from the copybook,
// once, into a plan for the records that no condition selects and one for each condition.
//
// First every field is placed: its group grows by the sum of what grows in it, and a field and its
// redefinitions by the largest growth among them, so that what stands behind them stands at one
// place in all records. Plans, sizes, keys and the exploded copybook follow from the places.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <unordered_map>
#include <vector>

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
  [[nodiscard]] bool is_date() const { return date.date != nullptr; }
};

// Where a field comes to lie: its first occurrence, and the bytes of one.
struct GrownPlace {
  std::int64_t offset = 0, length = 0;
};

// Bytes that a field and its redefinitions take, all occurrences together.
struct Extent {
  std::int64_t before = 0, after = 0;
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

  // What becomes of a field; null: it stays, or never applies. Of a date in a group the member that
  // holds the year is told too.
  [[nodiscard]] const FieldChange* ChangeOf(const copybook::Field& field) const;
  [[nodiscard]] const GrownPlace& PlaceOf(const copybook::Field& field) const {
    return places_.at(&field);
  }
  // Of a field that redefines nothing, with the redefinitions of it.
  [[nodiscard]] Extent ExtentOf(const copybook::Field& base) const;
  // Bytes of the longest record.
  [[nodiscard]] std::int64_t GetExpandedRecordSize() const { return record_size_; }

  // Where a byte of a record comes to lie that no condition selects.
  [[nodiscard]] std::size_t MapOffset(std::size_t offset) const {
    return PlanFor(nullptr).MapOffset(offset);
  }
  // Whether a byte comes to lie at one place in all records.
  [[nodiscard]] bool IsFixed(std::size_t offset) const;

 private:
  // Distance of an occurrence from the first: in the unconverted, the converted and the grown
  // record.
  struct Shift {
    std::int64_t source = 0, converted = 0, grown = 0;
  };
  struct Selection;
  struct Draft;  // a plan in the making

  void NoteChange(const copybook::Field& field, const std::vector<Selection>& selections);
  void NoteYear(const copybook::Field& group, const DateField& date);
  [[nodiscard]] std::int64_t PlaceMembers(const copybook::Field* first, std::int64_t shift);
  void Place(const copybook::Field& field, std::int64_t shift);

  void MakePlan(const Selection& selection);
  void PlanMembers(const copybook::Field* first, Shift shift, Draft& draft) const;
  void PlanField(const copybook::Field& field, Shift shift, Draft& draft) const;
  void PlanOccurrence(const copybook::Field& field, Shift shift, Draft& draft) const;

  const copybook::SymbolTable& table_;
  std::unordered_map<const copybook::Field*, FieldChange> changes_;
  std::set<const copybook::Field*> touched_;  // they and the groups around them
  std::unordered_map<const copybook::Field*, GrownPlace> places_;
  std::int64_t record_size_ = 0;
  std::map<const MaskItem*, RecordPlan> plans_;
};

// Moves the key table to the grown records. A key that names a field goes where that goes; of one
// given by its position, the part before a field that grows stays, behind it it moves, over it it
// grows, with a warning if it does not so in all records.
void AlterKeysDescription(const copybook::SymbolTable& table, const RecordShape& shape);

}  // namespace tolvane
