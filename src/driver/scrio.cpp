#include "driver/scrio.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "convert/conditions.h"
#include "convert/mask.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "state/options.h"

namespace tolvane {
namespace {

// The "+" makes getopt stop at the first word that is no option, wherever it is used.
constexpr const char* kOptionString =
    "+18B:C:DEF:G:I:M:OQP:R:S:U:WXYa:bcdef:ghijk:mopqrs:tuv:xy:z:?";

constexpr const char* kCopybookOverrides = "The copybook will override options B,I,P,U.\n";

// Options without an argument: the switches that they set, and to what.
struct SwitchOption {
  char letter;
  Switch OptionSet::*target;
  Switch value;
};
constexpr SwitchOption kSwitches[] = {
    {'1', &OptionSet::sw_1toX, 1},        {'1', &OptionSet::sw_truncate1, 1},
    {'8', &OptionSet::sw_9to8, 1},        {'D', &OptionSet::sw_dups_4, 1},
    {'E', &OptionSet::sw_EbcSign, 1},     {'O', &OptionSet::sw_interchange, 1},
    {'Q', &OptionSet::sw_quiet, 1},       {'W', &OptionSet::sw_savesym, 1},
    {'X', &OptionSet::sw_1toX, 1},        {'X', &OptionSet::sw_truncate1, 0},
    {'Y', &OptionSet::sw_ins_lf, 1},      {'b', &OptionSet::sw_backup, 1},
    {'c', &OptionSet::sw_create, 1},      {'d', &OptionSet::sw_delete, 1},
    {'e', &OptionSet::sw_ascii, 1},       {'g', &OptionSet::sw_read_cat, 1},
    {'i', &OptionSet::sw_indexed, 1},     {'j', &OptionSet::sw_relative, 1},
    {'m', &OptionSet::sw_msdos, 1},       {'o', &OptionSet::sw_overwrite, 1},
    {'p', &OptionSet::sw_postprocess, 0}, {'q', &OptionSet::sw_sequential, 1},
    {'r', &OptionSet::sw_restore, 1},     {'t', &OptionSet::sw_os3, 1},
    {'u', &OptionSet::sw_unix, 1},        {'x', &OptionSet::sw_status, 1},
};

// Options whose argument is a file name, and the switch that tells that it was given.
struct NameOption {
  char letter;
  std::string OptionSet::*target;
  Switch OptionSet::*given;
};
constexpr NameOption kNames[] = {
    {'C', &OptionSet::copyfile, &OptionSet::bCopyBookFlag},
    {'F', &OptionSet::maskfile, &OptionSet::sw_mask_file},
    {'G', &OptionSet::optFileName, &OptionSet::optionsFileFlag},
    {'a', &OptionSet::addsysfile, &OptionSet::sw_addsys},
};

// Set at the first word that is no option, or at "--": nothing behind it counts.
bool options_ended = false;

// One call of ParseCommandLine: the options in order, and what the call has added so far.
class CommandLine {
 public:
  CommandLine(int argc, char** argv) : argc_(argc), argv_(argv), first_item_(mask_list.size()) {}
  ParseResult Parse();

 private:
  bool Take(char letter, const char* argument);
  bool TakeName(const NameOption& option, const char* argument);
  bool TakeFile(std::string_view argument);
  bool TakeField(char type, const char* argument);
  bool TakeCondition(const char* argument);
  bool TakeReport(std::string_view argument);
  bool TakeKey(std::string_view argument);
  bool TakeNumber(char letter, const char* argument);
  bool Complete();

