// Measures the indexed-file engine, beside the keyed stores that are installed on this machine.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <random>
#include <string_view>

#include "datarep/byte_order.h"
#include "store.h"

namespace bench {

void Fail(const std::string& what, int error) {
  std::fprintf(stderr, "isam_bench: %s: error %d\n", what.c_str(), error);
  std::exit(1);
}

namespace {

constexpr char kUsage[] =
    "usage: isam_bench [RECORDS [ROUNDS [FOLDER]]]\n"
    "         every job on every store that is installed, each job in turn on each store, ROUNDS\n"
    "         times (1000000 records, 3 rounds, a temporary folder): medians, and their ratios\n"
    "       isam_bench load FLAT BASE\n"
    "         builds the indexed file BASE from records of 100 bytes, key of 8 bytes at 0\n"
    "       isam_bench q1 BASE KEYS excl|shared\n"
    "         reads the record of each 8-byte key of KEYS\n"
    "       isam_bench q2 BASE excl|shared\n"
    "         reads all records in key order\n"
    "       isam_bench u1 BASE PAIRS excl|shared\n"
    "         for each pair of 8-byte keys: reads and rewrites the first record; reads, deletes\n"
    "         and writes again the second\n"
    "The last four print n=COUNT sum=SUM; q1 and q2 sum up the numbers at offset 65.\n";

using tolvane::Byte;

std::int32_t NumberIn(const char* record) {
  return tolvane::LoadBig<std::int32_t>(reinterpret_cast<const Byte*>(record) + kNumberAt);
}

// A file's bytes, mapped.
class MappedFile {
 public:
  explicit MappedFile(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (fd < 0 || fstat(fd, &status) != 0) Fail(path, errno);
    size_ = static_cast<std::size_t>(status.st_size);
    if (size_ > 0) bytes_ = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, 0);
    if (bytes_ == MAP_FAILED) Fail(path, errno);
    close(fd);
  }
  ~MappedFile() {
    if (size_ > 0) munmap(bytes_, size_);
  }
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  [[nodiscard]] std::string_view bytes() const { return {static_cast<const char*>(bytes_), size_}; }

