// The records of an SDF file on their way into a restore: fetched one by one, as many as the label
// tells, and converted. What is wrong with the file is reported here; the volume is then damaged.
#pragma once

#include <cstdint>
#include <vector>

#include "convert/sdf_record.h"
#include "media/tape_io.h"

namespace tolvane {

class SdfInput {
 public:
  explicit SdfInput(TapeIo& tape) : tape_(tape), converter_(mask_list) {}

  // Plans the conversion, and settles with the user what becomes of records whose size is not the
  // copybook's. 0 when the run must stop.
  [[nodiscard]] int Prepare();

  [[nodiscard]] std::int64_t record_count() const { return tape_.sdf->label.record_count; }
  // Makes the next record the one at hand. False after a message when there is none.
  [[nodiscard]] bool Fetch();
  // The most bytes that the record at hand may become, and its conversion.
  [[nodiscard]] std::size_t MostBytes() const { return converter_.MostBytes(record_.size()); }
  std::size_t Convert(Byte* out) { return converter_.ConvertSdfRec(record_, out); }
  // Says when there are more records than the label tells.
  void CheckEnd();

  // Binary values that were cut.
  [[nodiscard]] std::int64_t cut_values() const { return converter_.cut_values(); }

 private:
  [[nodiscard]] int ConfirmCopybookSize() const;
  void CheckConvertedSize() const;

  TapeIo& tape_;
  SdfConverter converter_;
  std::vector<std::uint16_t> record_;
};

}  // namespace tolvane
