#include "pipeline/backrest.h"

#include <new>

#include "convert/conditions.h"
#include "convert/copybook_source.h"
#include "dates/analysis.h"
#include "pipeline/backup.h"
#include "pipeline/restore.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {
namespace {

// The form of the backup decides kind and conversion; the first form that is set counts.
Job DecideJob() {
  const Conversion base = opt.sw_ebcdic != 0  ? Conversion::kToEbcdic
                          : opt.sw_ascii != 0 ? Conversion::kToAscii
                                              : Conversion::kNone;
  const Conversion of_os3 = opt.sw_restore != 0  ? Conversion::kToAscii
                            : opt.sw_backup != 0 ? Conversion::kToEbcdic
                                                 : base;
  const struct {
    bool chosen;
    Job job;
  } forms[] = {
      {opt.sw_msdos != 0, {InputKind::kMsdosText, base}},
      {opt.sw_unix != 0, {InputKind::kUnixText, base}},
      {opt.sw_os3 != 0, {InputKind::kTape, of_os3}},
      {lasting.bCopyGFlag != 0, {InputKind::kCopyg, Conversion::kToEbcdic}},
      {opt.sw_eltfile != 0, {InputKind::kElement, Conversion::kToEbcdic}},
      {opt.sw_sdf != 0, {InputKind::kSdf, Conversion::kToEbcdic}},
  };
  for (const auto& form : forms)
    if (form.chosen) return form.job;
  return {InputKind::kTape, base};
}

// The report of an analysis, if there was one.
void ReportAnalysis() {
  if (opt.sw_analyze == 0) return;
  const auto file = copybooks.csid->First()->source.entry.begin.file;
  const std::string& copybook =
      opt.copyfile.empty() ? copybooks.csid->files().at(file) : opt.copyfile;
  (void)analysis.PrintAnalyseReport(opt.infile, copybook, lasting.sw_dates_only != 0);
}

}  // namespace

int PrepareBackupRestoreOper() {
  TRACE_FRAME();
  const Job job = DecideJob();
  if (job.conversion == Conversion::kToAscii)
    for (MaskItem& item : mask_list)
      if (item.is_condition()) ConvertIdIsConditionToEbcdic(item);
  const bool backs_up = opt.sw_backup != 0;
  try {
    if ((backs_up ? BackUp(job) : PrepareRestoreOper(job)) != 0) {
      ReportAnalysis();
      return 1;
    }
  } catch (const std::bad_alloc& error) {
    PrintError("Memory allocation error: %s\n", error.what());
    return 0;
  }
  PrintOutput("%s NOT successful\n", backs_up ? "Backup" : "PrepareRestoreOper");
  return 0;
}

}  // namespace tolvane
