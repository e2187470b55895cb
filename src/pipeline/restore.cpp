#include "pipeline/restore.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>

#include "convert/copybook_source.h"
#include "dates/analysis.h"
#include "files/apart.h"
#include "files/fileio.h"
#include "files/indexed_file.h"
#include "pipeline/element_files.h"
#include "pipeline/output_in_use.h"
#include "pipeline/progress.h"
#include "pipeline/record_conversion.h"
#include "pipeline/record_sink.h"
#include "pipeline/restore_input.h"
#include "pipeline/sdf_input.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/interrupt.h"
#include "platform/trace.h"
#include "reports/side_reports.h"
#include "reshape/reshape.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {
namespace {

class Restore {
 public:
  explicit Restore(const Job& job) : job_(job) {}
  ~Restore();
  Restore(const Restore&) = delete;
  Restore& operator=(const Restore&) = delete;

  int PrepareRestoreOper();

 private:
  int RestoreTexts();
  static int SettleOutput();
  int OpenOutput();
  void PrintBanner() const;
  void SettleCapacity() const;
  void CompileConversion();
  void StartReshape(bool ebcdic);
  int SkipRecords();
  void RestoreRecords();
  void RestoreSdfRecords();
  [[nodiscard]] Byte* RoomToConvert(std::size_t size, std::size_t most,
                                    std::int32_t descriptor_length);
  void Complete(std::span<const Byte> converted, const MaskItem* condition, std::size_t size);
  int RestoreRecord(const TapeRecord& record);
  int StopAtBinaryData() const;
  int RestoreSdfRecord();
  int FinishRecord(std::span<const Byte> record, std::size_t size);
  [[nodiscard]] bool IsVariable() const;
  [[nodiscard]] std::size_t OutputSize(std::size_t own_size) const;
  void ShowProgress() const;
  void PrintTotals() const;
  void Finish();
  int Fail();

