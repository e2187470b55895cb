// What stands before the records of a volume of 36-bit words: the COPYG header and the label.

#include <cerrno>

#include "media/tape_io.h"
#include "platform/console.h"
#include "platform/trace.h"

namespace tolvane {
namespace {

constexpr const char* kNoSerial = "<null>";

bool OpenCopyg(TapeIo& tape) {
  WordStream& words = tape.sdf->words;
  if (!words.OpenCopyg()) return false;
  tape.copyg_qualifier = words.qualifier();
  tape.file_label = words.file_name();
  tape.counted_from = tape.blocks_read;  // the header is not counted
  if (tape.volume_serial.empty()) tape.volume_serial = kNoSerial;
  return true;
}

bool TakeDataLabel(TapeIo& tape, const SdfLabel& label) {
  if (!IsNineBit(label.data_type)) {
    PrintError(
        "This file does not contain ASCII/ISO 9-bit characters (type %X), can not process!!!\n",
        label.data_type);
    return false;
  }
  tape.record_size = label.record_size;
  if (label.record_count != 0) {
    PrintOutput("Processing an SDF format file containing %ld records.\n", label.record_count);
  } else {
    PrintOutput("Processing an SDF format file.\n");
  }
  return true;
}

bool TakeLabel(TapeIo& tape) {
  SdfLabel& label = tape.sdf->label;
  const bool complete = tape.sdf->reader.ReadLabel(label);
  if (!complete) PrintError("'%s' ends inside its label.\n", tape.device.c_str());
  if (tape.kind == InputKind::kElement) {
    if (label.kind != SdfKind::kElement) {
      PrintError("Element file NOT found, can not continue!\n");
      return false;
    }
    PrintOutput("Processing an OS/1100 element file.\n");
    return true;
  }
  if (label.kind == SdfKind::kOther) {
    PrintError("Non PCIOS file encountered. Use SORT/MERGE to create an SDF file.\n");
    PrintError("This file will NOT be processed.\n");
    return false;
  }
  if (!complete) return false;
  if (label.kind == SdfKind::kData) return TakeDataLabel(tape, label);
  PrintOutput(label.kind == SdfKind::kPrint
                  ? "Processing an SDF print file.\n"
                  : "Processing an OS/1100 element file in @COPOUT format.\n");
  return true;
}

}  // namespace

bool OpenWords(TapeIo& tape) {
  TRACE_FRAME();
  tape.sdf = std::make_unique<SdfVolume>(
      tape.device, [&tape](std::size_t most) { return getCopygSdfBlk(tape, most); });
  if ((tape.kind == InputKind::kCopyg && !OpenCopyg(tape)) || !TakeLabel(tape)) {
    errno = EINVAL;
    return false;
  }
  return true;
}

}  // namespace tolvane