 private:
  void* bytes_ = nullptr;
  std::size_t size_ = 0;
};

struct Outcome {
  std::int64_t count = 0, sum = 0;
};

// ---- the jobs

Outcome Load(Store& store, const std::string& base, std::string_view records) {
  store.Create(base);
  for (std::size_t at = 0; at + kRecord <= records.size(); at += kRecord) store.Write(&records[at]);
  store.Close();
  return {static_cast<std::int64_t>(records.size() / kRecord), 0};
}

Outcome AddIndex(Store& store, const std::string& base) {
  store.Open(base, Access::kExclusive);
  store.AddIndex();
  store.Close();
  return {1, 0};
}

Outcome PointReads(Store& store, const std::string& base, Access access, std::string_view keys) {
  Outcome outcome;
  char record[kRecord];
  store.Open(base, access);
  for (std::size_t at = 0; at + kKey <= keys.size(); at += kKey) {
    if (!store.Read(&keys[at], record))
      Fail("no record with key " + std::string(keys.substr(at, kKey)), 0);
    outcome.sum += NumberIn(record);
    ++outcome.count;
  }
  store.Close();
  return outcome;
}

Outcome Scan(Store& store, const std::string& base, Access access) {
  Outcome outcome;
  store.Open(base, access);
  store.Scan([&outcome](const char* record) {
    outcome.sum += NumberIn(record);
    ++outcome.count;
  });
  store.Close();
  return outcome;
}

Outcome Update(Store& store, const std::string& base, Access access, std::string_view pairs) {
  Outcome outcome;
  char record[kRecord];
  store.Open(base, access);
  for (std::size_t at = 0; at + 2 * kKey <= pairs.size(); at += 2 * kKey) {
    if (!store.Read(&pairs[at], record))
      Fail("no record with key " + std::string(pairs.substr(at, kKey)), 0);
    tolvane::StoreBig(reinterpret_cast<Byte*>(record) + kNumberAt,
                      static_cast<std::uint32_t>(NumberIn(record) + 1));
    record[kMarkAt] = 'U';
    store.Rewrite(record);
    const char* const second = &pairs[at + kKey];
    if (!store.Read(second, record)) Fail("no record with key " + std::string(second, kKey), 0);
    store.Delete(record);
    store.Write(record);
    ++outcome.count;
  }
  store.Close();
  return outcome;
}

// ---- the table of all jobs on all stores

struct Material {
  std::string ascending, shuffled, keys, pairs;
};

Material MakeMaterial(std::size_t count) {
  constexpr std::size_t kGroupSize = 50, kStep = 7;
  Material made;
  std::mt19937 random(20000229);
  std::vector<std::string> records(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::string key = std::to_string(100000000 + (i + 1) * kStep % 100000000);
    const std::string group = std::to_string(10000000000 + random() % (count / kGroupSize + 1));
    records[i] = key.substr(1) + group.substr(1);
    records[i].resize(kRecord, 'x');
    tolvane::StoreBig(reinterpret_cast<Byte*>(&records[i][kNumberAt]),
                      static_cast<std::uint32_t>(i));
    made.ascending += records[i];
  }
  std::shuffle(records.begin(), records.end(), random);
  for (const std::string& record : records) {
    made.shuffled += record;
    made.keys += record.substr(0, kKey);
  }
  made.pairs = made.keys.substr(0, made.keys.size() / (10 * kKey) * 2 * kKey);
  return made;
}

constexpr const char* kJobs[] = {
    "load ascending", "load shuffled", "add an index", "point reads",   "point reads, shared",
    "scan",           "scan, shared",  "update",       "update, shared"};

std::vector<Contender> Contenders() {
  return {
      {"this engine", MakeIsam, true},
#ifdef BENCH_BERKELEY_DB
      {"Berkeley DB", MakeBerkeleyDb, false},
#endif
#ifdef BENCH_SQLITE
      {"SQLite", MakeSqlite, true},
#endif
#ifdef BENCH_LMDB
      {"LMDB", MakeLmdb, true},
#endif
  };
}

void RemoveFiles(const std::string& folder) {
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    std::filesystem::remove_all(entry.path());
}

double BytesOnDisk(const std::string& folder) {
  double bytes = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    struct stat status {};
    if (stat(entry.path().c_str(), &status) == 0)
      bytes += 512.0 * static_cast<double>(status.st_blocks);
  }
  return bytes;
}

struct Results {
  std::vector<double> seconds[std::size(kJobs)];
  double bytes = 0;  // with the index
};

template <typename Job>
Outcome Timed(std::vector<double>& seconds, Job job) {
  const auto begin = std::chrono::steady_clock::now();
  const Outcome outcome = job();
  seconds.push_back(
      std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  return outcome;
}

void Round(const Contender& contender, const Material& material, const std::string& folder,
           Results& results) {
  const std::string base = folder + "/bench";
  const auto count = static_cast<std::int64_t>(material.keys.size() / kKey);
  const auto store = contender.make();
  auto* seconds = results.seconds;
  Timed(*seconds++, [&] { return Load(*store, base, material.ascending); });
  RemoveFiles(folder);
  Timed(*seconds++, [&] { return Load(*store, base, material.shuffled); });
  for (const Access access : {Access::kExclusive, Access::kShared}) {
    if (access == Access::kShared && !contender.knows_shared) continue;
    const int shared = access == Access::kShared ? 1 : 0;
    const auto read =
        Timed(seconds[1 + shared], [&] { return PointReads(*store, base, access, material.keys); });
    const auto scanned = Timed(seconds[3 + shared], [&] { return Scan(*store, base, access); });
    if (read.count != count || scanned.count != count || read.sum != scanned.sum)
      Fail(std::string(contender.name) + " lost records", 0);
    Timed(seconds[5 + shared], [&] { return Update(*store, base, access, material.pairs); });
  }
  Timed(*seconds, [&] { return AddIndex(*store, base); });
  results.bytes = BytesOnDisk(folder);
  RemoveFiles(folder);
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? 0 : values[values.size() / 2];
}

// The median of the rounds' ratios.
double Ratio(const std::vector<double>& of, const std::vector<double>& to) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < std::min(of.size(), to.size()); ++i) ratios.push_back(of[i] / to[i]);
  return Median(ratios);
}

