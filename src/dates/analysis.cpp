#include "dates/analysis.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "copybook/words.h"
#include "datarep/charset.h"
#include "datarep/decimal.h"
#include "dates/guess.h"
#include "dates/layout.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "state/options.h"

namespace tolvane {

using copybook::Field;

Analysis analysis;

namespace {

constexpr int kFewestDigits = 2, kMostDigits = 9;

int DigitsOf(const Field& field) {
  return field.digits > 0 ? field.digits : static_cast<int>(field.length);
}

bool IsCandidate(const Field& field) {
  if (field.IsGroup() || field.IsStandalone()) return false;
  const bool suits =
      field.usage == 'D' || field.IsPacked() || field.usage == 'B' || field.usage == 'C';
  return suits && DigitsOf(field) >= kFewestDigits && DigitsOf(field) <= kMostDigits;
}

// A value, or the mark that the field stands for without one.
struct Value {
  std::optional<std::int64_t> number;
  char mark = kGuessUnknown;
};

Value BinaryValue(const Field& field, std::span<const Byte> bytes) {
  constexpr std::size_t kMostBytes = 8;
  if (bytes.size() > kMostBytes) return {};
  if (field.is_signed && LoadBigWidthSigned(bytes.data(), bytes.size()) < 0) return {};
  return {static_cast<std::int64_t>(LoadBigWidth(bytes.data(), bytes.size()))};
}

std::optional<std::int64_t> DigitsValue(const std::string& digits) {
  constexpr std::size_t kMostInNumber = 18;
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos)
    return std::nullopt;
  const std::size_t zeros = std::min(digits.find_first_not_of('0'), digits.size() - 1);
  if (digits.size() - zeros > kMostInNumber) return std::nullopt;
  return std::stoll(digits.substr(zeros));
}

Value PackedValue(const Field& field, std::span<const Byte> bytes) {
  const Unpacked number = LoadPacked(bytes);
  const bool is_digit = number.sign_nibble < 0xA;
  if (is_digit != (field.kind == copybook::Usage::kPackedNoSign)) return {};
  const std::string last(is_digit ? 1 : 0, static_cast<char>('0' + number.sign_nibble));
  return {DigitsValue(number.digits + last), kGuessUnknown};
}

// Characters; the zone of the last digit, or of the first, may carry a sign.
Value TextValue(const Field& field, std::span<const Byte> bytes, bool ebcdic) {
  std::string text;
  for (const Byte byte : bytes) text += static_cast<char>(ebcdic ? ebc2asc[byte] : byte);
  if (text.find_first_not_of(' ') == std::string::npos) return {std::nullopt, kGuessBlank};
  const std::size_t at = field.sign == copybook::SignPlace::kLeading ? 0 : bytes.size() - 1;
  const unsigned digit = bytes[at] & kDigitMask;
  const bool overpunched = field.is_signed && !field.sign_separate && digit <= 9;
  if (overpunched) text[at] = static_cast<char>('0' + digit);
  text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == '+' || c == '-'; }),
             text.end());
  return {DigitsValue(text), kGuessUnknown};
}

Value ValueOf(const Field& field, std::span<const Byte> bytes, bool ebcdic) {
  if (field.usage == 'B') return BinaryValue(field, bytes);
  if (field.IsPacked()) return PackedValue(field, bytes);
  return TextValue(field, bytes, ebcdic);
}

const char* NameOf(char kind) {
  switch (kind) {
    case kGuessBlank:
      return "BLANK";
    case kGuessZeros:
      return "0's";
    case kGuessNines:
      return "9's";
    default:
      break;
  }
  const DateLayout* const layout = FindLayout(kind);
  return layout == nullptr ? "UNKNOWN" : layout->name.data();
}

}  // namespace

int Analysis::BuildFieldTable(const copybook::SymbolTable& table,
                              const std::vector<std::string>& named) {
  TRACE_FRAME();
  for (const std::string& name : named) {
    if (table.GetSymHashSubStr(name).matches > 0) continue;
    PrintError("Syntax error. %s is undefined.\n", name.c_str());
    return -1;
  }
  const auto is_named = [&named](const Field& field) {
    return std::any_of(named.begin(), named.end(), [&field](const std::string& name) {
      return copybook::EqualsIgnoreCase(name, field.name);
    });
  };
  for (const Field* field = table.First(); field != nullptr; field = field->next) {
    if (named.empty() ? !IsCandidate(*field) : !is_named(*field)) continue;
    const Field* const parent = field->parent;
    entries_.push_back({.field = field,
                        .offset = IsWordData() ? field->aux_offset : field->offset,
                        .length = IsWordData() ? field->aux_length : field->length,
                        .in_group = parent != nullptr && parent->parent != nullptr});
  }
  return 0;
}

