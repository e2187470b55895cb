// The engine on damaged files. The input: which of the sample files, how many bytes of it are
// changed, the changes (offset in the index file, 2 bytes; value), then the calls to make.

#include <isam.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "isam/support.h"
#include "platform/system_calls.h"
#include "scratch.h"

namespace {

using isam_test::Key;

constexpr std::size_t kLength = 32;

std::string Record(unsigned key) {
  std::string record = std::to_string(10000000 + key * 7919 % 1000);
  record += std::to_string(100 + key % 5);
  record.resize(kLength, ' ');
  return record;
}

struct Sample {
  keydesc primary, second;
  std::string index, data;
};

Sample MakeSample(int primary_flags, int second_flags) {
  Sample sample{Key(0, 8, primary_flags), Key(8, 8, second_flags), {}, {}};
  const std::string name = tolvane::fuzz::ScratchPath("sample");
  (void)iserase(name.c_str());
  const int handle = isbuild(name.c_str(), kLength, &sample.primary,
                             ISINOUT | ISEXCLLOCK | ISNODESIZE(1) | ISDUPWIDTH(1));
  if (handle < 0 || isaddindex(handle, &sample.second) != 0) std::abort();
  for (unsigned i = 0; i < 300; ++i) (void)iswrite(handle, Record(i).data());
  for (int number = 3; number < 60; number += 4) (void)isdelrec(handle, number);
  (void)isclose(handle);
  sample.index = tolvane::fuzz::ReadFile(name + ".idx");
  sample.data = tolvane::fuzz::ReadFile(name + ".dat");
  return sample;
}

void MakeCalls(const Sample& sample, const std::string& name, const std::uint8_t* calls,
               std::size_t count) {
  const int handle = isopen(name.c_str(), ISINOUT | ISEXCLLOCK);
  if (handle < 0) return;
  std::string record(kLength, ' ');
  for (const keydesc* key : {&sample.primary, &sample.second})
    if (isstart(handle, key, 0, record.data(), ISFIRST) == 0)
      for (int i = 0; i < 1000 && isread(handle, record.data(), ISNEXT) == 0; ++i) continue;
  for (std::size_t i = 0; i + 1 < count && i < 400; i += 2) {
    record = Record(calls[i + 1] * 3U);
    switch (calls[i] % 6) {
      case 0:
        (void)iswrite(handle, record.data());
        break;
      case 1:
        (void)isdelete(handle, record.data());
        break;
      case 2:
        record[12] = '+';
        (void)isrewrite(handle, record.data());
        break;
      case 3:
        (void)isread(handle, record.data(), calls[i + 1] % 8);
        break;
      case 4:
        (void)isdelindex(handle, &sample.second);
        break;
      default:
        (void)isprecious(handle, calls[i + 1] % 2);
    }
  }
  (void)isclose(handle);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  static const std::array<Sample, 2> samples = {MakeSample(ISNODUPS, ISDUPS),
                                                MakeSample(COMPRESS, ISDUPS | COMPRESS)};
  if (count < 2) return 0;
  const Sample& sample = samples[bytes[0] % samples.size()];
  const std::size_t changes = std::min<std::size_t>(bytes[1] % 8, (count - 2) / 3);
  std::string index = sample.index;
  for (const std::uint8_t* at = bytes + 2; at < bytes + 2 + changes * 3; at += 3)
    index[(static_cast<std::size_t>(at[0]) << 8 | at[1]) % index.size()] = static_cast<char>(at[2]);
  const std::string name = tolvane::fuzz::ScratchPath("damaged");
  tolvane::fuzz::WriteFile(name + ".idx", index);
  tolvane::fuzz::WriteFile(name + ".dat", sample.data);
  // The fatal message ends the process; here it ends the input.
  tolvane::sys.exit = [](int status) { throw status; };
  try {
    MakeCalls(sample, name, bytes + 2 + changes * 3, count - 2 - changes * 3);
  } catch (int) {
  }
  for (int handle = 0; handle < 20; ++handle) (void)isclose(handle);
  return 0;
}
