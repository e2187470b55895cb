// What happens to a converted record before it is written: explosion and date expansion.
#pragma once

#include <cstddef>
#include <set>
#include <span>
#include <vector>

#include "datarep/byte_order.h"
#include "reshape/record_shape.h"

namespace tolvane {

class Reshape {
 public:
  // Records become `size` bytes long, and never shorter than the copybook's records become. With
  // `ebcdic` they are EBCDIC.
  Reshape(const copybook::SymbolTable& table, std::size_t size, bool ebcdic);

  [[nodiscard]] std::size_t size() const { return size_; }
  // The condition that holds for an unconverted record; null: none does.
  [[nodiscard]] const MaskItem* ConditionOf(std::span<const Byte> unconverted) const;
  // Writes the reshaped record, of size() bytes, to `out`. A field that the record holds only in
  // part is copied as far as it is there, and reported if it is a date.
  void Run(const MaskItem* condition, std::span<const Byte> record, Byte* out);

 private:
  void Rewrite(const PlanStep& step, std::span<const Byte> bytes, std::span<Byte> out);
  void CopyRest(std::span<const Byte> rest, std::span<Byte> out);
  void Explode(const PlanStep& step, std::span<const Byte> bytes, std::span<Byte> out);

  RecordShape shape_;
  std::size_t size_;
  bool ebcdic_;
  DateExpander dates_;
  std::vector<Byte> exploded_;          // a field that is widened after its explosion
  std::set<const MaskItem*> reported_;  // fields that held no number
  bool is_cut_ = false;                 // a record that lost bytes was reported
};

}  // namespace tolvane
