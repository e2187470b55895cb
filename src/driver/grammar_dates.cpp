// The statements about dates.

#include <algorithm>
#include <ctime>

#include "driver/grammar_reader.h"
#include "platform/console.h"

namespace tolvane {

using copybook::TokenKind;

// What is said of values in DATE IS that do not suit: of a year and its century, which are two
// characters each, and of those of an ALL condition, which are one.
struct Grammar::YearTexts {
  const char *invalid, *too_long, *no_integer;
};
struct Grammar::CharacterTexts {
  const char *invalid, *too_long, *no_integer, *too_large;
};
constexpr Grammar::YearTexts Grammar::kBoundOfYear{
    "Invalid YY value.\n", "String value too long for YY comparison.\n",
    "YY value must be an integer between 0 and 99.\n"};
constexpr Grammar::YearTexts Grammar::kCenturyOfYear{
    "Invalid CC value.\n", "String too long for CC value.\n",
    "CC value must be an integer between 0 and 99.\n"};
constexpr Grammar::CharacterTexts Grammar::kBoundOfAll{
    "Invalid value for ALL condition.\n", "String value too long for ALL condition.\n",
    "Numeric value for ALL condition must be an integer between 0 and 9.\n",
    "Numeric value for ALL condition must be between 0 and 9.\n"};
constexpr Grammar::CharacterTexts Grammar::kCenturyOfAll{
    "Unrecognized CC value for ALL condition.\n", "String CC value too long for ALL condition.\n",
    "Numeric CC value for ALL condition must be an integer between 0 and 9.\n",
    "Numeric CC value for ALL condition must be between 0 and 9.\n"};

namespace {

constexpr std::size_t kFormatWidth = 9;

bool IsInteger(const copybook::Token& token) {
  return token.kind == TokenKind::kNumber &&
         token.text.find_first_not_of("0123456789") == std::string::npos;
}

// An integer of one or two digits; -1 for anything else.
int SmallInteger(const copybook::Token& token) {
  constexpr std::size_t kMostDigits = 2;
  const std::size_t begin = std::min(token.text.find_first_not_of('0'), token.text.size());
  if (!IsInteger(token) || token.text.size() - begin > kMostDigits) return -1;
  return begin == token.text.size() ? 0 : std::stoi(token.text.substr(begin));
}

// The leading digits of a token of a date; 0 when there are none.
int ToInt(const std::string& text) { return LeadingSize(text).value_or(0); }

std::string TwoDigits(int value) {
  const std::string digits = std::to_string(value);
  return digits.size() == 1 ? "0" + digits : digits;
}

// The character of a figurative constant; empty when the token is none of them.
std::string FigurativeCharacter(const copybook::Token& token) {
  constexpr struct {
    const char* words[2];
    char character;
  } kConstants[] = {{{"LOW-VALUE", "LOW-VALUES"}, '\0'},
                    {{"HIGH-VALUE", "HIGH-VALUES"}, '\xFF'},
                    {{"SPACE", "SPACES"}, ' '}};
  for (const auto& row : kConstants)
    for (const char* word : row.words)
      if (token.Is(word)) return std::string(1, row.character);
  return {};
}

}  // namespace

Grammar::Outcome Grammar::Field() {
  const std::string name = Next().text.substr(0, kFieldNameWidth);
  if (name.empty()) return Reject("INVALID syntax at ''\n");
  date_statements.fields.push_back(name);
  return Outcome::kNext;
}

Grammar::Outcome Grammar::DateIs() {
  DateIsStatement statement;
  statement.field = NextValue().text.substr(0, kFieldNameWidth);
  if (!Next().Is("FORMAT")) return Reject("Missing keyword FORMAT in DATE IS command.\n");
  statement.format = NextValue().text.substr(0, kFormatWidth);
  while (Accept("IF")) {
    const Outcome outcome = ReadWindow(statement);
    if (outcome != Outcome::kNext) return outcome;
  }
  if (!statement.windows.empty()) {
    if (!Next().Is("CC")) return Reject("Missing CC in DATE IS command.\n");
    const Outcome outcome = ReadCentury(DateWindow::Test::kYear, statement.otherwise);
    if (outcome != Outcome::kNext) return outcome;
  }
  date_statements.date_is.push_back(std::move(statement));
  opt.expandDateFlag = 1;
  return Outcome::kNext;
}

// One clause behind IF: condition THEN CC value ELSE.
Grammar::Outcome Grammar::ReadWindow(DateIsStatement& statement) {
  DateWindow window;
  Outcome outcome = ReadWindowTest(window);
  if (outcome != Outcome::kNext) return outcome;
  if (!Next().Is("THEN")) return Reject("Missing keyword THEN in DATE IS command.\n");
  if (!Next().Is("CC")) return Reject("Missing CC in DATE IS command.\n");
  outcome = ReadCentury(window.test, window.century);
  if (outcome != Outcome::kNext) return outcome;
  if (!Next().Is("ELSE")) return Reject("Missing keyword ELSE in DATE IS command.\n");
  statement.windows.push_back(std::move(window));
  return Outcome::kNext;
}

Grammar::Outcome Grammar::ReadWindowTest(DateWindow& window) {
  window.bound = FigurativeCharacter(Next());
  if (!window.bound.empty()) {
    window.test = DateWindow::Test::kAllCharacters;
    return Outcome::kNext;
  }
  const bool all = token().Is("ALL");
  if (!all && !token().Is("YY")) return Reject("Missing keyword YY in DATE IS command.\n");
  if (const Relation* const relation = RelationOf(Next()); relation != nullptr) {
    window.op = relation;
    Next();
  } else if (!all) {
    return Reject("Invalid operator for DATE IS command (must be one of <, <=, =, <>, > or >=).\n");
  }
  window.test = all ? DateWindow::Test::kAllCharacters : DateWindow::Test::kYear;
  return all ? ReadCharacter(kBoundOfAll, window.bound) : ReadYearValue(kBoundOfYear, window.bound);
}

// The value of a YY condition, or of a CC behind one, which is the current token: two characters.
Grammar::Outcome Grammar::ReadYearValue(const YearTexts& texts, std::string& value) {
  constexpr std::size_t kMost = 2;
  if (token().kind == TokenKind::kString) {
    if (token().text.empty()) return Reject("%s", texts.invalid);
    if (token().text.size() > kMost) return Reject("%s", texts.too_long);
    value = token().text;
    return Outcome::kNext;
  }
  if (token().kind != TokenKind::kNumber) return Reject("%s", texts.invalid);
  const int number = SmallInteger(token());
  if (number < 0) return Reject("%s", texts.no_integer);
  value = TwoDigits(number);
  return Outcome::kNext;
}

// The value of an ALL condition, or of a CC behind one, which is the current token: a character.
Grammar::Outcome Grammar::ReadCharacter(const CharacterTexts& texts, std::string& value) {
  value = FigurativeCharacter(token());
  if (!value.empty()) return Outcome::kNext;
  if (token().kind == TokenKind::kString) {
    if (token().text.size() != 1) return Reject("%s", texts.too_long);
  } else if (token().kind != TokenKind::kNumber) {
    return Reject("%s", texts.invalid);
  } else if (!IsInteger(token())) {
    return Reject("%s", texts.no_integer);
  } else if (token().text.size() != 1) {
    return Reject("%s", texts.too_large);
  }
  value = token().text;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::ReadCentury(DateWindow::Test test, std::string& century) {
  NextValue();
  return test == DateWindow::Test::kYear ? ReadYearValue(kCenturyOfYear, century)
                                         : ReadCharacter(kCenturyOfAll, century);
}

// ---- dates of the calendar

// Month / day / year; false when a sign between them is missing.
bool Grammar::ReadDate(DateText& date) {
  date.month = Next().text;
  if (!Next().Is("/")) return false;
  date.day = Next().text;
  if (!Next().Is("/")) return false;
  date.year = Next().text;
  return true;
}

// Local midnight; the library decides on daylight saving.
bool Grammar::ParseDateAndGetTimeNo(const DateText& date, std::int64_t& seconds) const {
  constexpr int kTmYear = 1900;
  std::tm calendar{};
  calendar.tm_year = ToInt(date.year) - kTmYear;
  calendar.tm_mon = ToInt(date.month) - 1;
  calendar.tm_mday = ToInt(date.day);
  calendar.tm_isdst = -1;
  seconds = std::mktime(&calendar);
  return seconds != -1;
}

Grammar::Outcome Grammar::Age() {
  AgeEntry entry;
  entry.name = Next().text.substr(0, kFieldNameWidth);
  if (!Next().Is("FORMAT")) return Reject("Missing keyword FORMAT in AGE command.\n");
  const std::string format = NextValue().text;
  entry.format = GetFormatTypeFromString(format);
  if (entry.format == 0)
    PrintError("Unrecognized date format in AGE statement - %s\n", format.c_str());
  const Outcome outcome = AgeDates(entry);
  if (outcome != Outcome::kNext) return outcome;
  date_statements.pAgeStruct.push_back(std::move(entry));
  lasting.ageFlag = 1;
  return Outcome::kNext;
}

// FROM date TO date.
Grammar::Outcome Grammar::AgeDates(AgeEntry& entry) {
  constexpr int kFirstYear = 1900, kMonths = 12, kDays = 31;
  std::int64_t times[2] = {};
  const char* const words[2] = {"FROM", "TO"};
  for (int i = 0; i < 2; ++i) {
    if (!Next().Is(words[i])) {
      return Reject("Missing keyword %s in AGE command.\n", words[i]);
    }
    DateText date;
    if (!ReadDate(date)) return Reject("Invalid date after DATE.\n");
    const int month = ToInt(date.month), day = ToInt(date.day), year = ToInt(date.year);
    if (month < 1 || month > kMonths || day < 1 || day > kDays || year < kFirstYear ||
        !ParseDateAndGetTimeNo(date, times[i])) {
      return Reject("Invalid date in AGE statement - %s/%s/%s\n", date.month.c_str(),
                    date.day.c_str(), date.year.c_str());
    }
    if (i == 0) {
      entry.default_month = month;
      entry.default_day = day;
      entry.default_year = year;
    }
  }
  entry.age = times[1] - times[0];
  return Outcome::kNext;
}

Grammar::Outcome Grammar::TestDate() {
  return ReadRunDate("TEST", date_statements.test_date, opt.sw_testdate);
}

Grammar::Outcome Grammar::FileDate() {
  return ReadRunDate("FILE", date_statements.file_date, opt.sw_filedate);
}

Grammar::Outcome Grammar::ReadRunDate(const char* statement, std::int64_t& date, Switch& given) {
  constexpr std::size_t kDayWidth = 2, kYearWidth = 4;
  if (!Next().Is("DATE")) {
    return Reject("Invalid keyword after %s.\n", statement);
  }
  DateText text;
  if (!ReadDate(text)) return Reject("Invalid date after DATE.\n");
  // Deliberately unchecked, but for their widths.
  text.month.resize(std::min(text.month.size(), kDayWidth));
  text.day.resize(std::min(text.day.size(), kDayWidth));
  text.year.resize(std::min(text.year.size(), kYearWidth));
  if (!ParseDateAndGetTimeNo(text, date)) return Reject("Invalid date after DATE.\n");
  given = 1;
  run_date_ = statement_;
  return Outcome::kNext;
}

}  // namespace tolvane
