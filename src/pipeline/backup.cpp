#include "pipeline/backup.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "convert/convert.h"
#include "convert/sdf_record.h"
#include "dates/analysis.h"
#include "files/apart.h"
#include "files/fileio.h"
#include "files/questions.h"
#include "media/drive.h"
#include "media/tape_image.h"
#include "media/tape_out.h"
#include "pipeline/output_in_use.h"
#include "pipeline/platform_file.h"
#include "pipeline/progress.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/interrupt.h"
#include "platform/trace.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {
namespace {

class Backup {
 public:
  explicit Backup(const Job& job) : job_(job) {}

  int Run();

 private:
  int CheckForm() const;
  int OpenFile();
  int OpenVolume();
  void PrintBanner() const;
  int SkipRecords();
  int TransferRecords();
  int PrepareConversion();
  int ConvertRecord(std::span<const Byte> record);
  bool PutRecord();
  void TellOfLoss();
  void PrintTotals() const;
  [[nodiscard]] int Finish(bool successful);

  const Job job_;
  bool is_indexed_ = false;
  bool keeps_signs_ = false;
  std::unique_ptr<PlatformFile> file_;
  std::unique_ptr<TapeOut> tape_;
  std::optional<OutputInUse> open_;
  std::optional<RecordConverter> converter_;
  std::optional<SdfConverter> sdf_;  // a COPYG backup
  std::vector<std::uint16_t> quarters_;
  std::vector<Byte> OutRecord_;
  std::span<const Byte> to_write_;  // as it is backed up: converted, or in the file's own room
  bool told_of_loss_ = false;
};

int Backup::Run() {
  TRACE_FRAME();
  if (CheckForm() == 0 || OpenFile() == 0 || PrepareConversion() == 0 || OpenVolume() == 0)
    return 0;
  PrintBanner();
  run = {};
  run.sw_a2e = converter_.has_value();
  run.report_name = NameOfVolume(opt.outfile);
  int result = 0;
  {
    const InterruptScope interruptible;
    const bool transferred = SkipRecords() == 0 || TransferRecords() != 0;
    result = Finish(transferred && !file_->Failed());
  }
  DieOfPendingSignal();
  return result;
}

// What is no backup form for output. A COPYG backup holds ASCII characters, whatever its kind says
// of conversion.
int Backup::CheckForm() const {
  if (job_.kind == InputKind::kElement) {
    PrintError("Element files can only be restored.\n");
    return 0;
  }
  const bool ascii = job_.kind == InputKind::kCopyg && opt.sw_ebcdic == 0;
  if (opt.sw_sdf == 0 || ascii || job_.conversion != Conversion::kToEbcdic) return 1;
  PrintError("Only ASCII values converted with the sdf option\n");
  return 0;
}

int Backup::PrepareConversion() {
  if (job_.kind == InputKind::kCopyg) {
    sdf_.emplace(mask_list);
    if (!sdf_->Compile()) return 0;
    if (!sdf_->has_conditions()) return 1;
    PrintError("Conditions can not be applied to a backup of 36-bit data.\n");
    return 0;
  }
  if (job_.conversion == Conversion::kToEbcdic) converter_.emplace(mask_list, true);
  keeps_signs_ = is_indexed_ && opt.sw_EbcSign != 0;
  OutRecord_.resize(static_cast<std::size_t>(opt.gblRecSize) +
                    (converter_ ? converter_->growth() : 0));
  return 1;
}

int Backup::OpenFile() {
  if (SettleZorFileName(opt.infile) == 0) return 0;
  is_indexed_ = IsIndexedFile();
  if (is_indexed_) {
    file_ = OpenIndexedFile();
    return file_ != nullptr && AskRecordSize(opt.gblRecSize) != 0 ? 1 : 0;
  }
  if (AskRecordSize(opt.gblRecSize) == 0) return 0;
  file_ = OpenFlatFile(opt.gblRecSize, opt.sw_relative != 0, OutputInUse::Flush);
  return file_ != nullptr ? 1 : 0;
}

int Backup::OpenVolume() {
  if (CheckBackupApart(opt.infile, opt.outfile) == 0) return 0;
  for (const std::string& file : FilesOfVolume(opt.outfile, DriveUse::kWrite))
    if (CheckNoIndexedFile(file) == 0) return 0;
  std::string name = NamesOfVolume(opt.outfile).rewind;
  tape_ = openTapeOut({.path = opt.outfile,
                       .block_size = opt.gblBlkSize,
                       .record_size = opt.gblRecSize,
                       .volume_serial = opt.vol,
                       .file_label = opt.lbl,
                       .kind = job_.kind,
                       .fixed = opt.sw_fixedBR != 0});
  opt.outfile = std::move(name);
  if (tape_ == nullptr) {
    PrintError("Opening output: %s\n", opt.outfile.c_str());
    return 0;
  }
  open_.emplace([this] { FlushTapeOut(*tape_); });
  return 1;
}

void Backup::PrintBanner() const {
  if (lasting.ageFlag != 0 || RecordsGrow())
    PrintWarning("AGE, DATE IS and EXPLODE change what a restore writes; a backup ignores them.\n");
  PrintOutput("Transferring %s to %s%s\n", opt.infile.c_str(), tape_->device.c_str(),
              opt.sw_sequential != 0 ? "" : ".");
  if (!tape_->is_text())
    PrintOutput("==== block size: %d  input record size: %d ====\n", tape_->block_size,
                tape_->record_size);
  if (is_indexed_) PrintOutput("\nStart Time     : %s\n", GetDateString().c_str());
}

// 0 when the file ends before the first record to back up.
int Backup::SkipRecords() {
  for (std::int64_t skipped = 0; skipped < opt.nBegRec; ++skipped)
    if (!file_->Next() || InterruptScope::Pending() != 0) return 0;
  return 1;
}

// 0 when a record could not be converted.
int Backup::TransferRecords() {
  while (const auto record = file_->Next()) {
    ++run.nCurrInputRec;
    if (opt.sw_analyze != 0) analysis.AnalyseRecord(*record, false);
    if (ConvertRecord(*record) == 0) {
      PrintWarning("The backup stopped at record %ld of '%s', which could not be converted.\n",
                   run.nCurrInputRec, opt.infile.c_str());
      return 0;
    }
    if (!PutRecord()) break;
    ++run.nCurrOutputRec;
    if (opt.sw_quiet == 0 && run.nCurrOutputRec % kProgressStep == 0)
      PrintOutput("Records backed up so far:%ld\r", run.nCurrOutputRec);
    if (run.nCurrOutputRec >= opt.nEndRec || InterruptScope::Pending() != 0) break;
  }
  return 1;
}

// Leaves the record as it is backed up in to_write_, or its words in quarters_.
int Backup::ConvertRecord(std::span<const Byte> record) {
  if (sdf_) return sdf_->ConvertToSdf(record, quarters_) ? 1 : 0;
  to_write_ = record;
  if (converter_) {
    if (converter_->ConvertBinChars(record, OutRecord_.data()) == 0) return 0;
  } else if (keeps_signs_) {
    std::copy(record.begin(), record.end(), OutRecord_.begin());
  }
  if (keeps_signs_) KeepEbcdicSigns(record, OutRecord_.data());
  if (converter_ || keeps_signs_) to_write_ = OutRecord_;
  return 1;
}

// False when the volume takes no more.
bool Backup::PutRecord() {
  const bool taken = sdf_ ? putCopygBlk(*tape_, quarters_) : putTapeOut(*tape_, to_write_.data());
  TellOfLoss();
  return taken;
}

// Once.
void Backup::TellOfLoss() {
  if (told_of_loss_ || LostBlocks(*tape_) == 0) return;
  told_of_loss_ = true;
  PrintError("Writing to output file: %s\n", tape_->device.c_str());
}

void Backup::PrintTotals() const {
  const char* const gap = opt.sw_sequential != 0 ? " " : "";
  PrintOutput("\n%s", kRule);
  PrintOutput("TOTAL records read from input file  : %s%ld\n", gap, run.nCurrInputRec);
  PrintOutput("TOTAL records written to backup file: %s%ld\n", gap, run.nCurrOutputRec);
  if (opt.sw_relative != 0)
    PrintOutput("TOTAL deleted records               : %ld\n", file_->deleted());
  if (LostBlocks(*tape_) > 0)
    PrintOutput("TOTAL blocks that could not be written: %ld\n", LostBlocks(*tape_));
  PrintInterruption();
  PrintOutput("%s", kRule);
}

// The volume is closed before the totals, so that they know of every loss.
int Backup::Finish(bool successful) {
  const std::int32_t blocks = closeTapeOut(*tape_);
  TellOfLoss();
  if (!successful) return 0;
  PrintTotals();
  run.nCurrOutputRec = blocks;
  file_.reset();
  if (is_indexed_) PrintOutput("\nEnd Time       : %s\n", GetDateString().c_str());
  return tape_->is_tape() && LostBlocks(*tape_) > 0 ? 0 : 1;
}

}  // namespace

int BackUp(const Job& job) { return Backup(job).Run(); }

}  // namespace tolvane
