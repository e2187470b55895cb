#include "driver/commands.h"

#include <isam.h>

#include <algorithm>

#include "convert/copybook_mask.h"
#include "convert/copybook_report.h"
#include "convert/explode.h"
#include "convert/mask.h"
#include "dates/analysis.h"
#include "dates/date_is.h"
#include "driver/mask_file.h"
#include "driver/nine_to_eight.h"
#include "files/apart.h"
#include "files/fileio.h"
#include "files/indexed_file.h"
#include "files/platform_records.h"
#include "files/status.h"
#include "pipeline/backrest.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/paths.h"
#include "platform/system_calls.h"
#include "platform/trace.h"
#include "reshape/explode_copybook.h"
#include "reshape/record_shape.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {

using copybook::RecordDescription;

namespace {

// What a step of the dispatch says of the run.
enum class Step { kNext, kDone, kFailed };

Step ShowStatus() {
  if (opt.sw_status == 0) return Step::kNext;
  DisplayFileStatus();
  return Step::kDone;
}

Step NineToEight() {
  if (opt.sw_9to8 == 0) return Step::kNext;
  ConvertNineToEight(opt.infile, opt.outfile, opt.sw_ins_lf != 0);
  return Step::kDone;
}

// The grammar file's copybook has made its list already.
Step LoadMask() {
  if (opt.bCopyBookFlag == 0 && opt.sw_print_mask == 0) return Step::kNext;
  if (opt.bCopyBookFlag != 0 && !opt.copyfile.empty()) {
    MaskListEmpty();
    if (LoadMaskList() == 0 || SaveDateIsFields(*copybooks.csid) == 0) return Step::kFailed;
  }
  if (opt.sw_mask_file != 0 && WriteMaskFile() == 0) return Step::kFailed;
  return opt.sw_print_mask != 0 ? Step::kDone : Step::kNext;
}

Step ReportCopybook() {
  if (opt.sw_report == 0) return Step::kNext;
  return SearchCopyBookForBinaryFields(opt.copyfile, opt.sw_report_sum != 0) != 0 ? Step::kDone
                                                                                  : Step::kFailed;
}

Step SetUpAnalysis() {
  if (opt.sw_analyze == 0) return Step::kNext;
  if (copybooks.csid == nullptr) {
    PrintError("ANALYZE needs a COPYBOOK IS statement.\n");
    return Step::kFailed;
  }
  return analysis.BuildFieldTable(*copybooks.csid, date_statements.fields) == 0 ? Step::kNext
                                                                                : Step::kFailed;
}

// Records that grow are as long as their copybook says. Explosion keeps what an input record has
// beyond its copybook, behind the rest.
Step SizeGrownRecords() {
  if (!RecordsGrow()) return Step::kNext;
  if (opt.sw_explode != 0) {
    WarnOfUnequalGroups();
    if (writeExpCopybook() == 0) return Step::kFailed;
  }
  const std::int64_t described = copybooks.csid->LongestRecord(&RecordDescription::length);
  const std::int64_t beyond =
      opt.sw_explode != 0 ? std::max<std::int64_t>(0, opt.gblRecSize - described) : 0;
  sizes.gblExpRecSize =
      static_cast<std::int32_t>(RecordShape(*copybooks.csid).GetExpandedRecordSize() + beyond);
  return Step::kNext;
}

// Creates the output of a reorganisation; that is all that one consists of.
Step Reorganise() {
  if (opt.sw_data_reorg == 0) return Step::kNext;
  if (copybooks.csout != nullptr) {
    if (validateKeys(*copybooks.csout) == 0) return Step::kFailed;
    if (opt.gblRecSize == 0)
      opt.gblRecSize =
          static_cast<std::int32_t>(copybooks.csout->LongestRecord(&RecordDescription::aux_length));
  }
  if (VerifyZorFileName(opt.outfile) == 0) return Step::kFailed;
  if (opt.sw_relative == 0 && opt.sw_indexed == 0 && opt.sw_sequential == 0) {
    PrintError("Missing type for output file; indexed, sequential or relative?\n");
    return Step::kDone;
  }
  if (IsTransfer() && CreateZorFile() == 0) return Step::kFailed;
  return Step::kDone;
}

Step MoveKeysOfGrownRecords() {
  if (!RecordsGrow()) return Step::kNext;
  lasting.prime_key_of_input = KeyOf(std::max(opt.nPrimeKeyNo, 1));
  AlterKeysDescription(*copybooks.csid, RecordShape(*copybooks.csid));
  return Step::kNext;
}

Step DeleteIndexedFile() {
  const char* const name = opt.outfile.c_str();
  const int error = iserase(name) == 0 ? 0 : iserrno;
  // Deliberate: the deletion is announced even when there was nothing to remove.
  if (error == 0 || error == ENOENT) {
    PrintOutput("Indexed file '%s' has been deleted.\n", name);
  } else {
    InterpretIsamError(error, opt.outfile, {});
    if (error == EFLOCKED) return Step::kFailed;
  }
  if (error != 0 && !IsLink(opt.outfile)) return Step::kNext;
  if (sys.unlink(name) == 0) PrintOutput("Symbolic Link for file '%s' has been deleted.\n", name);
  return Step::kNext;
}

Step DeleteFile() {
  if (opt.sw_delete == 0) return Step::kNext;
  if (VerifyZorFileName(opt.outfile) == 0) return Step::kFailed;
  if (IsTransfer() && CheckDeletionApart() == 0) return Step::kFailed;
  if (opt.sw_indexed != 0) return DeleteIndexedFile();
  if (opt.sw_sequential == 0 && opt.sw_relative == 0) {
    PrintError("Missing file type: Is the file indexed, sequential or relative?\n");
    return Step::kNext;
  }
  // Deliberate: announced in the same way.
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
  if (opt.sw_analyze == 0 && !IsTransfer()) return Step::kNext;
  return PrepareBackupRestoreOper() != 0 ? Step::kNext : Step::kFailed;
}

Step AddAlternateKeys() {
  if (!IsTransfer()) return Step::kNext;
  if (opt.sw_create == 0 || opt.sw_indexed == 0 || lasting.sw_nodupsecondary != 0)
    return Step::kNext;
  if (AddIndexes() == 0) return Step::kFailed;
  PrintOutput("\nEnd Time:     %s\n\n", GetDateString().c_str());
  return Step::kNext;
}

Step Register() {
  if (!IsTransfer()) return Step::kNext;
  const struct {
    Switch chosen;
    SystemFileType type;
  } types[] = {{opt.sw_indexed, SystemFileType::kIndexed},
               {opt.sw_relative, SystemFileType::kRelative},
               {opt.sw_sequential, SystemFileType::kSequential}};
  for (const auto& [chosen, type] : types)
    if (opt.sw_addsys != 0 && chosen != 0 && AddRecordToSystemFile(type) != 0)
      (void)AddRecordToSecurityFile();  // it has reported
  if (opt.sw_addcatlg != 0) (void)AddRecordToZorCatLg();
  return Step::kNext;
}

// The steps of the dispatch, in their order.
constexpr Step (*kSteps[])() = {
    ShowStatus,       NineToEight,      LoadMask,   ReportCopybook,
    SetUpAnalysis,    SizeGrownRecords, Reorganise, MoveKeysOfGrownRecords,
    DeleteFile,       CreateFile,       RefuseBoth, Transfer,
    AddAlternateKeys, Register,
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