  const Job job_;
  std::unique_ptr<TapeIo> tape_;
  std::unique_ptr<RecordSink> output_;
  std::optional<OutputInUse> open_;
  std::optional<RecordConversion> conversion_;  // of 8-bit data
  std::optional<SdfInput> sdf_;                 // 36-bit data
  std::optional<Reshape> reshape_;
  Byte* room_ = nullptr;         // of the record at hand, in the output
  std::vector<Byte> converted_;  // the same before it is reshaped
};

Restore::~Restore() { pTapeIo = nullptr; }

int Restore::PrepareRestoreOper() {
  TRACE_FRAME();
  tape_ = OpenRestoreInput(job_.kind);
  if (tape_ == nullptr) return 0;
  pTapeIo = tape_.get();
  if (tape_->in_words() && tape_->sdf->label.kind != SdfKind::kData) return RestoreTexts();
  if (SettleRecordSize(*tape_) == 0) return 0;
  if (SettleOutput() == 0) return 0;
  SettleCapacity();
  if (OpenOutput() == 0) return 0;
  PrintBanner();
  run = Run{};
  if (tape_->in_words()) {
    run.sw_a2e = true;  // conditions compare ASCII
    sdf_.emplace(*tape_);
    if (sdf_->Prepare() == 0) return Fail();
    if (opt.expandDateFlag != 0) StartReshape(false);
  } else {
    CompileConversion();
  }
  {
    const InterruptScope interruptible;
    if (sdf_) {
      RestoreSdfRecords();
    } else if (SkipRecords() != 0) {
      RestoreRecords();
    }
    Finish();
  }
  DieOfPendingSignal();
  return 1;
}

// Print and element files, which have lines of text instead of records.
int Restore::RestoreTexts() {
  run = Run{};
  const bool is_print_file = tape_->sdf->label.kind == SdfKind::kPrint;
  int result = 0;
  {
    const InterruptScope interruptible;
    result = is_print_file ? RestorePrintFile(*tape_) : RestoreElements(*tape_);
  }
  if (tape_->is_tape()) PrintOutput("\nRewinding tape, please wait.\n");
  closeTapeIn(*tape_);
  DieOfPendingSignal();
  return result;
}

// Settles the output's name and creates it, if that is asked for.
int Restore::SettleOutput() {
  if (opt.sw_restore == 0) return 1;
  if (opt.sw_create == 0)
    return SettleZorFileName(opt.outfile) != 0 && CheckRestoreApart(opt.infile, opt.outfile) != 0
               ? 1
               : 0;
  if (CreateOutFile() != 0) return 1;
  PrintOutput("Failed creating output file\n");
  return 0;
}

int Restore::OpenOutput() {
  const bool flat = !IsIndexedFile();
  output_ = opt.sw_restore == 0 ? OpenNullSink()
            : flat              ? OpenFlatSink(IsVariable() && opt.sw_sequential != 0)
                                : OpenIndexedSink();
  if (output_ == nullptr) {
    if (!flat) PrintOutput("Restore operation failed\n");
    return 0;
  }
  open_.emplace([this] { output_->Flush(); });
  return 1;
}

void Restore::PrintBanner() const {
  PrintOutput("Restoring %s from %s.\n", opt.outfile.c_str(), opt.infile.c_str());
  if (!tape_->is_text()) {
    const bool expands = RecordsGrow();
    PrintOutput(expands ? "==== block size: %d  expanded record size: %d ====\n"
                        : "==== block size: %d  input record size: %d ====\n",
                tape_->block_size, expands ? sizes.gblExpRecSize : tape_->record_size);
    if (opt.sw_fixedBR == 0)
      PrintOutput("==== Processing \"variable length\" file - block and record may vary ====\n");
  }
  PrintOutput("\nStart Time     : %s\n", GetDateString().c_str());
}

// The most bytes that a record may have, which is what records of one size are filled up to.
void Restore::SettleCapacity() const {
  if (opt.expandDateFlag != 0) sizes.gblCpySize = sizes.gblExpRecSize;
  if (sizes.gblCpySize < 1)
    sizes.gblCpySize = RecordsGrow() ? sizes.gblExpRecSize : tape_->record_size;
}

void Restore::CompileConversion() {
  const bool to_ebcdic = job_.conversion == Conversion::kToEbcdic;
  run.sw_a2e = to_ebcdic || opt.sw_interchange != 0;
  conversion_.emplace(*tape_, job_.conversion);
  if (RecordsGrow()) StartReshape(to_ebcdic && opt.sw_interchange == 0);
}

void Restore::StartReshape(bool ebcdic) {
  reshape_.emplace(*copybooks.csid, static_cast<std::size_t>(std::max(sizes.gblExpRecSize, 0)),
                   ebcdic);
}

// 0 when the input ends before the first record to process.
int Restore::SkipRecords() {
  tape_->records = 0;
  while (tape_->records < opt.nBegRec)
    if (getTapeIn(*tape_, sizes.gblCpySize).length == 0 || InterruptScope::Pending() != 0) return 0;
  return 1;
}

void Restore::RestoreRecords() {
  for (;;) {
    const TapeRecord record = getTapeIn(*tape_, sizes.gblCpySize);
    if (record.length == 0 || InterruptScope::Pending() != 0) return;
    if (record.length != tape_->record_size)
      PrintOutput("Input file size not multiple of Copy Book size: %d\n", sizes.gblCpySize);
    ++run.nCurrInputRec;
    if (RestoreRecord(record) == 0) return;
  }
}

void Restore::RestoreSdfRecords() {
  for (std::int64_t i = 0; i < sdf_->record_count(); ++i)
    if (InterruptScope::Pending() != 0 || RestoreSdfRecord() == 0) return;
  sdf_->CheckEnd();
}

// Room for a record that becomes `size` bytes, and for the `most` bytes that its conversion may
// write: in the output, or where it is to be reshaped.
Byte* Restore::RoomToConvert(std::size_t size, std::size_t most, std::int32_t descriptor_length) {
  room_ = output_->Room(std::max(size, most), descriptor_length);
  if (!reshape_) return room_;
  converted_.resize(most + RecordConversion::kBehind);
  return converted_.data();
}

// Brings a converted record to its size in the output.
void Restore::Complete(std::span<const Byte> converted, const MaskItem* condition,
                       std::size_t size) {
  if (reshape_) {
    reshape_->Run(condition, converted, room_);
  } else if (converted.size() < size) {
    std::fill(room_ + converted.size(), room_ + size, Byte{' '});
  }
}

// 1 to go on, 0 when the stop count is reached or the record could not be converted.
int Restore::RestoreRecord(const TapeRecord& record) {
  const std::size_t grown = conversion_->Grown(record.data.size());
  const std::size_t size = OutputSize(record.data.size());
  const std::int32_t descriptor =
      reshape_ ? static_cast<std::int32_t>(size + kDescriptorWidth) : record.length;
  Byte* const to = RoomToConvert(size, grown, descriptor);
  const std::int64_t filled = conversion_->Convert(record.data, to);
  if (filled < 0) return StopAtBinaryData();
  const MaskItem* const condition = reshape_ ? reshape_->ConditionOf(record.data) : nullptr;
  Complete({to, reshape_ ? grown : static_cast<std::size_t>(filled)}, condition, size);
  return FinishRecord(record.data, size);
}

int Restore::StopAtBinaryData() const {
  PrintWarning(
      "The restore stopped at record %ld of '%s', which has a byte that is no text; describe its "
      "field, or let RELAXED pass it.\n",
      tape_->records, opt.infile.c_str());
  return 0;
}

// The same for an SDF file, whose records are skipped only after they were converted.
int Restore::RestoreSdfRecord() {
  if (!sdf_->Fetch()) {
    PrintError("Converting SDF record\n");
    return 0;
  }
  ++run.nCurrInputRec;
  const std::size_t most = sdf_->MostBytes();
  const std::size_t size = OutputSize(most);
  const auto descriptor = static_cast<std::int32_t>((reshape_ ? size : most) + kDescriptorWidth);
  Byte* const to = RoomToConvert(size, most, descriptor);
  const std::span<const Byte> converted(to, sdf_->Convert(to));
  if (run.nCurrSkippedRec < opt.nBegRec) {
    ++run.nCurrSkippedRec;
    return 1;
  }
  Complete(converted, sdf_->condition(), size);
  return FinishRecord(converted, size);
}

// The record stands in the output's room; `record` is what an analysis looks at.
int Restore::FinishRecord(std::span<const Byte> record, std::size_t size) {
  output_->Put(size, run.nCurrOutputRec + 1);
  ++run.nCurrOutputRec;
  if (opt.sw_analyze != 0) analysis.AnalyseRecord(record, job_.conversion == Conversion::kToAscii);
  if (opt.sw_quiet == 0 && run.nCurrOutputRec % kProgressStep == 0) ShowProgress();
  return run.nCurrOutputRec >= opt.nEndRec ? 0 : 1;
}

// Whether records keep their own lengths. Of 36-bit data labels tell only how the words are
// blocked.
bool Restore::IsVariable() const {
  return tape_->in_words() ? opt.sw_fixedBR == 0 && !tape_->word_blocks() : tape_->variable_blocked;
}

// Bytes of the record as it is written, without prefix, marker and padding.
std::size_t Restore::OutputSize(std::size_t own_size) const {
  if (reshape_) return reshape_->size();
  // An indexed file takes of an aged record what the input has behind the copybook, too.
  if (lasting.ageFlag != 0 && IsIndexedFile())
    return static_cast<std::size_t>(OutputRecordLength());
  const bool keeps_size = IsVariable() && opt.sw_relative == 0;
  return keeps_size ? own_size : static_cast<std::size_t>(sizes.gblCpySize);
}

void Restore::ShowProgress() const {
  const char* const what = lasting.ageFlag != 0  ? "aged    "
                           : opt.sw_restore != 0 ? "restored"
                           : opt.sw_analyze != 0 ? "analyzed"
                                                 : nullptr;
  if (what == nullptr) {
    PrintOutput("Unknown operation age/restore/analyse\r");
  } else {
    PrintOutput("Records %s : %ld\r", what, run.nCurrOutputRec);
  }
}

void Restore::PrintTotals() const {
  PrintOutput("\n%s", kRule);
  PrintOutput("TOTAL records read from input file     : %ld\n", run.nCurrInputRec);
  if (opt.sw_analyze != 0) {
    PrintOutput("TOTAL records analysed                 : %ld\n", run.nCurrOutputRec);
  } else {
    PrintOutput(lasting.ageFlag != 0 ? "TOTAL records aged to output file      : %ld\n"
                                     : "TOTAL records written to output file   : %ld\n",
                run.nCurrOutputRec);
  }
  if (output_->lost() > 0)
    PrintOutput("TOTAL records that could not be written: %ld\n", output_->lost());
  if (UnfiledDuplicates() > 0)
    PrintOutput("TOTAL duplicates that could not be filed: %ld\n", UnfiledDuplicates());
  if (sdf_ && sdf_->cut_values() > 0)
    PrintOutput("TOTAL binary values that were cut      : %ld\n", sdf_->cut_values());
  PrintInterruption();
  PrintOutput("%s", kRule);
}

// The way out when the run must stop before the first record.
int Restore::Fail() {
  PrintOutput("Restore operation failed\n");
  closeTapeIn(*tape_);
  (void)output_->Close();  // it has reported
  return 0;
}

// The output is closed before the totals, so that they know of every loss.
void Restore::Finish() {
  OutputInUse::Flush();
  if (tape_->is_tape()) PrintOutput("\nRewinding tape, please wait.\n");
  if (tape_->damaged) WarnOfUnreadRest(opt.infile);
  (void)output_->Close();  // it has reported
  PrintTotals();
  FlushReports();
  closeTapeIn(*tape_);
  const bool indexes_follow =
      opt.sw_indexed != 0 && opt.sw_create != 0 && lasting.sw_nodupsecondary == 0;
  if (indexes_follow && lasting.nKeysNo > 1 && InterruptScope::Pending() != 0)
    PrintOutput("The alternate keys were not added.\n");
  PrintOutput(indexes_follow ? "Load Data Time :   %s\n" : "End Time       :     %s\n",
              GetDateString().c_str());
}

}  // namespace

int PrepareRestoreOper(const Job& job) { return Restore(job).PrepareRestoreOper(); }

}  // namespace tolvane
