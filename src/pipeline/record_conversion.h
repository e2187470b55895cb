// What a restore makes of the bytes of a record before its fields grow: the dates aged, the fields
// converted, the signs translated, or a plain copy. Compiled once from the mask list and the
// options as they stand.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "convert/convert.h"
#include "dates/age_record.h"
#include "media/tape_io.h"
#include "pipeline/job.h"

namespace tolvane {

class RecordConversion {
 public:
  // Bytes that a plain copy brings behind a record.
  static constexpr std::size_t kBehind = 2;

  // Made when the mask list and the options are settled. `tape` tells the record size of its label
  // or descriptor and must outlive the conversion.
  RecordConversion(const TapeIo& tape, Conversion conversion);

  // Bytes that a record of `bytes` bytes becomes.
  [[nodiscard]] std::size_t Grown(std::size_t bytes) const {
    return bytes + (converter_ ? converter_->growth() : 0);
  }
  // Fills `out`, which has room for the grown record and kBehind bytes. Returns how many bytes of
  // it are filled, or -1 at a byte that is no text.
  [[nodiscard]] std::int64_t Convert(std::span<const Byte> record, Byte* out);

 private:
  [[nodiscard]] std::int64_t Copy(std::span<const Byte> record, Byte* out) const;

  const TapeIo& tape_;
  std::optional<RecordConverter> converter_;
  std::optional<RecordAger> ager_;
};

}  // namespace tolvane
