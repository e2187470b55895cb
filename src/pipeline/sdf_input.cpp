#include "pipeline/sdf_input.h"

#include "platform/console.h"
#include "platform/trace.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {

int SdfInput::ConfirmCopybookSize() const {
  if (sizes.gblCpySize == tape_.record_size) return 1;
  PrintWarning("Copybook record size (%d) does NOT match SDF record size (%d)\n", sizes.gblCpySize,
               tape_.record_size);
  PrintOutput("If you continue, your records will be %d bytes long.\n", sizes.gblCpySize);
  return AskToContinue("Do you wish to continue (Y/N) ?>", opt.sw_automatic != 0) ? 1 : 0;
}

// The records as converted must be the copybook's, but for what fills their last word.
void SdfInput::CheckConvertedSize() const {
  const auto converted = converter_.MostBytes(static_cast<std::size_t>(tape_.record_size));
  const auto wanted = static_cast<std::size_t>(sizes.gblCpySize);
  if (opt.bCopyBookFlag == 0 || opt.expandDateFlag != 0) return;
  if (converted >= wanted && converted - wanted < kQuartersInWord) return;
  PrintWarning("The SDF records become %zu bytes long by the fields of the copybook, not %zu.\n",
               converted, wanted);
}

int SdfInput::Prepare() {
  TRACE_FRAME();
  if (ConfirmCopybookSize() == 0 || !converter_.Compile()) return 0;
  CheckConvertedSize();
  if (record_count() >= 1) return 1;
  PrintWarning("Number of records is : (%ld)\n", record_count());
  return 0;
}

bool SdfInput::Fetch() {
  const auto most_words =
      (static_cast<std::size_t>(tape_.record_size) + kQuartersInWord - 1) / kQuartersInWord;
  if (tape_.sdf->reader.NextRecord(record_, most_words)) {
    ++tape_.records;
    return true;
  }
  if (!tape_.sdf->reader.damaged())
    PrintError("'%s' ends after %ld of the %ld records that its label tells.\n",
               tape_.device.c_str(), tape_.records, record_count());
  tape_.damaged = true;
  return false;
}

void SdfInput::CheckEnd() {
  SdfReader& reader = tape_.sdf->reader;
  SdfImage image;
  while (reader.NextImage(image)) {
    if (!image.is_control && image.words > 0) {
      PrintWarning("'%s' holds more records than the %ld that its label tells.\n",
                   tape_.device.c_str(), record_count());
      return;
    }
    if (!reader.Pass(image)) break;
  }
  if (reader.damaged()) tape_.damaged = true;
}

}  // namespace tolvane
