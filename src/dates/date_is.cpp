#include "dates/date_is.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "convert/explode.h"
#include "datarep/charset.h"
#include "datarep/decimal.h"
#include "dates/expand_date.h"
#include "dates/layout.h"
#include "platform/console.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {

using copybook::Field;
using copybook::SymbolTable;

namespace {

constexpr std::size_t kMostSteps = 1000000;
constexpr const char* kDefaultCentury = "19";  // without any window
constexpr std::size_t kLongestDate = 8;

bool IsNumberField(const Field& field) {
  return field.usage == 'P' || field.usage == 'S' || field.usage == 'B';
}

std::size_t LayoutLength(char letter) {
  const DateLayout* const layout = FindLayout(letter);
  return layout == nullptr ? 0 : layout->length();
}

// Bytes of one occurrence of a date field after its expansion.
std::int64_t ExpandedDateSize(const Field& field, const DateIsRecord& date) {
  int size = 0;
  if (field.usage == 'P' || field.usage == 'S') size = GetExtPackedDateSize(date.format);
  if (field.usage == 'B') size = GetExtBinDateSize(date.format);
  if (IsNumberField(field)) return std::max<std::int64_t>(size, field.aux_length);
  const DateLayout* const layout = FindLayout(date.format);
  constexpr int kYearWidth = 4;
  return field.aux_length + (kYearWidth - layout->year.width);
}

bool Holds(int comparison, const std::string& op) {
  if (op == "=") return comparison == 0;
  if (op == "<>") return comparison != 0;
  if (op == "<") return comparison < 0;
  if (op == "<=") return comparison <= 0;
  if (op == ">") return comparison > 0;
  return comparison >= 0;
}

bool AllAre(std::span<const Byte> text, Byte value) {
  return std::all_of(text.begin(), text.end(), [value](Byte byte) { return byte == value; });
}

bool HoldsDate(const Field& field) {
  if (DateIsOf(field) != nullptr) return true;
  for (const Field* member = field.first_child; member != nullptr; member = member->next_sibling)
    if (HoldsDate(*member)) return true;
  return false;
}

bool IsOneValue(std::span<const Byte> text) { return !text.empty() && AllAre(text, text.front()); }

bool IsDigitText(std::span<const Byte> text) {
  return std::all_of(text.begin(), text.end(),
                     [](Byte byte) { return byte >= '0' && byte <= '9'; });
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
  const std::size_t needed = LayoutLength(date->format);
  const auto digits = static_cast<std::size_t>(IsNumberField(field) ? field.digits : field.length);
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

std::int64_t GetExpandedFieldSize(const Field& field) {
  const DateIsRecord* const date = DateIsOf(field);
  std::int64_t size = field.aux_length;
  if (date != nullptr) {
    size = ExpandedDateSize(field, *date);
  } else if (field.IsGroup()) {
    // Members one after the other; redefinitions of one take the larger size. Slack stays.
    std::int64_t base = 0, after = 0;
    for (const Field* member = field.first_child; member != nullptr;
         member = member->next_sibling) {
      const std::int64_t grown =
          GetExpandedFieldSize(*member) - member->aux_length * member->occurs.max;
      if (member->redefines == nullptr) {
        after += base;
        base = grown;
      } else {
        base = std::max(base, grown);
      }
    }
    size += after + base;
  }
  return size * field.occurs.max;
}

std::int64_t GetExpandedRecordSize(const SymbolTable& table) {
  std::int64_t size = 0;
  for (const copybook::RecordDescription& record : table.records()) {
    if (record.first->IsStandalone()) continue;
    std::int64_t grown = record.aux_length;
    for (const Field* field = record.first; field != nullptr; field = field->next_sibling)
      grown += GetExpandedFieldSize(*field) - field->aux_length * field->occurs.max;
    size = std::max(size, grown);
  }
  return size;
}

RecordExpander::RecordExpander(const SymbolTable& table, bool ebcdic, const Moved& moved)
    : ebcdic_(ebcdic), moved_(moved) {
  const auto& records = table.records();
  const auto record = std::find_if(records.begin(), records.end(), [](const auto& description) {
    return !description.first->IsStandalone();
  });
  if (record != records.end()) PlanSiblings(record->first, 0);
}

std::size_t RecordExpander::Moved_(std::int64_t offset) const {
  const auto plain = static_cast<std::size_t>(offset);
  return moved_ ? moved_(plain) : plain;
}

void RecordExpander::PlanSiblings(const Field* first, std::int64_t shift) {
  for (const Field* field = first; field != nullptr;) {
    const std::size_t begin = plan_.to();
    PlanField(*field, shift);
    // What redefines the field shares its place, and makes it as large as itself.
    std::int64_t largest = GetExpandedFieldSize(*field);
    std::int64_t end = field->aux_offset + field->aux_length * field->occurs.max;
    const Field* next = field->next_sibling;
    for (; next != nullptr && next->redefines != nullptr; next = next->next_sibling) {
      largest = std::max(largest, GetExpandedFieldSize(*next));
      end = std::max(end, next->aux_offset + next->aux_length * next->occurs.max);
    }
    plan_.CopyUpTo(Moved_(end + shift));
    plan_.FillUpTo(begin + static_cast<std::size_t>(largest));
    field = next;
  }
}

void RecordExpander::PlanField(const Field& field, std::int64_t shift) {
  plan_.CopyUpTo(Moved_(field.aux_offset + shift));
  if (!HoldsDate(field) && !moved_) {
    plan_.CopyUpTo(Moved_(field.aux_offset + shift + field.aux_length * field.occurs.max));
    return;
  }
  for (std::int64_t k = 0; k < field.occurs.max && plan_.steps().size() < kMostSteps; ++k)
    PlanOccurrence(field, shift + k * field.aux_length);
}

void RecordExpander::PlanOccurrence(const Field& field, std::int64_t shift) {
  const DateIsRecord* const date = DateIsOf(field);
  const std::size_t end = Moved_(field.aux_offset + shift + field.aux_length);
  if (date != nullptr) {
    plan_.CopyUpTo(Moved_(field.aux_offset + shift));
    plan_.Rewrite(end - plan_.from(), static_cast<std::size_t>(ExpandedDateSize(field, *date)),
                  &field);
  } else if (field.IsGroup()) {
    PlanSiblings(field.first_child, shift);
  }
  plan_.CopyUpTo(end);
}

void RecordExpander::DoGroupExpansion(std::span<const Byte> record, Byte* out, std::size_t size) {
  std::fill_n(out, size, ebcdic_ ? kEbcdicSpace : Byte{' '});
  for (const PlanStep& step : plan_.steps()) {
    if (step.from >= record.size() || step.to + step.width > size) break;
    const std::size_t there = std::min(step.length, record.size() - step.from);
    if (step.field == nullptr) {
      std::copy_n(record.begin() + static_cast<std::ptrdiff_t>(step.from), there, out + step.to);
    } else if (there == step.length) {
      Expand(step, record, out);
    }
  }
  if (record.size() > plan_.from() && size > plan_.to())
    std::copy_n(record.begin() + static_cast<std::ptrdiff_t>(plan_.from()),
                std::min(record.size() - plan_.from(), size - plan_.to()), out + plan_.to());
}

// The century of a date; `is_fill` when every character of the date is to become it.
std::string RecordExpander::Century(const DateIsRecord& date, std::span<const Byte> text,
                                    bool& is_fill) const {
  const DateLayout& layout = *FindLayout(date.format);
  const auto year = text.subspan(layout.year.at, std::min<std::size_t>(2, layout.year.width));
  is_fill = false;
  for (const DateWindow& window : date.windows) {
    const auto bound = static_cast<Byte>(window.bound.empty() ? ' ' : window.bound.front());
    if (window.test == DateWindow::Test::kAllCharacters) {
      const bool holds = window.op == "="    ? AllAre(text, bound)
                         : window.op == "<>" ? !AllAre(text, bound)
                                             : Holds(text.front() - bound, window.op);
      is_fill = holds;
      if (holds) return window.century;
    } else if (IsDigitText(year)) {
      const std::string digits(year.begin(), year.end());
      const std::string wanted =
          window.bound.substr(window.bound.size() - std::min(window.bound.size(), digits.size()));
      if (Holds(digits.compare(wanted), window.op)) return window.century;
    }
  }
  return date.otherwise.empty() ? kDefaultCentury : date.otherwise;
}

void RecordExpander::Expand(const PlanStep& step, std::span<const Byte> record, Byte* to) {
  const Field& field = *static_cast<const Field*>(step.field);
  const DateIsRecord& date = *DateIsOf(field);
  const auto bytes = record.subspan(step.from, step.length);
  const std::span<Byte> out(to + step.to, step.width);
  const std::size_t length = LayoutLength(date.format);
  const bool is_number =
      IsNumberField(field) && step.length == static_cast<std::size_t>(field.aux_length);
  std::string digits;
  bool negative = false, is_fill = false;
  std::vector<Byte> text(bytes.begin(), bytes.end());
  if (is_number) {
    if (!ReadNumber(field, bytes, length, digits, negative)) {
      const std::string fill = Century(date, text, is_fill);
      if (is_fill && !fill.empty()) {
        std::fill(out.begin(), out.end(), static_cast<Byte>(fill.front()));
      } else {
        CarryOver(field, step.from, bytes, out);
      }
      return;
    }
    text.assign(digits.begin(), digits.end());
  } else if (ebcdic_) {
    toAscii(text);
  }
  std::array<Byte, kLongestDate> widened{};
  std::string century = Century(date, text, is_fill);
  if (!is_fill && IsOneValue(text) && !IsDigitText(text))  // blanks stay blanks
    century = std::string(1, static_cast<char>(text.front()));
  const std::size_t size = ExpandDateField(text, date.format, century, widened.data());
  if (is_number) {
    const std::string value =
        size == 0
            ? digits
            : std::string(widened.begin(), widened.begin() + static_cast<std::ptrdiff_t>(size));
    return WriteNumber(field, value, negative, bytes, out);
  }
  // Characters behind the date stay behind it.
  Byte* const end = std::copy_n(widened.begin(), size, out.data());
  const std::size_t rest = size == 0 ? 0 : length;
  std::copy(text.begin() + static_cast<std::ptrdiff_t>(rest), text.end(), end);
  if (ebcdic_) toEbcdic(out);
}

// The last `digits` digits of a packed or binary number; false when it is none or has more.
bool RecordExpander::ReadNumber(const Field& field, std::span<const Byte> bytes, std::size_t digits,
                                std::string& text, bool& negative) const {
  if (field.usage == 'B') {
    const auto width = static_cast<unsigned>(std::min<std::size_t>(bytes.size(), 8));
    const std::uint64_t raw = LoadBigWidth(bytes.data(), width);
    const std::uint64_t sign = std::uint64_t{1} << (8 * width - 1);
    negative = field.is_signed && (raw & sign) != 0;
    const std::uint64_t mask = width == 8 ? ~std::uint64_t{0} : (sign << 1) - 1;
    text = std::to_string(negative ? (~raw + 1) & mask : raw);
  } else {
    const Unpacked number = LoadPacked(bytes);
    if (number.sign_nibble < 0xA) return false;
    text = number.digits;
    negative = IsNegativeNibble(number.sign_nibble);
  }
  if (text.find_first_not_of("0123456789") != std::string::npos) return false;
  if (text.size() < digits) text.insert(0, digits - text.size(), '0');
  const std::size_t before = text.size() - digits;
  if (text.find_first_not_of('0') < before) return false;
  text.erase(0, before);
  return true;
}

void RecordExpander::WriteNumber(const Field& field, const std::string& text, bool negative,
                                 std::span<const Byte> bytes, std::span<Byte> out) const {
  if (field.usage == 'B') {
    const std::int64_t value = std::stoll(text);
    StoreBigWidth(out.data(), out.size(), negative ? -value : value);
  } else {
    StorePacked(out, text, bytes.back() & kDigitMask);
  }
}

void RecordExpander::CarryOver(const Field& field, std::size_t offset, std::span<const Byte> bytes,
                               std::span<Byte> out) {
  std::fill(out.begin(), out.end(), Byte{0});
  std::copy(bytes.begin(), bytes.end(),
            out.end() - static_cast<std::ptrdiff_t>(std::min(bytes.size(), out.size())));
  if (!reported_.insert(&field).second) return;
  PrintWarning(
      "Record %ld: the date %s at offset %zu is no number; it is carried over as it is. Further "
      "ones are not reported.\n",
      run.nCurrInputRec, field.name.c_str(), offset);
}

void AlterKeysDescription(const RecordExpander& expander) {
  MoveKeys([&expander](std::size_t offset) { return expander.MapOffset(offset); });
}

}  // namespace tolvane