void Analysis::AnalyseRecord(std::span<const Byte> record, bool ebcdic) {
  ++records_;
  for (Entry& entry : entries_) {
    const auto begin = static_cast<std::size_t>(entry.offset);
    const auto length = static_cast<std::size_t>(entry.length);
    if (length > 0 && begin + length <= record.size())
      Look(entry, record.subspan(begin, length), ebcdic);
  }
}

void Analysis::Look(Entry& entry, std::span<const Byte> bytes, bool ebcdic) {
  const Field& field = *entry.field;
  const Value value = ValueOf(field, bytes, ebcdic);
  const auto count = [&entry](char kind) { ++entry.counts[static_cast<unsigned char>(kind)]; };
  if (!value.number) return count(value.mark);
  for (const char kind : GuessLayouts(*value.number, DigitsOf(field), field.IsPacked()))
    count(kind);
  entry.least = entry.has_value ? std::min(entry.least, *value.number) : *value.number;
  entry.most = entry.has_value ? std::max(entry.most, *value.number) : *value.number;
  entry.has_value = true;
}

int Analysis::PrintAnalyseReport(const std::string& data_file, const std::string& copybook,
                                 bool dates_only) const {
  TRACE_FRAME();
  const std::string name = data_file + ".Y2KRPT";
  PrintOutput("Writing analysis report to file %s ...\n", name.c_str());
  std::FILE* const file = std::fopen(name.c_str(), "w");
  if (file == nullptr) {
    PrintError("Cannot open file for analysis report.\n");
    return 0;
  }
  const std::string now = GetDateString();
  const std::size_t blank = std::min(now.find(' '), now.size());
  std::fprintf(file, " Year 2000 Analysis For Data File :\t%s\n", data_file.c_str());
  std::fprintf(file, " File Described By Copybook :\t\t%s\n", copybook.c_str());
  std::fprintf(file, " No. Of Records Processed :\t\t%ld for %s on %s\n\n", records_,
               data_file.c_str(), now.substr(0, blank).c_str());
  std::fprintf(
      file,
      "                    Field Name Offset Length        Min        Max Date Format  %%  "
      "GROUP ITEM\n");
  std::fprintf(file,
               "============================== ====== ====== ========== ========== =========== === "
               "===========\n");
  for (const Entry& entry : entries_) {
    const bool has_date =
        std::any_of(entry.counts.begin(), entry.counts.end(), [&](const std::int64_t& count) {
          const auto kind = static_cast<char>(&count - entry.counts.data());
          return count > 0 && FindLayout(kind) != nullptr;
        });
    if (has_date || !dates_only) WriteEntry(file, entry);
  }
  const bool failed = std::ferror(file) != 0;
  if (std::fclose(file) == 0 && !failed) return 1;
  PrintError("Writing to output file: %s\n", name.c_str());
  return 0;
}

void Analysis::WriteEntry(std::FILE* file, const Entry& entry) const {
  const std::string name = entry.field->filler ? "FILLER" : entry.field->name;
  for (std::size_t i = 0; i < kKinds; ++i) {
    if (entry.counts[i] == 0) continue;
    const auto kind = static_cast<char>(i);
    const auto percent = static_cast<int>((entry.counts[i] * 100 + records_ / 2) / records_);
    std::fprintf(file, "%30s %06d %06d", name.c_str(), static_cast<int>(entry.offset),
                 static_cast<int>(entry.length));
    if (kind == kGuessBlank || kind == kGuessZeros || kind == kGuessNines || !entry.has_value) {
      std::fprintf(file, " %10s %10s", "N/A", "N/A");
    } else {
      std::fprintf(file, " %010ld %010ld", entry.least, entry.most);
    }
    std::fprintf(file, " %11s %3d", NameOf(kind), percent);
    if (entry.in_group) std::fprintf(file, " %11s", "GROUP ITEM");
    std::fprintf(file, "\n");
  }
}

}  // namespace tolvane
