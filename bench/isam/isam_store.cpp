#include <isam.h>

#include <cstring>

#include "store.h"

namespace bench {
namespace {

keydesc Key(std::size_t start, std::size_t length, int flags) {
  keydesc key{};
  key.k_flags = static_cast<std::int16_t>(flags);
  key.k_nparts = 1;
  key.k_part[0] = {static_cast<std::int16_t>(start), static_cast<std::int16_t>(length), CHARTYPE};
  return key;
}

class IsamStore : public Store {
 public:
  void Create(const std::string& base) override {
    handle_ = isbuild(base.c_str(), kRecord, &primary_, ISINOUT | ISEXCLLOCK);
    Need(handle_ >= 0, "isbuild");
  }
  void Open(const std::string& base, Access access) override {
    const int lock = access == Access::kExclusive ? ISEXCLLOCK : ISMANULOCK;
    handle_ = isopen(base.c_str(), ISINOUT | lock);
    Need(handle_ >= 0, "isopen");
  }
  void Close() override { Need(isclose(handle_) == 0, "isclose"); }
  void Write(const char* record) override { Need(iswrite(handle_, record) == 0, "iswrite"); }
  void AddIndex() override {
    const keydesc group = Key(kKey, kGroup, ISDUPS);
    Need(isaddindex(handle_, &group) == 0, "isaddindex");
  }
  bool Read(const char* key, char* record) override {
    std::memcpy(record, key, kKey);
    if (isread(handle_, record, ISEQUAL) == 0) return true;
    Need(iserrno == ENOREC, "isread");
    return false;
  }
  void Rewrite(const char* record) override { Need(isrewrite(handle_, record) == 0, "isrewrite"); }
  void Delete(const char* key) override { Need(isdelete(handle_, key) == 0, "isdelete"); }
  void Scan(const std::function<void(const char*)>& visit) override {
    char record[kRecord] = {};
    Need(isstart(handle_, &primary_, 0, record, ISFIRST) == 0, "isstart");
    while (isread(handle_, record, ISNEXT) == 0) visit(record);
    Need(iserrno == EENDFILE, "isread");
  }

 private:
  static void Need(bool ok, const char* call) {
    if (!ok) Fail(call, iserrno);
  }
  const keydesc primary_ = Key(0, kKey, ISNODUPS);
  int handle_ = -1;
};

}  // namespace

std::unique_ptr<Store> MakeIsam() { return std::make_unique<IsamStore>(); }

}  // namespace bench
