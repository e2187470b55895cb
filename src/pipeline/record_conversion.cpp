#include "pipeline/record_conversion.h"

#include <algorithm>

#include "convert/mask.h"
#include "dates/date_statements.h"
#include "platform/console.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {

RecordConversion::RecordConversion(const TapeIo& tape, Conversion conversion) : tape_(tape) {
  if (conversion != Conversion::kNone || opt.sw_interchange != 0)
    converter_.emplace(mask_list, run.sw_a2e);
  if (lasting.ageFlag != 0) ager_.emplace(mask_list, date_statements.pAgeStruct);
}

std::int64_t RecordConversion::Convert(std::span<const Byte> record, Byte* out) {
  if (ager_) {
    if (ager_->DoDateAgingOper(record, out) == 0) {
      PrintOutput("The field[s] above not aged.\n");
      PrintOutput("Aging record failed : %d\n\n", static_cast<int>(run.nCurrInputRec));
    }
  } else if (converter_) {
    if (converter_->ConvertBinChars(record, out) == 0) return -1;
  } else if (opt.sw_ascii_sign != 0) {
    ConvertAsciiSigns(record, out);
  } else {
    return Copy(record, out);
  }
  return static_cast<std::int64_t>(Grown(record.size()));
}

std::int64_t RecordConversion::Copy(std::span<const Byte> record, Byte* out) const {
  // A record that grows keeps what it has behind the copybook.
  const std::size_t most =
      RecordsGrow() ? record.size() : static_cast<std::size_t>(sizes.gblCpySize);
  const std::size_t size = std::min(most, record.size());
  std::copy_n(record.begin(), size, out);
  if (record.size() < static_cast<std::size_t>(tape_.record_size))
    return static_cast<std::int64_t>(size);
  // Deliberate: a plain copy brings two bytes more than the record, which are zero.
  std::fill_n(out + size, kBehind, Byte{0});
  return static_cast<std::int64_t>(size + kBehind);
}

}  // namespace tolvane
