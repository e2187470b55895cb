#include <sqlite3.h>

#include <cstring>

#include "store.h"

namespace bench {
namespace {

// A table without rowid, no journal, no syncs; a job is one transaction unless it is shared.
class SqliteStore : public Store {
 public:
  void Create(const std::string& base) override {
    Connect(base, Access::kExclusive);
    Run("create table r (k blob primary key, g blob, d blob) without rowid");
    Begin();
  }
  void Open(const std::string& base, Access access) override {
    Connect(base, access);
    Begin();
  }
  void Close() override {
    for (sqlite3_stmt* statement : {insert_, select_, update_, delete_})
      sqlite3_finalize(statement);
    if (one_transaction_) Run("commit");
    Need(sqlite3_close(db_), "close");
  }
  void Write(const char* record) override {
    Bind(insert_, 1, record, kKey);
    Bind(insert_, 2, record + kKey, kGroup);
    Bind(insert_, 3, record, kRecord);
    Finish(insert_);
  }
  void AddIndex() override { Run("create index g on r (g)"); }
  bool Read(const char* key, char* record) override {
    Bind(select_, 1, key, kKey);
    const bool found = sqlite3_step(select_) == SQLITE_ROW;
    if (found) std::memcpy(record, sqlite3_column_blob(select_, 0), kRecord);
    sqlite3_reset(select_);
    return found;
  }
  void Rewrite(const char* record) override {
    Bind(update_, 1, record, kRecord);
    Bind(update_, 2, record, kKey);
    Finish(update_);
  }
  void Delete(const char* key) override {
    Bind(delete_, 1, key, kKey);
    Finish(delete_);
  }
  void Scan(const std::function<void(const char*)>& visit) override {
    sqlite3_stmt* all = Prepare("select d from r order by k");
    while (sqlite3_step(all) == SQLITE_ROW)
      visit(static_cast<const char*>(sqlite3_column_blob(all, 0)));
    sqlite3_finalize(all);
  }

 private:
  void Need(int result, const char* call) const {
    if (result != SQLITE_OK)
      Fail(std::string("SQLite ") + call + ": " + sqlite3_errmsg(db_), result);
  }
  void Connect(const std::string& base, Access access) {
    one_transaction_ = access == Access::kExclusive;
    Need(sqlite3_open((base + ".sqlite").c_str(), &db_), "open");
    Run("pragma journal_mode = off");
    Run("pragma synchronous = off");
    Run("pragma cache_size = -262144");
  }
  void Begin() {
    insert_ = Prepare("insert into r values (?, ?, ?)");
    select_ = Prepare("select d from r where k = ?");
    update_ = Prepare("update r set d = ? where k = ?");
    delete_ = Prepare("delete from r where k = ?");
    if (one_transaction_) Run("begin");
  }
  void Run(const char* text) { Need(sqlite3_exec(db_, text, nullptr, nullptr, nullptr), text); }
  sqlite3_stmt* Prepare(const char* text) {
    sqlite3_stmt* statement = nullptr;
    Need(sqlite3_prepare_v2(db_, text, -1, &statement, nullptr), text);
    return statement;
  }
  void Bind(sqlite3_stmt* statement, int at, const char* bytes, std::size_t size) {
    Need(sqlite3_bind_blob(statement, at, bytes, static_cast<int>(size), SQLITE_STATIC), "bind");
  }
  void Finish(sqlite3_stmt* statement) {
    if (sqlite3_step(statement) != SQLITE_DONE) Need(sqlite3_errcode(db_), "step");
    sqlite3_reset(statement);
  }

  sqlite3* db_ = nullptr;
  sqlite3_stmt *insert_ = nullptr, *select_ = nullptr, *update_ = nullptr, *delete_ = nullptr;
  bool one_transaction_ = true;
};

}  // namespace

std::unique_ptr<Store> MakeSqlite() { return std::make_unique<SqliteStore>(); }

}  // namespace bench
