// What this machine can do at best: hand-written loops that move the same bytes as the jobs of the
// program and do nothing else: no options, no messages, no error handling. A yardstick, not an
// implementation.
//
//   yardstick flat IN OUT       fixed EBCDIC payroll records to the same records for Micro Focus
//   yardstick variable IN OUT   variable-blocked records to a variable sequential file
//   yardstick copy IN OUT       a plain copy
//   yardstick unpack IN OUT     36-bit words to quarter-words and bytes, with the program's own
//   loops

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "datarep/charset.h"
#include "datarep/decimal.h"
#include "media/splitbit.h"

namespace {

using tolvane::Byte;

// The payroll record: text but for an unpacked field and the packed and binary bytes.
constexpr std::size_t kRecord = 80;
constexpr std::size_t kSign = 47;  // last byte of the unpacked field
constexpr std::size_t kRaw = 48, kRawEnd = 63;

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

void Convert(const Byte* in, Byte* out, std::size_t size) {
  for (std::size_t i = 0; i < kSign; ++i) out[i] = tolvane::ebc2asc[in[i]];
  const Byte sign = in[kSign];
  const Byte zone =
      (sign & 0xF0) == tolvane::kEbcdicNegative ? tolvane::kMfNegative : tolvane::kAsciiPositive;
  out[kSign] = static_cast<Byte>((sign & 0x0F) | zone);
  std::memcpy(out + kRaw, in + kRaw, kRawEnd - kRaw);
  for (std::size_t i = kRawEnd; i < size; ++i) out[i] = tolvane::ebc2asc[in[i]];
}

void Flat(const char* from, const char* to) {
  Reader in(from);
  Writer out(to);
  while (const Byte* record = in.Next(kRecord)) {
    Convert(record, out.Room(), kRecord);
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
      Convert(record + 4, place + 2, size);
      std::size_t length = size + 2;
      while (length % 4 != 0) place[length++] = ' ';
      out.Commit(length);
      record += size + 4;
    }
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
  } else if (job == "copy") {
    Copy(argv[2], argv[3]);
  } else if (job == "unpack") {
    Unpack(argv[2], argv[3]);
  } else {
    std::fprintf(stderr, "usage: yardstick flat|variable|copy|unpack IN OUT\n");
    return 2;
  }
  return 0;
}
