// Ages one date: moves the characters of a date field forward or back by a number of seconds.
//
// A date is taken as local midnight and broken down again in UTC, so the local time zone takes
// part. Years up to 1969, all two-digit years among them, and years from 2036 on are moved into
// 1972 to 1975, keeping their place in the four-year leap cycle, and moved back afterwards.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "datarep/byte_order.h"
#include "dates/layout.h"

namespace tolvane {

// The largest time, in seconds since 1970, that an aged date may have: the end of the year 9999.
[[nodiscard]] constexpr std::int64_t GetMaxTimeNo() { return 253402300799; }

// One AGE statement.
struct AgeEntry {
  std::string name{};            // of the field, compared without regard to case
  std::int32_t default_day = 1;  // used when the field has no day, month or year, or zero
  std::int32_t default_month = 1;
  std::int32_t default_year = 1970;
  char format = 0;       // layout letter
  std::int64_t age = 0;  // seconds to add
};

// Ages dates by one entry. It remembers the days that it has met, so that a calendar call is made
// once for each.
class DateAger {
 public:
  // The entry must outlive the ager.
  explicit DateAger(const AgeEntry& entry);

  // Ages the field in place; its first bytes are the date, in ASCII. 1 when it was aged or
  // deliberately left alone (blanks, zeros or nines in all its parts); 0 after a message, the field
  // being as it was.
  [[nodiscard]] int AgeDate(std::span<Byte> field);

 private:
  struct Day {
    std::int32_t year = 0, month = 0, day = 0;  // month from 1; for a day of the year 1
    bool operator==(const Day&) const = default;
  };
  // A day that was met and what it became, packed to take little of the cache.
  struct Known {
    std::uint32_t from = 0xFFFFFFFF, to = 0;
  };

  [[nodiscard]] static std::uint32_t Pack(const Day& day);
  [[nodiscard]] static Day Unpack(std::uint32_t packed);
  [[nodiscard]] bool LeaveAlone(std::span<const Byte> field) const;
  [[nodiscard]] bool ReadDay(std::span<const Byte> field, Day& day) const;
  [[nodiscard]] bool Move(const Day& from, Day& to) const;
  void WriteDay(const Day& day, std::span<Byte> field) const;
  [[nodiscard]] int Fail(std::span<const Byte> field) const;

  const AgeEntry& entry_;
  const DateLayout* layout_;  // null: an unknown letter
  Day default_;
  std::vector<Known> known_;
};

}  // namespace tolvane
