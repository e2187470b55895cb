// Makes the example: a payroll backup as a mainframe would write it, EBCDIC, in fixed records of
// 80 bytes that payroll.cpy describes. The same count gives the same bytes.
//
//   make_payroll FILE [RECORDS]

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "datarep/byte_order.h"
#include "datarep/charset.h"
#include "datarep/decimal.h"

namespace {

using tolvane::Byte;

constexpr std::size_t kRecordSize = 80;
constexpr long kDefaultRecords = 1000;

constexpr std::array kFirst{"ANNA", "BERT", "CARLA", "DIRK", "ELSA", "FRANK", "GRETA", "HENRY"};
constexpr std::array kLast{"SMITH", "O'BRIEN", "MUELLER", "DUPONT", "GARCIA", "NOVAK", "ROSSI"};
constexpr std::array kDepartments{"ACCT", "SALE", "SHIP", "PROD", "LABS"};
constexpr std::array kTowns{"SPRINGFIELD", "OAK RIDGE", "LAKE VIEW", "MILL LANE", "HARBOR CITY"};

// A linear congruential generator: the same numbers on every machine.
class Numbers {
 public:
  std::uint32_t Below(std::uint32_t limit) {
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;
    return static_cast<std::uint32_t>(state_ >> 33) % limit;
  }

 private:
  std::uint64_t state_ = 20231001;
};

// The fields of one record, one after the other.
class Record {
 public:
  void Text(const std::string& text, std::size_t width) {
    std::string field = text.substr(0, width);
    field.resize(width, ' ');
    for (const char c : field) Add(tolvane::asc2ebc[static_cast<Byte>(c)]);
  }
  void Digits(std::uint32_t value, std::size_t width) {
    std::array<Byte, 10> field{};
    tolvane::mstintuc({field.data(), width}, value);
    for (std::size_t i = 0; i < width; ++i) Add(tolvane::asc2ebc[field[i]]);
  }
  // The sign stands in the zone of the last digit.
  void SignedDigits(std::int32_t value, std::size_t width) {
    Digits(static_cast<std::uint32_t>(std::abs(value)), width);
    Byte& last = bytes_[used_ - 1];
    last = tolvane::WithZone(last, value < 0 ? tolvane::kEbcdicNegative : tolvane::kEbcdicPositive);
  }
  void Packed(std::int64_t value, std::size_t width) {
    tolvane::StorePacked({&bytes_[used_], width}, std::to_string(std::abs(value)),
                         value < 0 ? tolvane::kPackedNegative : tolvane::kPackedPositive);
    used_ += width;
  }
  void Binary(std::int16_t value) {
    tolvane::StoreBig(&bytes_[used_], value);
    used_ += 2;
  }
  [[nodiscard]] const std::array<Byte, kRecordSize>& bytes() const { return bytes_; }
  [[nodiscard]] bool complete() const { return used_ == kRecordSize; }

 private:
  void Add(Byte byte) { bytes_[used_++] = byte; }

  std::array<Byte, kRecordSize> bytes_{};
  std::size_t used_ = 0;
};

template <typename List>
const char* OneOf(const List& list, Numbers& numbers) {
  return list[numbers.Below(static_cast<std::uint32_t>(list.size()))];
}

Record MakeRecord(std::uint32_t number, Numbers& numbers) {
  Record record;
  record.Digits(100000 + number * 7, 6);
  record.Text(std::string(OneOf(kFirst, numbers)) + " " + OneOf(kLast, numbers), 24);
  record.Text(OneOf(kDepartments, numbers), 4);
  record.Digits(70 + numbers.Below(30), 2);  // hired: year, month, day
  record.Digits(1 + numbers.Below(12), 2);
  record.Digits(1 + numbers.Below(28), 2);
  record.Text(numbers.Below(20) == 0 ? "R" : "A", 1);
  record.SignedDigits(static_cast<std::int32_t>(numbers.Below(40000)) - 4000, 7);
  const std::int64_t salary = 180000 + numbers.Below(700000);
  record.Packed(salary, 5);
  record.Packed(-salary / 4, 5);
  record.Binary(static_cast<std::int16_t>(static_cast<int>(numbers.Below(45)) - 5));
  record.Packed(99000 + 1 + numbers.Below(365), 3);  // last paid: year, day of the year
  record.Text(OneOf(kTowns, numbers), 17);
  return record;
}

}  // namespace

int main(int argc, char** argv) {
  const long count = argc > 2 ? std::atol(argv[2]) : kDefaultRecords;  // NOLINT(cert-err34-c)
  if (argc < 2 || count < 1 || count > 100000000) {
    std::fprintf(stderr, "usage: make_payroll FILE [RECORDS]\n");
    return 2;
  }
  std::ofstream out(argv[1], std::ios::binary);
  Numbers numbers;
  for (long i = 0; i < count; ++i) {
    const Record record = MakeRecord(static_cast<std::uint32_t>(i), numbers);
    if (!record.complete()) return 3;
    for (const Byte byte : record.bytes()) out.put(static_cast<char>(byte));
  }
  out.flush();
  if (out) return 0;
  std::fprintf(stderr, "make_payroll: cannot write '%s'\n", argv[1]);
  return 1;
}