void PrintTable(const std::vector<Contender>& contenders, const std::vector<Results>& results) {
  std::printf("%-24s", "seconds");
  for (const Contender& contender : contenders) std::printf("%18s", contender.name);
  for (std::size_t job = 0; job < std::size(kJobs); ++job) {
    std::printf("\n%-24s", kJobs[job]);
    for (std::size_t i = 0; i < contenders.size(); ++i) {
      const auto& seconds = results[i].seconds[job];
      if (seconds.empty()) {
        std::printf("%18s", "-");
      } else if (i == 0) {
        std::printf("%18.3f", Median(seconds));
      } else {
        std::printf("%10.3f (%4.2f)", Median(seconds), Ratio(results[0].seconds[job], seconds));
      }
    }
  }
  std::printf("\n%-24s", "megabytes on disk");
  for (const Results& result : results) std::printf("%18.1f", result.bytes / 1e6);
  std::printf("\nIn parentheses: this engine's time to the peer's.\n");
}

int RunAll(std::size_t records, int rounds, const std::string& under) {
  std::string folder = (under.empty() ? std::filesystem::temp_directory_path().string() : under) +
                       "/isam_bench.XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) Fail("cannot make a folder", errno);
  const Material material = MakeMaterial(records);
  const std::vector<Contender> contenders = Contenders();
  std::vector<Results> results(contenders.size());
  for (int round = 0; round < rounds; ++round)
    for (std::size_t i = 0; i < contenders.size(); ++i)
      Round(contenders[i], material, folder, results[i]);
  std::filesystem::remove_all(folder);
  std::printf("%zu records of %zu bytes, key of %zu bytes, %d rounds\n", records, kRecord, kKey,
              rounds);
  PrintTable(contenders, results);
  return 0;
}

// ---- one job at a time

int RunOne(const std::vector<std::string>& words) {
  const auto store = MakeIsam();
  const std::string& job = words[0];
  const Access access = words.back() == "shared" ? Access::kShared : Access::kExclusive;
  Outcome outcome;
  if (job == "load") outcome = Load(*store, words[2], MappedFile(words[1]).bytes());
  if (job == "q1") outcome = PointReads(*store, words[1], access, MappedFile(words[2]).bytes());
  if (job == "q2") outcome = Scan(*store, words[1], access);
  if (job == "u1") outcome = Update(*store, words[1], access, MappedFile(words[2]).bytes());
  std::printf("n=%lld sum=%lld\n", static_cast<long long>(outcome.count),
              static_cast<long long>(outcome.sum));
  return 0;
}

bool IsOneJob(const std::vector<std::string>& words) {
  constexpr struct {
    const char* job;
    std::size_t words;
    bool access;
  } kForms[] = {{"load", 3, false}, {"q1", 4, true}, {"q2", 3, true}, {"u1", 4, true}};
  return std::any_of(std::begin(kForms), std::end(kForms), [&](const auto& form) {
    return words.size() == form.words && words[0] == form.job &&
           (!form.access || words.back() == "excl" || words.back() == "shared");
  });
}

}  // namespace

int Main(const std::vector<std::string>& words) {
  if (IsOneJob(words)) return RunOne(words);
  const auto number = [&words](std::size_t at, long otherwise) {
    return words.size() > at ? std::strtol(words[at].c_str(), nullptr, 10) : otherwise;
  };
  constexpr long kRecords = 1000000, kRounds = 3;
  const long records = number(0, kRecords), rounds = number(1, kRounds);
  if (records >= 10 && rounds >= 1 && words.size() <= 3)
    return RunAll(static_cast<std::size_t>(records), static_cast<int>(rounds),
                  words.size() > 2 ? words[2] : "");
  const bool help = !words.empty() && words[0] == "--help";
  std::fputs(kUsage, help ? stdout : stderr);
  return help ? 0 : 2;
}

}  // namespace bench

int main(int argc, char** argv) {
  return bench::Main(std::vector<std::string>(argv + 1, argv + argc));
}
