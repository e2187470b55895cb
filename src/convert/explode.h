// Explosion: records for another COBOL compiler, in which packed fields are unpacked and, on
// request, signs stand in a byte of their own. Works on converted records, by the mask list.
//
// A signed field without a byte for its sign keeps it in the zone of its last digit, in the form of
// the target compiler.
#pragma once

#include <functional>
#include <map>
#include <span>

#include "convert/mask.h"
#include "convert/record_plan.h"
#include "datarep/byte_order.h"

namespace tolvane {

// Bytes by which records grow, computed once; with warnings of redefinitions that grow differently.
[[nodiscard]] std::int32_t explodeSize();

class RecordExploder {
 public:
  explicit RecordExploder(const MaskList& items);

  // Writes the exploded record; `out` holds `size` bytes, those behind the record become blanks.
  // `unconverted` tells which conditions hold.
  void ExplodeRecord(std::span<const Byte> unconverted, std::span<const Byte> record, Byte* out,
                     std::size_t size) const;
  // Where a byte of the record comes to lie when no condition holds.
  [[nodiscard]] std::size_t MapOffset(std::size_t offset) const {
    return plans_.at(nullptr).MapOffset(offset);
  }

 private:
  [[nodiscard]] RecordPlan PlanFor(const MaskItem* condition) const;

  const MaskList& items_;
  std::map<const MaskItem*, RecordPlan> plans_;  // by the condition that holds; null: none
};

// Moves the key table to the exploded record.
void fixExplodedKeys();
// Moves the key table to records whose bytes come to lie elsewhere: a key grows with the fields
// that it covers.
void MoveKeys(const std::function<std::size_t(std::size_t)>& moved);

// Writes the copybook of the exploded records beside the copybook, with ".EXP" added to its name.
// 1, or 0 after a message.
[[nodiscard]] int writeExpCopybook();

}  // namespace tolvane
