#include "pipeline/restore_input.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "convert/mask.h"
#include "files/fileio.h"
#include "files/questions.h"
#include "pipeline/output_in_use.h"
#include "platform/console.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {
namespace {

constexpr std::int64_t kLargestBlock = 32768;  // block sizes stay below
constexpr int kDefaultBlocking = 10;
constexpr std::int32_t kElementRecordSize = 180;

// As many records to a block, at most ten, as keep it below the largest block; 0 when none does.
std::int32_t DefaultBlockSize(std::int64_t record_size) {
  for (int records = kDefaultBlocking; records > 0; --records)
    if (records * record_size < kLargestBlock)
      return static_cast<std::int32_t>(records * record_size);
  return 0;
}

// Record and block size to open the volume with.
TapeInRequest RequestFor(InputKind kind) {
  TapeInRequest request{.path = opt.infile,
                        .record_size = opt.gblRecSize,
                        .block_size = opt.gblBlkSize,
                        .kind = kind,
                        .fixed = opt.sw_fixedBR != 0,
                        .before_wait = OutputInUse::Flush};
  if (kind == InputKind::kElement)
    request.block_size = request.record_size = kElementRecordSize;
  else if (request.block_size < 1)
    request.block_size = DefaultBlockSize(request.record_size);
  return request;
}

// What works by the places of fields in the unconverted record has none in 36-bit data.
bool AllowsWords() {
  const struct {
    bool wanted;
    const char* what;
  } operations[] = {{lasting.ageFlag != 0, "AGE"}, {opt.sw_explode != 0, "EXPLODE"}};
  for (const auto& operation : operations) {
    if (!operation.wanted) continue;
    PrintError("%s can not be applied to 36-bit data; restore the file first.\n", operation.what);
    return false;
  }
  return true;
}

void TellUnopened() {
  if (errno != 0) {
    PrintError("Opening Input File '%s': %s\n", opt.infile.c_str(), std::strerror(errno));
  } else {
    if (opt.sw_create != 0 && opt.sw_restore != 0) (void)CreateOutFile();  // it has reported
    PrintOutput("Input File: '%s' appears to be empty.\n", opt.infile.c_str());
  }
}

// The volume's record size wins over the one supplied, when the user agrees.
bool ConfirmRecordSize(const TapeIo& tape) {
  if (tape.variable_blocked || tape.in_words() || opt.gblRecSize < 1 ||
      tape.record_size == opt.gblRecSize)
    return true;
  PrintOutput("Supplied input record size: %d is different from tape record size: %d.\n",
              opt.gblRecSize, tape.record_size);
  PrintOutput("If you continue; the input record size will be %d.\n", tape.record_size);
  return AskToContinue("Do you wish to continue (Y/N) ?>", opt.sw_automatic != 0);
}

bool HoldsRecords(const TapeIo& tape) {
  if (tape.block_size >= tape.record_size || tape.variable_blocked || tape.is_text() ||
      tape.in_words())
    return true;
  PrintError("The block size %d of '%s' is smaller than its record size %d.\n", tape.block_size,
             opt.infile.c_str(), tape.record_size);
  return false;
}

// Fields given as options must lie inside the records of a file of fixed records.
bool HoldFields(const TapeIo& tape) {
  if (tape.variable_blocked || opt.bCopyBookFlag != 0) return true;
  for (const MaskItem& item : mask_list) {
    const std::int64_t end = item.is_condition() ? item.condition_end : item.end();
    if (end <= tape.record_size) continue;
    PrintError("Option -%c%d:%d:%d lies beyond the %d bytes of the records of '%s'\n", item.type,
               item.location, static_cast<int>(item.length), item.occurs, tape.record_size,
               opt.infile.c_str());
    return false;
  }
  return true;
}

}  // namespace

std::unique_ptr<TapeIo> OpenRestoreInput(InputKind kind) {
  std::string name = NamesOfVolume(opt.infile).rewind;
  auto tape = openTapeIn(RequestFor(kind));
  opt.infile = std::move(name);
  if (tape == nullptr) {
    TellUnopened();
    return nullptr;
  }
  if (tape->in_words() && !AllowsWords()) return nullptr;
  if (opt.sw_fixedBR != 0 && tape->variable_blocked && !tape->in_words()) {
    PrintWarning(
        "'%s' is labelled as variable blocks but read as fixed ones; RECORD SIZE IS V reads it as "
        "it is.\n",
        tape->device.c_str());
    tape->variable_blocked = false;
  }
  return tape;
}

int SettleRecordSize(TapeIo& tape) {
  if (!ConfirmRecordSize(tape) || AskRecordSize(tape.record_size) == 0) return 0;
  if (tape.block_size < 1) tape.block_size = tape.record_size;
  if (!HoldsRecords(tape)) return 0;
  if (tape.labelled) opt.gblBlkSize = tape.block_size;
  opt.gblRecSize = tape.record_size;
  return HoldFields(tape) ? 1 : 0;
}

}  // namespace tolvane
