#include "dates/date_is.h"

#include <algorithm>
#include <array>

#include "convert/explode.h"
#include "convert/layouts.h"
#include "datarep/charset.h"
#include "datarep/decimal.h"
#include "dates/expand_date.h"
#include "dates/layout.h"
#include "platform/console.h"
#include "state/run.h"

namespace tolvane {

using copybook::Field;
using copybook::SignPlace;
using copybook::SymbolTable;

namespace {

constexpr const char* kDefaultCentury = "19";  // without any window
constexpr std::size_t kLongestDate = 8;
constexpr std::size_t kYearWidth = 4;  // after the expansion
constexpr const char* kDigits = "0123456789";

bool IsNumberField(const Field& field) { return field.IsPacked() || field.usage == 'B'; }

// Whether the last byte of an unpacked field is a digit with or without a sign in its zone.
bool CarriesSign(Byte byte, bool ebcdic) {
  constexpr int kMostDigit = 9;
  const Byte space = ebcdic ? kEbcdicSpace : Byte{' '};
  return (byte & kDigitMask) <= kMostDigit && byte != space && byte != 0;
}

bool IsNumeric(std::string_view text) {
  return text.find_first_not_of(kDigits) == std::string_view::npos;
}

int ToNumber(std::string_view digits) {
  int number = 0;
  for (const char c : digits) number = number * 10 + (c - '0');
  return number;
}

// Every character of the field against the bound; relations other than = and <> look at the first.
bool AllHold(const DateWindow& window, std::string_view field) {
  const char bound = window.bound.empty() ? ' ' : window.bound.front();
  if (window.op->less == window.op->greater)
    return window.op->Holds(field.find_first_not_of(bound) == std::string_view::npos ? 0 : 1);
  return window.op->Holds(static_cast<unsigned char>(field.front()) -
                          static_cast<unsigned char>(bound));
}

// The year as a number against the bound. A year that is none compares as text with what is none.
bool YearHolds(const DateWindow& window, std::string_view year) {
  if (!IsNumeric(year)) return false;
  if (!IsNumeric(window.bound)) return window.op->Holds(year.compare(window.bound));
  return window.op->Holds(ToNumber(year) - ToNumber(window.bound));
}

// The first entry that holds for the characters of a field and, when there is one, its year.
const DateWindow* FindWindow(const DateIsRecord& date, std::string_view field,
                             std::string_view year) {
  for (const DateWindow& window : date.windows) {
    const bool holds = window.test == DateWindow::Test::kAllCharacters
                           ? AllHold(window, field)
                           : !year.empty() && YearHolds(window, year);
    if (holds) return &window;
  }
  return nullptr;
}

const std::string& CenturyOf(const DateIsRecord& date, const DateWindow* window) {
  static const std::string without_windows = kDefaultCentury;
  if (window != nullptr) return window->century;
  return date.otherwise.empty() ? without_windows : date.otherwise;
}

std::string_view YearOf(const DateIsRecord& date, std::string_view text) {
  const DatePart year = FindLayout(date.format)->year;
  return text.substr(year.at, year.width);
}

std::string Widened(const DateIsRecord& date, std::string_view text, const std::string& century) {
  std::array<Byte, kLongestDate> bytes{};
  std::vector<Byte> narrow(text.begin(), text.end());
  const std::size_t size = ExpandDateField(narrow, date.format, century, bytes.data());
  if (size == 0) return std::string(text);
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

// ---- packed and binary numbers

struct Number {
  std::string digits;
  bool negative = false;
};

Number ReadBinary(const Field& field, std::span<const Byte> bytes) {
  const std::size_t width = std::min<std::size_t>(bytes.size(), 8);
  if (!field.is_signed) return {std::to_string(LoadBigWidth(bytes.data(), width))};
  const std::int64_t value = LoadBigWidthSigned(bytes.data(), width);
  const auto magnitude = static_cast<std::uint64_t>(value);
  return {std::to_string(value < 0 ? -magnitude : magnitude), value < 0};
}

// Digits beside a nibble that is no sign are no number.
Number ReadPacked(std::span<const Byte> bytes) {
  const Unpacked number = LoadPacked(bytes);
  if (number.sign_nibble < 0xA) return {};
  return {number.digits, IsNegativeNibble(number.sign_nibble)};
}

// The last `wanted` digits of a number; false when it is none or has more.
bool ReadNumber(const Field& field, std::span<const Byte> bytes, std::size_t wanted,
                Number& number) {
  number = field.usage == 'B' ? ReadBinary(field, bytes) : ReadPacked(bytes);
  std::string& digits = number.digits;
  if (digits.empty() || !IsNumeric(digits)) return false;
  if (digits.size() < wanted) digits.insert(0, wanted - digits.size(), '0');
  const std::size_t before = digits.size() - wanted;
  if (digits.find_first_not_of('0') < before) return false;
  digits.erase(0, before);
  return true;
}

void WriteNumber(const Field& field, const Number& number, Byte last, std::span<Byte> out) {
  if (field.usage == 'B') {
    const std::int64_t value = std::stoll(number.digits);
    StoreBigWidth(out.data(), out.size(), number.negative ? -value : value);
  } else {
    StorePacked(out, number.digits, last & kDigitMask);
  }
}

// ---- statements

int Refuse(const DateIsStatement& statement, const char* why) {
  PrintError("DATE IS %s: %s\n", statement.field.c_str(), why);
  return -1;
}

bool IsPlainText(const Field& field) {
  if (!field.IsGroup()) return field.usage == 'C' || (field.usage == 'D' && !field.is_signed);
  for (const Field* member = field.first_child; member != nullptr; member = member->next_sibling)
    if (!IsPlainText(*member)) return false;
  return true;
}

// Whether the field, a group around it or a member of it has a date already.
bool IsDated(const Field& field) {
  for (const Field* outer = &field; outer != nullptr; outer = outer->parent)
    if (DateIsOf(*outer) != nullptr) return true;
  for (const Field* member = field.first_child; member != nullptr; member = member->next_sibling)
    if (IsDated(*member)) return true;
  return false;
}

// What can not be widened so that the record can be read again.
int CheckField(const SymbolTable& table, const Field& field, const DateIsStatement& statement) {
  if (IsDated(field)) return Refuse(statement, "a statement before names its bytes already.");
  if (!AppliesToSome(table, field))
    return Refuse(statement, "no ID IS statement uses the description that it belongs to.");
  constexpr std::string_view kUsages = "CDPSB";
  if (!field.IsGroup() && (kUsages.find(field.usage) == std::string_view::npos ||
                           field.kind == copybook::Usage::kPackedNoSign))
    return Refuse(statement, "its usage can hold no date.");
  if (field.IsGroup() && !IsPlainText(field))
    return Refuse(statement, "a group must hold nothing but characters and unsigned digits.");
  if (field.HasOverpunch() && field.sign == SignPlace::kLeading)
    return Refuse(statement, "its sign is in its first digit.");
  if (!IsNumberField(field)) return 0;
  const auto is_number = [](const std::string& century) {
    return century.size() < 2 || IsNumeric(century);
  };
  const bool all = std::all_of(statement.windows.begin(), statement.windows.end(),
                               [&](const DateWindow& window) { return is_number(window.century); });
  return all && is_number(statement.otherwise)
             ? 0
             : Refuse(statement, "the century of a packed or binary field must be a number.");
}

}  // namespace

const DateIsRecord* DateIsOf(const Field& field) {
  return static_cast<const DateIsRecord*>(field.attachment.get());
}

int SaveDateIsField(SymbolTable& table, const DateIsStatement& statement) {
  const char* const name = statement.field.c_str();
  const copybook::Lookup found = table.GetSymHashSubStr(statement.field);
  if (found.matches == 0 || !found.field->IsInRecord()) {
    PrintError("Syntax error. %s is undefined.\n", name);
    return -1;
  }
  if (found.Unique() == nullptr) {
    PrintError("Syntax error. %s is ambiguous.\n", name);
    return -1;
  }
  const Field& field = *found.Unique();
  auto date = std::make_unique<DateIsRecord>();
  date->format = GetFormatTypeFromString(statement.format);
  if (!IsDateIsLayout(date->format)) {
    PrintError("Unknown format %s specified.\n", statement.format.c_str());
    return -1;
  }
  if (CheckField(table, field, statement) != 0) return -1;
  const std::size_t needed = FindLayout(date->format)->length();
  const auto digits = static_cast<std::size_t>(
      IsNumberField(field) || field.usage == 'D' ? field.digits : field.length);
  if (digits < needed) {
    PrintError("%s holds %zu characters or digits, %s needs %zu.\n", name, digits,
               statement.format.c_str(), needed);
    return -1;
  }
  date->windows = statement.windows;
  date->otherwise = statement.otherwise;
  table.Attach(field, std::move(date));
  return 0;
}

int SaveDateIsFields(SymbolTable& table) {
  for (const DateIsStatement& statement : date_statements.date_is)
    if (SaveDateIsField(table, statement) != 0) return 0;
  return 1;
}

DateField MakeDateField(const Field& field, const MaskItem* exploded) {
  DateField made{.field = &field, .date = DateIsOf(field)};
  made.width =
      exploded != nullptr ? ExplodedWidth(*exploded) : static_cast<std::size_t>(field.aux_length);
  if (made.date == nullptr) return made;
  const char format = made.date->format;
  const DateLayout& layout = *FindLayout(format);
  made.is_number = IsNumberField(field) && exploded == nullptr;
  if (made.is_number) {
    const int size = field.usage == 'B' ? GetExtBinDateSize(format) : GetExtPackedDateSize(format);
    made.width = std::max(made.width, static_cast<std::size_t>(size));
    return made;
  }
  if (field.usage != 'C' && !field.IsGroup()) {  // the last digits, in front of a sign behind them
    const bool sign_behind = exploded != nullptr
                                 ? HasSignBehind(*exploded)
                                 : field.sign_separate && field.sign != SignPlace::kLeading;
    made.at = made.width - (sign_behind ? 1 : 0) - layout.length();
  }
  made.year_at = made.at + layout.year.at;
  made.width += kYearWidth - layout.year.width;
  return made;
}

void DateExpander::Fill(std::span<Byte> out, char fill) const {
  const auto byte = static_cast<Byte>(fill);
  std::fill(out.begin(), out.end(), ebcdic_ ? asc2ebc[byte] : byte);
}

void DateExpander::DoDateIsFieldExpansion(const DateField& date, std::span<const Byte> bytes,
                                          std::size_t offset, std::span<Byte> out) {
  if (date.is_number) {
    WidenNumber(date, bytes, offset, out);
  } else {
    WidenDisplay(date, bytes, out);
  }
}

// What stands around the date stays around it.
void DateExpander::WidenDisplay(const DateField& date, std::span<const Byte> bytes,
                                std::span<Byte> out) const {
  std::string text(bytes.begin(), bytes.end());
  if (ebcdic_)
    for (char& c : text) c = static_cast<char>(ebc2asc[static_cast<Byte>(c)]);
  const std::size_t length = FindLayout(date.date->format)->length();
  std::string compared = text.substr(date.at, length);
  if (date.field->HasOverpunch() && date.at + length == bytes.size() &&
      CarriesSign(bytes.back(), ebcdic_))
    compared.back() = static_cast<char>((bytes.back() & kDigitMask) | kAsciiPositive);
  const DateWindow* const window = FindWindow(*date.date, compared, YearOf(*date.date, compared));
  text.replace(date.at, length,
               Widened(*date.date, std::string_view(text).substr(date.at, length),
                       CenturyOf(*date.date, window)));
  std::copy_n(text.begin(), std::min(text.size(), out.size()), out.begin());
  if (ebcdic_) toEbcdic(out);
}

void DateExpander::WidenNumber(const DateField& date, std::span<const Byte> bytes,
                               std::size_t offset, std::span<Byte> out) {
  const std::size_t length = FindLayout(date.date->format)->length();
  Number number;
  if (ReadNumber(*date.field, bytes, length, number)) {
    const DateWindow* const window =
        FindWindow(*date.date, number.digits, YearOf(*date.date, number.digits));
    const std::string& century = CenturyOf(*date.date, window);
    if (!IsNumeric(century)) return Fill(out, century.front());
    number.digits = Widened(*date.date, number.digits, century);
    return WriteNumber(*date.field, number, bytes.back(), out);
  }
  std::string text;
  for (const Byte byte : bytes) text += static_cast<char>(ebcdic_ ? ebc2asc[byte] : byte);
  const DateWindow* const window = FindWindow(*date.date, text, {});
  if (window != nullptr && window->century.size() == 1) return Fill(out, window->century.front());
  std::fill(out.begin(), out.end(), Byte{0});
  std::copy(bytes.begin(), bytes.end(), out.end() - static_cast<std::ptrdiff_t>(bytes.size()));
  Report(*date.field, offset, "is no number; it is carried over as it is");
}

void DateExpander::Report(const Field& field, std::size_t offset, const char* what) {
  if (!reported_.insert(&field).second) return;
  PrintWarning("Record %ld: the date %s at offset %zu %s. Further ones are not reported.\n",
               run.nCurrInputRec, field.name.c_str(), offset, what);
}

}  // namespace tolvane
