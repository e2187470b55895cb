#include "dates/age_date.h"

#include <algorithm>
#include <ctime>

#include "platform/console.h"

namespace tolvane {
namespace {

// Remembered days: those of 176 years have places of their own. A power of two.
constexpr std::size_t kKnownDays = 65536;
constexpr std::size_t kDaysOfYear = 372;  // by month and day
// A packed day: year, month (7 bits), day or day of the year (10 bits).
constexpr unsigned kMonthAt = 10, kYearAt = 17;
constexpr std::uint32_t kDayMask = 0x3FF, kMonthMask = 0x7F;

constexpr std::int32_t kFirstPlainYear = 1970;
constexpr std::int32_t kFirstLateYear = 2036;
constexpr std::int32_t kCycleStart = 1972;

std::span<const Byte> Cut(std::span<const Byte> field, DatePart part) {
  return field.subspan(part.at, part.width);
}

bool AllAre(std::span<const Byte> text, Byte value) {
  return std::all_of(text.begin(), text.end(), [value](Byte byte) { return byte == value; });
}

// The number in a text of digits, blanks in front or behind counting as none. False for others.
bool ReadNumber(std::span<const Byte> text, std::int32_t& number) {
  number = 0;
  for (const Byte byte : text) {
    if (byte == ' ') continue;
    if (byte < '0' || byte > '9') return false;
    number = number * 10 + (byte - '0');
  }
  return true;
}

void WriteNumber(std::int32_t number, std::span<Byte> text) {
  for (std::size_t i = text.size(); i-- > 0; number /= 10)
    text[i] = static_cast<Byte>('0' + number % 10);
}

std::string Text(std::span<const Byte> field, DatePart part) {
  const auto text = Cut(field, part);
  return {text.begin(), text.end()};
}

}  // namespace

std::uint32_t DateAger::Pack(const Day& day) {
  return static_cast<std::uint32_t>(day.year) << kYearAt |
         static_cast<std::uint32_t>(day.month) << kMonthAt | static_cast<std::uint32_t>(day.day);
}

DateAger::Day DateAger::Unpack(std::uint32_t packed) {
  return {static_cast<std::int32_t>(packed >> kYearAt),
          static_cast<std::int32_t>(packed >> kMonthAt & kMonthMask),
          static_cast<std::int32_t>(packed & kDayMask)};
}

DateAger::DateAger(const AgeEntry& entry)
    : entry_(entry),
      layout_(FindLayout(entry.format)),
      default_{entry.default_year, entry.default_month, entry.default_day},
      known_(kKnownDays) {}

int DateAger::AgeDate(std::span<Byte> field) {
  if (layout_ == nullptr) {
    const char letter = entry_.format != 0 ? entry_.format : '?';
    PrintError("Extract date - unsupported date format '%c'\n", letter);
    return 0;
  }
  if (field.size() < layout_->length()) return Fail(field);
  if (LeaveAlone(field)) return 1;
  Day from;
  if (!ReadDay(field, from)) return Fail(field);
  const auto place = static_cast<std::size_t>(from.year) * kDaysOfYear +
                     static_cast<std::size_t>(from.month * 31 + from.day);
  Known& known = known_[place % kKnownDays];
  if (known.from != Pack(from)) {
    Day to;
    if (!Move(from, to)) return Fail(field);
    known = {Pack(from), Pack(to)};
  }
  WriteDay(Unpack(known.to), field);
  return 1;
}

bool DateAger::LeaveAlone(std::span<const Byte> field) const {
  return std::any_of(std::begin(" 09"), std::end(" 09") - 1, [&](char filler) {
    const auto value = static_cast<Byte>(filler);
    return AllAre(Cut(field, layout_->year), value) && AllAre(Cut(field, layout_->month), value) &&
           AllAre(Cut(field, layout_->day), value) &&
           AllAre(Cut(field, layout_->day_of_year), value);
  });
}

bool DateAger::ReadDay(std::span<const Byte> field, Day& day) const {
  std::int32_t day_of_year = 0;
  if (!ReadNumber(Cut(field, layout_->year), day.year) ||
      !ReadNumber(Cut(field, layout_->month), day.month) ||
      !ReadNumber(Cut(field, layout_->day), day.day) ||
      !ReadNumber(Cut(field, layout_->day_of_year), day_of_year))
    return false;
  if (layout_->year.width == 0) day.year = default_.year;
  if (layout_->day_of_year.width > 0) {
    day.month = 1;  // a day of January, however late
    day.day = day_of_year;
  }
  if (day.month == 0) day.month = default_.month;
  if (day.day == 0) day.day = default_.day;
  return true;
}

bool DateAger::Move(const Day& from, Day& to) const {
  std::int32_t moved = from.year;
  if (moved >= kFirstLateYear || moved < kFirstPlainYear) moved = kCycleStart + from.year % 4;
  std::tm calendar{};
  calendar.tm_year = moved - 1900;
  calendar.tm_mon = from.month - 1;
  calendar.tm_mday = from.day;
  calendar.tm_isdst = -1;
  calendar.tm_wday = -1;  // the conversion sets it when it succeeds
  const std::time_t midnight = std::mktime(&calendar);
  if (calendar.tm_wday < 0) return false;
  std::time_t aged = 0;
  if (__builtin_add_overflow(midnight, entry_.age, &aged) || aged > GetMaxTimeNo() ||
      aged < -GetMaxTimeNo())
    return false;
  // Deliberate: local midnight is broken down in UTC.
  std::tm result{};
  if (gmtime_r(&aged, &result) == nullptr) return false;
  to.year = result.tm_year + 1900 - (moved - from.year);
  if (to.year < 0 && layout_->year.width < 4) to.year += 10000;  // its last digits count
  if (to.year < 0 || to.year > 9999) return false;
  to.month = result.tm_mon + 1;
  to.day = layout_->day_of_year.width > 0 ? result.tm_yday + 1 : result.tm_mday;
  return true;
}

void DateAger::WriteDay(const Day& day, std::span<Byte> field) const {
  const auto put = [field](DatePart part, std::int32_t number) {
    WriteNumber(number, field.subspan(part.at, part.width));
  };
  put(layout_->year, day.year);
  put(layout_->month, day.month);
  put(layout_->day, day.day);
  put(layout_->day_of_year, day.day);
}

int DateAger::Fail(std::span<const Byte> field) const {
  const bool whole = field.size() >= layout_->length();
  const auto text = [&](DatePart part) { return whole ? Text(field, part) : std::string(); };
  const DatePart day = layout_->day_of_year.width > 0 ? layout_->day_of_year : layout_->day;
  PrintError("Age error on date: year = %4s, month = %2s, day = %2s\n", text(layout_->year).c_str(),
             text(layout_->month).c_str(), text(day).c_str());
  return 0;
}

}  // namespace tolvane
