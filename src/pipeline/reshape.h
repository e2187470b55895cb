// What happens to a converted record before it is written: explosion and date expansion.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "convert/explode.h"
#include "datarep/byte_order.h"
#include "dates/date_is.h"

namespace tolvane {

// The date expansion of the run, behind the explosion if there is one.
[[nodiscard]] RecordExpander MakeExpander();

class Reshape {
 public:
  // By the options as they stand.
  Reshape();

  [[nodiscard]] bool changes() const { return exploder_ || expander_; }
  // Bytes of a record that has been reshaped.
  [[nodiscard]] std::size_t size() const { return size_; }
  // Writes the reshaped record, of size() bytes, to `out`; `unconverted` tells which conditions
  // hold.
  void Run(std::span<const Byte> unconverted, std::span<const Byte> record, Byte* out);

 private:
  std::size_t size_;
  std::optional<RecordExploder> exploder_;
  std::optional<RecordExpander> expander_;
  std::vector<Byte> exploded_;
};

}  // namespace tolvane
