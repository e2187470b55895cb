// Ages the dates of whole records: the fields that AGE statements name, found through the mask
// list.
#pragma once

#include <deque>
#include <span>
#include <vector>

#include "convert/mask.h"
#include "datarep/byte_order.h"
#include "dates/age_date.h"

namespace tolvane {

class RecordAger {
 public:
  // Both must outlive the ager. Warns of an entry that names no field of the list.
  RecordAger(const MaskList& items, const std::vector<AgeEntry>& entries);

  // Copies the record to `out`, which has room for it, and ages it there. Fields behind a condition
  // are aged only in records for which it holds, those beyond the end of a short record not at all.
  // 1, or 0 when a field could not be aged, after a message; the others are aged then.
  int DoDateAgingOper(std::span<const Byte> record, Byte* out);

 private:
  struct Step {
    const MaskItem* item;
    DateAger* ager;      // null: a condition
    std::size_t length;  // characters of the date layout
  };
  [[nodiscard]] static int AgePacked(std::span<Byte> field, const Step& step);

  std::deque<DateAger> agers_;
  std::vector<Step> steps_;
};

}  // namespace tolvane
