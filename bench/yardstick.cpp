// What this machine can do at best: hand-written loops that move the same bytes as the jobs of the
// program and do nothing else: no options, no messages, no error handling. A yardstick, not an
// implementation.
//
//   yardstick flat IN OUT        fixed EBCDIC records to the same records for Micro Focus
//   yardstick variable IN OUT    variable-blocked records to a variable sequential file
//   yardstick indexed IN OUT     fixed EBCDIC records to slots in OUT.dat, keys in OUT.idx
//   yardstick alternate IN OUT   the same, and the alternate keys behind the keys
//   yardstick backup IN OUT      the slots of IN.dat back to fixed EBCDIC records
//   yardstick copy IN OUT        a plain copy
//   yardstick unpack IN OUT      36-bit words to quarter-words and bytes, by the program's loops

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "datarep/byte_order.h"
#include "datarep/charset.h"
#include "datarep/decimal.h"
#include "media/splitbit.h"

namespace {

using tolvane::Byte;

// The record, see record.cpy: text but for packed and binary bytes and the sign of an unpacked
// field.
constexpr std::size_t kRecord = 100;
constexpr struct {
  std::size_t begin, end;
} kText[] = {{0, 42}, {58, 65}, {69, 75}, {76, kRecord}}, kRaw[] = {{42, 58}, {65, 69}};
constexpr std::size_t kSign = 75;
constexpr std::size_t kKey = 8, kGroup = 10;  // the key and, behind it, the alternate key
constexpr std::size_t kSlot = kRecord + 1;
constexpr Byte kLive = 0x0A;

void Check(bool ok, const char* what) {
  if (ok) return;
  std::perror(what);
  std::exit(1);
}

class Reader {
 public:
  explicit Reader(const char* path) : fd_(open(path, O_RDONLY)), buffer_(1 << 20) {
    Check(fd_ >= 0, path);
  }
  ~Reader() { close(fd_); }
  const Byte* Next(std::size_t bytes) {
    if (have_ - at_ < bytes) {
      std::memmove(buffer_.data(), buffer_.data() + at_, have_ - at_);
      have_ -= at_;
      at_ = 0;
      while (have_ < bytes) {
        const ssize_t got = read(fd_, buffer_.data() + have_, buffer_.size() - have_);
        if (got <= 0) return nullptr;
        have_ += static_cast<std::size_t>(got);
      }
    }
    at_ += bytes;
    return buffer_.data() + at_ - bytes;
  }

 private:
  int fd_;
  std::vector<Byte> buffer_;
  std::size_t at_ = 0, have_ = 0;
};

class Writer {
 public:
  explicit Writer(const char* path)
      : fd_(open(path, O_WRONLY | O_CREAT | O_TRUNC, 0666)), buffer_(kPiece + 65536) {
    Check(fd_ >= 0, path);
  }
  ~Writer() {
    Flush();
    close(fd_);
  }
  Byte* Room() {
    if (have_ >= kPiece) Flush();
    return buffer_.data() + have_;
  }
  void Commit(std::size_t bytes) { have_ += bytes; }

