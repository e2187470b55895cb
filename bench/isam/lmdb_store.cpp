#include <lmdb.h>

#include <cstring>

#include "store.h"

namespace bench {
namespace {

constexpr std::size_t kMapBytes = std::size_t{4} << 30;

MDB_val Value(const void* bytes, std::size_t size) { return {size, const_cast<void*>(bytes)}; }

// A writable map without syncs; a job is one transaction unless it is shared.
class LmdbStore : public Store {
 public:
  void Create(const std::string& base) override { Open(base, Access::kExclusive); }
  void Open(const std::string& base, Access access) override {
    one_transaction_ = access == Access::kExclusive;
    Need(mdb_env_create(&env_), "env_create");
    Need(mdb_env_set_mapsize(env_, kMapBytes), "env_set_mapsize");
    Need(mdb_env_set_maxdbs(env_, 2), "env_set_maxdbs");
    constexpr unsigned kFlags = MDB_NOSUBDIR | MDB_NOSYNC | MDB_WRITEMAP;
    Need(mdb_env_open(env_, (base + ".lmdb").c_str(), kFlags, 0666), "env_open");
    Begin();
    Need(mdb_dbi_open(txn_, "r", MDB_CREATE, &data_), "dbi_open");
    if (!one_transaction_) Commit();
  }
  void Close() override {
    if (one_transaction_) Commit();
    mdb_env_close(env_);
  }
  void Write(const char* record) override {
    Unit([&] { Put(record, MDB_NOOVERWRITE); });
  }
  void AddIndex() override {
    MDB_dbi index{};
    Need(mdb_dbi_open(txn_, "g", MDB_CREATE | MDB_DUPSORT | MDB_DUPFIXED, &index), "dbi_open");
    Scan([&](const char* record) {
      MDB_val group = Value(record + kKey, kGroup), key = Value(record, kKey);
      Need(mdb_put(txn_, index, &group, &key, 0), "put");
    });
  }
  bool Read(const char* key, char* record) override {
    if (!one_transaction_) Need(mdb_txn_begin(env_, nullptr, MDB_RDONLY, &txn_), "txn_begin");
    MDB_val wanted = Value(key, kKey), found{};
    const int result = mdb_get(txn_, data_, &wanted, &found);
    if (result == 0) std::memcpy(record, found.mv_data, kRecord);
    if (!one_transaction_) mdb_txn_abort(txn_);
    if (result != MDB_NOTFOUND) Need(result, "get");
    return result == 0;
  }
  void Rewrite(const char* record) override {
    Unit([&] { Put(record, 0); });
  }
  void Delete(const char* key) override {
    Unit([&] {
      MDB_val wanted = Value(key, kKey);
      Need(mdb_del(txn_, data_, &wanted, nullptr), "del");
    });
  }
  void Scan(const std::function<void(const char*)>& visit) override {
    if (!one_transaction_) Begin();
    MDB_cursor* cursor = nullptr;
    Need(mdb_cursor_open(txn_, data_, &cursor), "cursor_open");
    MDB_val key{}, record{};
    while (mdb_cursor_get(cursor, &key, &record, MDB_NEXT) == 0)
      visit(static_cast<const char*>(record.mv_data));
    mdb_cursor_close(cursor);
    if (!one_transaction_) Commit();
  }

 private:
  static void Need(int result, const char* call) {
    if (result != 0) Fail(std::string("LMDB ") + call, result);
  }
  void Begin() { Need(mdb_txn_begin(env_, nullptr, 0, &txn_), "txn_begin"); }
  void Commit() { Need(mdb_txn_commit(txn_), "txn_commit"); }
  template <typename Work>
  void Unit(Work work) {
    if (!one_transaction_) Begin();
    work();
    if (!one_transaction_) Commit();
  }
  void Put(const char* record, unsigned flags) {
    MDB_val key = Value(record, kKey), whole = Value(record, kRecord);
    Need(mdb_put(txn_, data_, &key, &whole, flags), "put");
  }

  MDB_env* env_ = nullptr;
  MDB_txn* txn_ = nullptr;
  MDB_dbi data_{};
  bool one_transaction_ = true;
};

}  // namespace

std::unique_ptr<Store> MakeLmdb() { return std::make_unique<LmdbStore>(); }

}  // namespace bench