  int argc_;
  char** argv_;
  std::size_t first_item_;
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// A decimal number scanned from the front of `text`, which moves behind it: blanks, a sign, digits.
// Nothing when there is none. Numbers beyond 32 bits come out as the next beyond.
std::optional<std::int64_t> ScanNumber(const char*& text) {
  const char* c = text;
  while (IsSpace(*c)) ++c;
  const bool negative = *c == '-';
  if (*c == '-' || *c == '+') ++c;
  if (!IsDigit(*c)) return std::nullopt;
  constexpr std::int64_t kBeyond = std::int64_t{1} << 32;
  std::int64_t value = 0;
  for (; IsDigit(*c); ++c) value = std::min(kBeyond, value * 10 + (*c - '0'));
  text = c;
  return negative ? -value : value;
}

bool FitsInt32(std::int64_t value) {
  return value >= std::numeric_limits<std::int32_t>::min() &&
         value <= std::numeric_limits<std::int32_t>::max();
}

// Up to three numbers separated by colons; those that are missing stay as they are.
bool ScanTriple(const char* text, std::int64_t (&numbers)[3]) {
  for (std::int64_t& number : numbers) {
    const auto scanned = ScanNumber(text);
    if (!scanned) break;
    number = *scanned;
    if (*text != ':') break;
    ++text;
  }
  for (const std::int64_t number : numbers)
    if (!FitsInt32(number)) return false;
  return true;
}

bool TooLong(char letter, std::string_view text, std::size_t most) {
  if (text.size() <= most) return false;
  PrintError("The argument of -%c is longer than %zu characters: '%.40s...'\n", letter, most,
             std::string(text).c_str());
  return true;
}

ParseResult CommandLine::Parse() {
  while (!options_ended) {
    optopt = 0;
    const int letter = getopt(argc_, argv_, kOptionString);
    options_ended = letter == -1;
    if (options_ended) break;
    if (letter == 'h' || letter == '?') {
      usage();
      return optopt == 0 ? ParseResult::kHelp : ParseResult::kRejected;
    }
    if (!Take(static_cast<char>(letter), optarg)) return ParseResult::kRejected;
    if (letter == 'G') return ParseResult::kGoOn;
  }
  return Complete() ? ParseResult::kGoOn : ParseResult::kRejected;
}

bool CommandLine::Take(char letter, const char* argument) {
  for (const SwitchOption& option : kSwitches)
    if (option.letter == letter) opt.*option.target = option.value;
  for (const NameOption& option : kNames)
    if (option.letter == letter && !TakeName(option, argument)) return false;
  switch (letter) {
    case 'B':
    case 'P':
    case 'U':
      return TakeField(letter, argument);
    case 'I':
      return TakeCondition(argument);
    case 'M':
      if (*argument == 'F') opt.sw_mf = 1;
      if (std::string_view(argument).starts_with("BP")) opt.sw_mbp = 1;
      return true;
    case 'R':
      return TakeReport(argument);
    case 'f':
      return TakeFile(argument);
    case 'k':
      return TakeKey(argument);
    case 's':
    case 'v':
    case 'y':
    case 'z':
      return TakeNumber(letter, argument);
    default:
      return true;
  }
}

bool CommandLine::TakeName(const NameOption& option, const char* argument) {
  if (TooLong(option.letter, argument, kNameWidth)) return false;
  if (option.letter == 'G' && opt.optionsFileFlag != 0) {
    PrintError("-G was given twice: '%s' and '%s'\n", opt.optFileName.c_str(), argument);
    return false;
  }
  opt.*option.target = argument;
  opt.*option.given = 1;
  if (option.letter != 'C' || opt.sw_first_time != 0) return true;
  PrintWarning("%s", kCopybookOverrides);
  return false;
}

bool CommandLine::TakeFile(std::string_view argument) {
  if (TooLong('f', argument, kFileArgumentWidth)) return false;
  std::string& name = argument.starts_with('i') ? opt.infile : opt.outfile;
  if (argument.starts_with('i') || argument.starts_with('o')) argument.remove_prefix(1);
  name = argument;
  return true;
}

bool CommandLine::TakeField(char type, const char* argument) {
  if (opt.bCopyBookFlag != 0) {
    PrintWarning("%s", kCopybookOverrides);
    return false;
  }
  std::int64_t numbers[3] = {0, 0, 0};
  auto& [location, length, occurs] = numbers;
  const bool in_range = ScanTriple(argument, numbers) && location >= 0 && length >= 1 &&
                        occurs <= std::numeric_limits<std::int16_t>::max();
  if (!in_range) {
    PrintError("Option -%c%s: location, length or occurrence is out of range.\n", type, argument);
    PrintError("Creating mask table item.\n");
    return false;
  }
  AddNewItemToMaskList({.type = type,
                        .length = length,
                        .location = static_cast<std::int32_t>(location),
                        .occurs = static_cast<std::int16_t>(std::max<std::int64_t>(occurs, 1)),
                        .name = "<UNNAMED>"});
  if (type == mask_type::kMfUnpacked) opt.sw_signed_numeric = 1;
  return true;
}

bool CommandLine::TakeCondition(const char* argument) {
  if (opt.bCopyBookFlag != 0) {
    PrintWarning("%s", kCopybookOverrides);
    return false;
  }
  if (SortMaskSegments(0) == 0) return false;
  const char* rest = argument;
  const auto position = ScanNumber(rest);
  while (IsSpace(*rest)) ++rest;
  const std::string_view name = std::string_view(rest).substr(0, 2);
  const Relation* const op = RelationOf(name);
  rest += name.size();
  while (IsSpace(*rest)) ++rest;
  std::string value = rest;
  while (!value.empty() && IsSpace(value.back())) value.pop_back();
  const bool is_word = std::none_of(value.begin(), value.end(), IsSpace);
  if (!is_word || !position || !FitsInt32(*position) || *position < 0 || op == nullptr ||
      value.empty()) {
    PrintError("Invalid syntax for option -I\n");
    PrintWarning("-I takes a position, an operator and a text without blanks, not '%s'\n",
                 argument);
    return false;
  }
  if (TooLong('I', value, kConditionValueWidth)) return false;
  const auto length = static_cast<std::int64_t>(value.size());
  AddNewItemToMaskList({.type = mask_type::kCondition,
                        .length = length,
                        .location = static_cast<std::int32_t>(*position),
                        .name = "<UNNAMED>",
                        .condition_start = *position,
                        .condition_end = *position + length,
                        .op = op,
                        .value = std::move(value)});
  return true;
}

bool CommandLine::TakeReport(std::string_view argument) {
  const bool summary = argument.starts_with("S:");
  if (!summary && !argument.starts_with(':')) {
    PrintError("INVALID syntax for -R option.");
    return false;
  }
  argument.remove_prefix(summary ? 2 : 1);
  argument = argument.substr(0, argument.find_first_of(" \t\n"));
  if (TooLong('R', argument, kNameWidth)) return false;
  opt.sw_report = 1;
  if (summary) opt.sw_report_sum = 1;
  opt.copyfile = argument;
  return true;
}

// "n,m": location and length, with any character between them.
bool TakeKeyPosition(int number, const std::string& text) {
  const char* rest = text.c_str();
  const auto location = ScanNumber(rest);
  if (*rest != '\0') ++rest;
  const auto length = IsDigit(*rest) ? ScanNumber(rest) : std::nullopt;
  if (!length) {
    PrintError("Invalid length for key #%d\n", number);
    return false;
  }
  if (!FitsInt32(*location) || !FitsInt32(*length)) {
    PrintError("Location or length of key #%d is out of range: '%s'\n", number, text.c_str());
    return false;
  }
  KeyEntry& key = KeyOf(number);
  key.location = static_cast<std::int32_t>(*location);
  key.length = static_cast<std::int32_t>(*length);
  key.name.clear();
  return true;
}

// "#:n,m" or "#:field".
bool CommandLine::TakeKey(std::string_view argument) {
  const int number = argument.empty() ? 0 : argument[0] - '0';
  if (argument.size() < 2 || argument[1] != ':') {
    PrintError("Invalid KEY specification, missing ':'");
    return false;
  }
  if (number < 1 || number > 9) {
    PrintError("The key number of -k is a digit from 1 to 9: '%s'\n",
               std::string(argument).c_str());
    return false;
  }
  lasting.nKeysNo = number;
  opt.nPrimeKeyNo = 1;
  const std::string text(argument.substr(2));
  if (IsDigit(text.c_str()[0])) {
    if (!TakeKeyPosition(number, text)) return false;
  } else {
    if (TooLong('k', text, kFieldNameWidth)) return false;
    KeyOf(number).name = text;
  }
  opt.sw_indexed = 1;
  opt.sw_relative = 0;
  return true;
}

// A malformed number leaves the value as it was.
bool CommandLine::TakeNumber(char letter, const char* argument) {
  const char* rest = argument;
  const auto number = ScanNumber(rest);
  if (!number) return true;
  if (!FitsInt32(*number)) {
    PrintError("The number of -%c is out of range: '%s'\n", letter, argument);
    return false;
  }
  const auto value = static_cast<std::int32_t>(*number);
  // Deliberate: -y and -z fill the low half of a 64-bit count, so a negative one becomes huge.
  const auto low_half = [value](std::int64_t count) {
    return static_cast<std::int64_t>((static_cast<std::uint64_t>(count) >> 32 << 32) |
                                     static_cast<std::uint32_t>(value));
  };
  if (letter == 's') opt.gblRecSize = value;
  if (letter == 'v') opt.gblBlkSize = value;
  if (letter == 'y') opt.nBegRec = low_half(opt.nBegRec);
  if (letter == 'z') opt.nEndRec = low_half(opt.nEndRec);
  return true;
}

// Asks for the compiler that the data is for. False when the answer names none.
bool AskCompiler() {
  const std::string answer =
      Ask({"Which compiler format is used; MBP or MF.\n?>",
           "\nAuto answer assuming MF (Micro Focus). Processing continues.\n", "MF", ""},
          opt.sw_automatic != 0);
  if (answer.starts_with("MF") || answer.starts_with("mf")) {
    opt.sw_mf = 1;
  } else if (answer.starts_with("MBP") || answer.starts_with("mbp")) {
    opt.sw_mbp = 1;
  } else {
    PrintError("To convert the data correctly, the compiler type is required.\n");
    PrintError("Conversion not done.\n");
    return false;
  }
  return true;
}

bool CommandLine::Complete() {
  if (SortMaskSegments(first_item_) == 0) return false;
  const bool needs_compiler = opt.sw_ebcdic != 0 || opt.sw_sdf != 0;
  const bool has_compiler = opt.sw_mbp != 0 || opt.sw_mf != 0 || opt.sw_report != 0;
  if (needs_compiler && !has_compiler && !AskCompiler()) return false;
  if (opt.sw_analyze != 0 && opt.expandDateFlag != 0) {
    PrintPlainError("Error: ANALYZE and DATE IS specified at the same time.\n");
    return false;
  }
  if (opt.sw_signed_numeric != 0 && opt.sw_mbp != 0)
    for (MaskItem& item : mask_list)
      if (item.type == mask_type::kMfUnpacked) item.type = mask_type::kMbpUnpacked;
  return true;
}

}  // namespace

void SetDefaultValues(char** argv) {
  opt = OptionSet{};
  const std::string_view program = argv[0] == nullptr ? "" : argv[0];
  if (program.size() >= 7 && program.substr(4, 3) == "mbp") opt.sw_mbp = 1;
}

ParseResult ParseCommandLine(int argc, char** argv) {
  TRACE_FRAME();
  return CommandLine(argc, argv).Parse();
}

void WarnOfUnreadArguments(int argc, char** argv) {
  if (optind < argc)
    PrintWarning("'%s' is no option: it and what follows it were not read.\n", argv[optind]);
}

}  // namespace tolvane
