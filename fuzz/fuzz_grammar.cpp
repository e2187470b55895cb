// Grammar files: any bytes, with the copybook and the ID IS statements in them. What follows the
// first zero byte is a record. What an accepted file asks for must stand: items of each segment in
// order, keys inside their bounds, a mask file that can be written, and a record, whatever it
// holds and however short it is, that converts in both directions.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "convert/conditions.h"
#include "convert/convert.h"
#include "dates/date_statements.h"
#include "driver/grammar.h"
#include "driver/mask_file.h"
#include "scratch.h"
#include "state/options.h"
#include "state/run.h"

namespace {

using namespace tolvane;

constexpr std::int64_t kMostGrowth = 1 << 20;

void Require(bool holds) {
  if (!holds) std::abort();
}

void ResetOptions() {
  opt = {};
  lasting = {};
  run = {};
  sizes = {};
  date_statements = {};
  mask_list.clear();
  opt.sw_automatic = 1;  // nobody answers
}

void CheckOptions() {
  Require(opt.nPrimeKeyNo >= 0 && opt.nPrimeKeyNo <= kKeys);
  Require(opt.rawfield.size() <= kRawNames && opt.infile.size() <= kNameWidth);
  Require(opt.gblRecSize >= 0 && opt.nBegRec >= 0 && opt.nEndRec >= 0);
  std::int32_t location = 0;
  for (const MaskItem& item : mask_list) {
    location = item.is_condition() ? 0 : location;
    Require(item.is_condition() || (item.location >= location && item.length > 0));
    location = item.is_condition() ? 0 : item.location;
  }
}

void ConvertRecord(const std::string& record, bool sw_a2e) {
  run.sw_a2e = sw_a2e;
  const RecordConverter converter(mask_list, sw_a2e);
  if (record.empty() || mask_list.empty() || converter.growth() > kMostGrowth) return;
  const std::vector<Byte> in(record.begin(), record.end());
  std::vector<Byte> out(in.size() + converter.growth());
  (void)converter.ConvertBinChars(in, out.data());
  (void)ConvertAsciiSigns(in, out.data());
  KeepEbcdicSigns(in, out.data());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  // The program's messages go nowhere; libFuzzer keeps the stream that it began with.
  stdout = stderr = std::fopen("/dev/null", "w");
  stdin = std::fopen("/dev/null", "r");
  return stdout == nullptr || stdin == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  const std::string input(bytes, bytes + count);
  const std::size_t end = std::min(input.find('\0'), input.size());
  const std::string name = fuzz::ScratchPath("job.gra");
  fuzz::WriteFile(name, input.substr(0, end));
  ResetOptions();
  if (ParseOptionsFile(name) == 0) return 0;
  CheckOptions();
  opt.maskfile = fuzz::ScratchPath("mask");
  opt.sw_matchId = 0;  // reports grow without bound
  (void)WriteMaskFile();
  const std::string record = input.substr(std::min(end + 1, input.size()));
  ConvertRecord(record, true);
  for (MaskItem& item : mask_list)
    if (item.is_condition()) ConvertIdIsConditionToEbcdic(item);
  ConvertRecord(record, false);
  return 0;
}
