// One job of a keyed store: of the indexed-file engine or of a peer that is installed. run.py times
// them beside each other.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "datarep/byte_order.h"
#include "store.h"

namespace bench {

void Fail(const std::string& what, int error) {
  std::fprintf(stderr, "isam_bench: %s: error %d\n", what.c_str(), error);
  std::exit(1);
}

namespace {

constexpr char kUsage[] =
    "usage: isam_bench [--store NAME] JOB\n"
    "       isam_bench stores\n"
    "         the stores that were installed when this program was built, one a line; behind the\n"
    "         name 'shared' where several processes can use one file at a time\n"
    "jobs:  load FLAT BASE\n"
    "         builds the store BASE from records of 100 bytes, key of 8 bytes at 0\n"
    "       loadx FLAT BASE\n"
    "         the same, and adds an index with duplicates on the 10 bytes at 8\n"
    "       q1 BASE KEYS excl|shared\n"
    "         reads the record of each 8-byte key of KEYS\n"
    "       q2 BASE excl|shared\n"
    "         reads all records in key order\n"
    "       u1 BASE PAIRS excl|shared\n"
    "         for each pair of 8-byte keys: reads and rewrites the first record; reads, deletes\n"
    "         and writes again the second\n"
    "       dump BASE OUT\n"
    "         writes all records in key order to a file\n"
    "A job prints n=COUNT sum=SUM; q1 and q2 sum up the numbers at offset 65. The store is "
    "'isam',\n"
    "the engine, unless another is named.\n";

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

void AddIndex(Store& store, const std::string& base) {
  store.Open(base, Access::kExclusive);
  store.AddIndex();
  store.Close();
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

Outcome Dump(Store& store, const std::string& base, const std::string& path) {
  Outcome outcome;
  std::FILE* const out = std::fopen(path.c_str(), "wb");
  if (out == nullptr) Fail(path, errno);
  store.Open(base, Access::kExclusive);
  store.Scan([&](const char* record) {
    if (std::fwrite(record, kRecord, 1, out) != 1) Fail(path, errno);
    ++outcome.count;
  });
  store.Close();
  if (std::fclose(out) != 0) Fail(path, errno);
  return outcome;
}

// ---- the command line

constexpr Contender kStores[] = {
    {"isam", MakeIsam, true},
#ifdef BENCH_BERKELEY_DB
    {"bdb", MakeBerkeleyDb, false},
#endif
#ifdef BENCH_SQLITE
    {"sqlite", MakeSqlite, true},
#endif
#ifdef BENCH_LMDB
    {"lmdb", MakeLmdb, true},
#endif
};

struct Job {
  const char* name;
  std::size_t words;
  bool takes_access;
  Outcome (*run)(Store&, const std::vector<std::string>&, Access);
};

using Words = std::vector<std::string>;
constexpr Job kJobs[] = {
    {"load", 3, false,
     [](Store& store, const Words& words, Access) {
       return Load(store, words[2], MappedFile(words[1]).bytes());
     }},
    {"loadx", 3, false,
     [](Store& store, const Words& words, Access) {
       const Outcome outcome = Load(store, words[2], MappedFile(words[1]).bytes());
       AddIndex(store, words[2]);
       return outcome;
     }},
    {"q1", 4, true,
     [](Store& store, const Words& words, Access access) {
       return PointReads(store, words[1], access, MappedFile(words[2]).bytes());
     }},
    {"q2", 3, true,
     [](Store& store, const Words& words, Access access) { return Scan(store, words[1], access); }},
    {"u1", 4, true,
     [](Store& store, const Words& words, Access access) {
       return Update(store, words[1], access, MappedFile(words[2]).bytes());
     }},
    {"dump", 3, false,
     [](Store& store, const Words& words, Access) { return Dump(store, words[1], words[2]); }},
};

const Job* FindJob(const Words& words) {
  for (const Job& job : kJobs) {
    const bool access = !job.takes_access || words.back() == "excl" || words.back() == "shared";
    if (words.size() == job.words && words[0] == job.name && access) return &job;
  }
  return nullptr;
}

const Contender* FindStore(const std::string& name) {
  const auto* const found =
      std::find_if(std::begin(kStores), std::end(kStores),
                   [&](const Contender& store) { return name == store.name; });
  return found == std::end(kStores) ? nullptr : found;
}

int Run(Words words) {
  std::string store_name = "isam";
  if (words.size() > 2 && words[0] == "--store") {
    store_name = words[1];
    words.erase(words.begin(), words.begin() + 2);
  }
  const Contender* const store = FindStore(store_name);
  const Job* const job = words.empty() ? nullptr : FindJob(words);
  const Access access =
      !words.empty() && words.back() == "shared" ? Access::kShared : Access::kExclusive;
  if (store == nullptr || job == nullptr || (access == Access::kShared && !store->knows_shared)) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  const Outcome outcome = job->run(*store->make(), words, access);
  std::printf("n=%lld sum=%lld\n", static_cast<long long>(outcome.count),
              static_cast<long long>(outcome.sum));
  return 0;
}

}  // namespace

int Main(const Words& words) {
  const std::string first = words.size() == 1 ? words[0] : "";
  if (first == "--help") std::fputs(kUsage, stdout);
  if (first == "stores")
    for (const Contender& store : kStores)
      std::printf("%s%s\n", store.name, store.knows_shared ? " shared" : "");
  return first == "--help" || first == "stores" ? 0 : Run(words);
}

}  // namespace bench

int main(int argc, char** argv) {
  return bench::Main(std::vector<std::string>(argv + 1, argv + argc));
}