 private:
  static constexpr std::size_t kPiece = 256 << 10;
  void Flush() {
    for (std::size_t done = 0; done < have_;) {
      const ssize_t n = write(fd_, buffer_.data() + done, have_ - done);
      Check(n > 0, "write");
      done += static_cast<std::size_t>(n);
    }
    have_ = 0;
  }
  int fd_;
  std::vector<Byte> buffer_;
  std::size_t have_ = 0;
};

Byte LocalSign(Byte sign) {
  const bool negative = (sign & tolvane::kZoneMask) == tolvane::kEbcdicNegative;
  return tolvane::WithZone(sign, negative ? tolvane::kMfNegative : tolvane::kAsciiPositive);
}

Byte EbcdicSign(Byte sign) {
  const bool negative = (sign & tolvane::kZoneMask) == tolvane::kMfNegative;
  return tolvane::WithZone(sign, negative ? tolvane::kEbcdicNegative : tolvane::kEbcdicPositive);
}

// The bytes of a record that end at `size`.
void Convert(const Byte* in, Byte* out, std::size_t size, const tolvane::ByteTable& table) {
  for (const auto& [begin, end] : kText)
    for (std::size_t i = begin; i < std::min(end, size); ++i) out[i] = table[in[i]];
  for (const auto& [begin, end] : kRaw) std::memcpy(out + begin, in + begin, end - begin);
}

void ToLocal(const Byte* in, Byte* out, std::size_t size = kRecord) {
  Convert(in, out, size, tolvane::ebc2asc);
  out[kSign] = LocalSign(in[kSign]);
}

void Flat(const char* from, const char* to) {
  Reader in(from);
  Writer out(to);
  while (const Byte* record = in.Next(kRecord)) {
    ToLocal(record, out.Room());
    out.Commit(kRecord);
  }
}

void Variable(const char* from, const char* to) {
  Reader in(from);
  Writer out(to);
  Byte* header = out.Room();
  std::memset(header, 0, 128);
  header[0] = 0x30;
  header[1] = 126;
  header[37] = 62;
  header[39] = header[48] = 1;
  header[57] = header[61] = kRecord;
  out.Commit(128);
  while (const Byte* descriptor = in.Next(4)) {
    const auto block = static_cast<std::size_t>(tolvane::LoadBig<std::uint16_t>(descriptor) - 4);
    const Byte* record = in.Next(block);
    if (record == nullptr) return;
    for (const Byte* const end = record + block; record < end;) {
      const auto size = static_cast<std::size_t>(tolvane::LoadBig<std::uint16_t>(record) - 4);
      Byte* const place = out.Room();
      place[0] = static_cast<Byte>(0x40 | size >> 8);
      place[1] = static_cast<Byte>(size);
      ToLocal(record + 4, place + 2, size);
      std::size_t length = size + 2;
      while (length % 4 != 0) place[length++] = ' ';
      out.Commit(length);
      record += size + 4;
    }
  }
}

// One index: of every record a key of up to 12 bytes and the record's number behind it, as a number
// of 128 bits that compares as its bytes do.
class Keys {
 public:
  Keys(std::size_t at, std::size_t size) : at_(at), size_(size) {}
  void Add(const Byte* record, std::uint32_t number) {
    Byte bytes[sizeof(Entry)] = {};
    std::memcpy(bytes, record + at_, size_);
    tolvane::StoreBig(bytes + size_, number);
    entries_.emplace_back(tolvane::LoadBig<std::uint64_t>(bytes),
                          tolvane::LoadBig<std::uint64_t>(bytes + sizeof(std::uint64_t)));
  }
  // In their order, in leaves that are packed from the left.
  void WriteLeaves(Writer& out) {
    constexpr std::size_t kNode = 1024, kUsable = kNode - 4;
    const std::size_t width = size_ + sizeof(std::uint32_t);
    if (!std::is_sorted(entries_.begin(), entries_.end()))
      std::sort(entries_.begin(), entries_.end());
    for (std::size_t i = 0; i < entries_.size();) {
      Byte* const node = out.Room();
      std::memset(node, 0, kNode);
      for (std::size_t at = 2; at + width <= kUsable && i < entries_.size(); at += width, ++i) {
        Byte bytes[sizeof(Entry)];
        tolvane::StoreBig(bytes, entries_[i].first);
        tolvane::StoreBig(bytes + sizeof(std::uint64_t), entries_[i].second);
        std::memcpy(node + at, bytes, width);
      }
      out.Commit(kNode);
    }
  }

 private:
  using Entry = std::pair<std::uint64_t, std::uint64_t>;
  std::size_t at_, size_;
  std::vector<Entry> entries_;
};

void Indexed(const std::string& from, const std::string& to, bool alternate) {
  Reader in(from.c_str());
  Writer data((to + ".dat").c_str()), index((to + ".idx").c_str());
  Keys keys(0, kKey), groups(kKey, kGroup);
  std::uint32_t number = 0;
  while (const Byte* record = in.Next(kRecord)) {
    Byte* const slot = data.Room();
    ToLocal(record, slot);
    slot[kRecord] = kLive;
    data.Commit(kSlot);
    keys.Add(slot, ++number);
    if (alternate) groups.Add(slot, number);
  }
  keys.WriteLeaves(index);
  if (alternate) groups.WriteLeaves(index);
}

void Backup(const std::string& from, const char* to) {
  Reader in((from + ".dat").c_str());
  Writer out(to);
  while (const Byte* slot = in.Next(kSlot)) {
    Byte* const place = out.Room();
    Convert(slot, place, kRecord, tolvane::asc2ebc);
    place[kSign] = EbcdicSign(slot[kSign]);
    out.Commit(kRecord);
  }
}

void Copy(const char* from, const char* to) {
  constexpr std::size_t kPart = 4096;
  Reader in(from);
  Writer out(to);
  while (const Byte* part = in.Next(kPart)) {
    std::memcpy(out.Room(), part, kPart);
    out.Commit(kPart);
  }
}

void Unpack(const char* from, const char* to) {
  constexpr std::size_t kGroups = 448;
  std::vector<std::uint16_t> quarters(kGroups * tolvane::kGroupQuarters);
  Reader in(from);
  Writer out(to);
  while (const Byte* words = in.Next(kGroups * tolvane::kGroupBytes)) {
    tolvane::UnpackQuarters(words, kGroups, quarters.data());
    Byte* const place = out.Room();
    for (std::size_t i = 0; i < quarters.size(); ++i) place[i] = static_cast<Byte>(quarters[i]);
    out.Commit(quarters.size());
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string job = argc == 4 ? argv[1] : "";
  if (job == "flat") {
    Flat(argv[2], argv[3]);
  } else if (job == "variable") {
    Variable(argv[2], argv[3]);
  } else if (job == "indexed" || job == "alternate") {
    Indexed(argv[2], argv[3], job == "alternate");
  } else if (job == "backup") {
    Backup(argv[2], argv[3]);
  } else if (job == "copy") {
    Copy(argv[2], argv[3]);
  } else if (job == "unpack") {
    Unpack(argv[2], argv[3]);
  } else {
    std::fprintf(stderr,
                 "usage: yardstick flat|variable|indexed|alternate|backup|copy|unpack IN OUT\n");
    return 2;
  }
  return 0;
}
