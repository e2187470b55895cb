#include "driver/commands.h"

#include <cerrno>

#include "driver/nine_to_eight.h"
#include "files/fileio.h"
#include "pipeline/backrest.h"
#include "platform/console.h"
#include "platform/system_calls.h"
#include "platform/trace.h"
#include "state/options.h"

namespace tolvane {
namespace {

// What a step of the dispatch says of the run.
enum class Step { kNext, kDone, kFailed };

Step NotBuilt(const char* operation) {
  PrintError("%s: this operation is not available yet.\n", operation);
  return Step::kFailed;
}

Step ShowStatus() { return opt.sw_status != 0 ? NotBuilt("Status") : Step::kNext; }

Step NineToEight() {
  if (opt.sw_9to8 == 0) return Step::kNext;
  ConvertNineToEight(opt.infile, opt.outfile, opt.sw_ins_lf != 0);
  return Step::kDone;
}

Step LoadMask() {
  return opt.bCopyBookFlag != 0 || opt.sw_print_mask != 0 ? NotBuilt("Copybook") : Step::kNext;
}

Step ReportCopybook() { return opt.sw_report != 0 ? NotBuilt("Copybook report") : Step::kNext; }

Step SetUpAnalysis() { return opt.sw_analyze != 0 ? NotBuilt("Analysis") : Step::kNext; }

Step SizeExplosion() { return opt.sw_explode != 0 ? NotBuilt("Explosion") : Step::kNext; }

Step SizeDates() { return opt.expandDateFlag != 0 ? NotBuilt("Date expansion") : Step::kNext; }

Step Reorganise() { return opt.sw_data_reorg != 0 ? NotBuilt("Reorganisation") : Step::kNext; }

Step DeleteFile() {
  if (opt.sw_delete == 0) return Step::kNext;
  if (VerifyZorFileName(opt.outfile) == 0) return Step::kFailed;
  if (opt.sw_indexed != 0) return NotBuilt("Deletion of an indexed file");
  if (opt.sw_sequential == 0 && opt.sw_relative == 0) {
    PrintError("Missing file type: Is the file indexed, sequential or relative?\n");
    return Step::kNext;
  }
  // Deliberate: the deletion is announced even when there was nothing to remove.
  (void)sys.unlink(opt.outfile.c_str());
  PrintOutput("File '%s' has been deleted.\n", opt.outfile.c_str());
  return Step::kNext;
}

Step CreateFile() {
  if (opt.sw_create == 0) return Step::kNext;
  if (opt.sw_backup != 0) return CreateOutFile() != 0 ? Step::kNext : Step::kFailed;
  if (opt.sw_restore != 0) return Step::kNext;
  return CreateOutFile() != 0 ? Step::kDone : Step::kFailed;
}

Step RefuseBoth() {
  if (opt.sw_backup == 0 || opt.sw_restore == 0) return Step::kNext;
  PrintError("Can NOT perform both backup and restore\n");
  return Step::kFailed;
}

Step Transfer() {
  if (opt.sw_analyze == 0 && opt.sw_backup == 0 && opt.sw_restore == 0) return Step::kNext;
  return PrepareBackupRestoreOper() != 0 ? Step::kNext : Step::kFailed;
}

Step Register() {
  if (opt.sw_backup == 0 && opt.sw_restore == 0) return Step::kNext;
  if (opt.sw_addsys != 0 || opt.sw_addcatlg != 0) return NotBuilt("Registration");
  return Step::kNext;
}

// The steps of the dispatch, in their order.
constexpr Step (*kSteps[])() = {
    ShowStatus, NineToEight, LoadMask,   ReportCopybook, SetUpAnalysis, SizeExplosion, SizeDates,
    Reorganise, DeleteFile,  CreateFile, RefuseBoth,     Transfer,      Register,
};

}  // namespace

int ExecuteCommandLine() {
  TRACE_FRAME();
  for (const auto step : kSteps) {
    const Step result = step();
    if (result != Step::kNext) return result == Step::kDone ? 1 : 0;
  }
  return 1;
}

}  // namespace tolvane
