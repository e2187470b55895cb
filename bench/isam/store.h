// A keyed store as the benchmark sees it: the engine and its peers behind one interface. Records
// have 100 bytes; the first 8 are a unique key, the 10 behind it the alternate key with duplicates.
//
// Every call ends the program with a message when the store fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace bench {

inline constexpr std::size_t kRecord = 100, kKey = 8, kGroup = 10;
inline constexpr std::size_t kNumberAt = 65;  // a signed number, 4 bytes, big-endian
inline constexpr std::size_t kMarkAt = 99;

enum class Access {
  kExclusive,  // nobody else: no locks; peers: one transaction for the job
  kShared,     // each call a unit of its own that other processes could come between
};

class Store {
 public:
  virtual ~Store() = default;

  virtual void Create(const std::string& base) = 0;
  virtual void Open(const std::string& base, Access access) = 0;
  virtual void Close() = 0;
  virtual void Write(const char* record) = 0;
  // Adds the index on the alternate key to a loaded store.
  virtual void AddIndex() = 0;
  // False when there is no such key.
  virtual bool Read(const char* key, char* record) = 0;
  virtual void Rewrite(const char* record) = 0;
  virtual void Delete(const char* key) = 0;
  // All records in key order.
  virtual void Scan(const std::function<void(const char*)>& visit) = 0;
};

struct Contender {
  const char* name;
  std::unique_ptr<Store> (*make)();
  bool knows_shared;
};
[[nodiscard]] std::unique_ptr<Store> MakeIsam();
[[nodiscard]] std::unique_ptr<Store> MakeBerkeleyDb();
[[nodiscard]] std::unique_ptr<Store> MakeSqlite();
[[nodiscard]] std::unique_ptr<Store> MakeLmdb();

[[noreturn]] void Fail(const std::string& what, int error);

}  // namespace bench
