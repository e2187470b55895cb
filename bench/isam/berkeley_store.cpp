#include <db.h>

#include <cstring>

#include "store.h"

namespace bench {
namespace {

constexpr std::uint32_t kCacheBytes = 256U << 20;

DBT Thing(const void* bytes, std::size_t size) {
  DBT thing{};
  thing.data = const_cast<void*>(bytes);
  thing.size = static_cast<std::uint32_t>(size);
  return thing;
}

int GroupOf(DB* /*index*/, const DBT* /*key*/, const DBT* record, DBT* group) {
  *group = Thing(static_cast<const char*>(record->data) + kKey, kGroup);
  return 0;
}

class BerkeleyStore : public Store {
 public:
  void Create(const std::string& base) override {
    base_ = base;
    data_ = OpenFile(base + ".bdb", DB_CREATE, 0);
  }
  void Open(const std::string& base, Access /*access*/) override {
    base_ = base;
    data_ = OpenFile(base + ".bdb", 0, 0);
  }
  void Close() override {
    if (index_ != nullptr) Need(index_->close(index_, DB_NOSYNC), "close");
    Need(data_->close(data_, DB_NOSYNC), "close");
    index_ = data_ = nullptr;
  }
  void Write(const char* record) override { Put(record, DB_NOOVERWRITE); }
  void AddIndex() override {
    index_ = OpenFile(base_ + ".alt", DB_CREATE, DB_DUPSORT);
    Need(data_->associate(data_, nullptr, index_, GroupOf, DB_CREATE), "associate");
  }
  bool Read(const char* key, char* record) override {
    DBT wanted = Thing(key, kKey), found = Thing(record, 0);
    found.ulen = kRecord;
    found.flags = DB_DBT_USERMEM;
    const int result = data_->get(data_, nullptr, &wanted, &found, 0);
    if (result == DB_NOTFOUND) return false;
    Need(result, "get");
    return true;
  }
  void Rewrite(const char* record) override { Put(record, 0); }
  void Delete(const char* key) override {
    DBT wanted = Thing(key, kKey);
    Need(data_->del(data_, nullptr, &wanted, 0), "del");
  }
  void Scan(const std::function<void(const char*)>& visit) override {
    DBC* cursor = nullptr;
    Need(data_->cursor(data_, nullptr, &cursor, 0), "cursor");
    DBT key{}, record{};
    int result = 0;
    while ((result = cursor->get(cursor, &key, &record, DB_NEXT)) == 0)
      visit(static_cast<const char*>(record.data));
    if (result != DB_NOTFOUND) Need(result, "cursor get");
    Need(cursor->close(cursor), "cursor close");
  }

 private:
  static void Need(int result, const char* call) {
    if (result != 0) Fail(std::string("Berkeley DB ") + call, result);
  }
  static DB* OpenFile(const std::string& path, std::uint32_t flags, std::uint32_t kind) {
    DB* file = nullptr;
    Need(db_create(&file, nullptr, 0), "create");
    Need(file->set_cachesize(file, 0, kCacheBytes, 1), "set_cachesize");
    if (kind != 0) Need(file->set_flags(file, kind), "set_flags");
    Need(file->open(file, nullptr, path.c_str(), nullptr, DB_BTREE, flags, 0666), "open");
    return file;
  }
  void Put(const char* record, std::uint32_t flags) {
    DBT key = Thing(record, kKey), whole = Thing(record, kRecord);
    Need(data_->put(data_, nullptr, &key, &whole, flags), "put");
  }

  std::string base_;
  DB* data_ = nullptr;
  DB* index_ = nullptr;
};

}  // namespace

std::unique_ptr<Store> MakeBerkeleyDb() { return std::make_unique<BerkeleyStore>(); }

}  // namespace bench
