// The statements about the operations, the platform file and its keys, the volumes, and the
// platform's records.

#include <algorithm>
#include <cstdlib>

#include "driver/grammar_reader.h"
#include "platform/console.h"

namespace tolvane {

using copybook::TokenKind;

// ---- operations

Grammar::Outcome Grammar::Backup() {
  if (Accept("FILE")) return BackupFile();
  opt.sw_backup = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::BackupFile() {
  static constexpr Choice kForms[] = {{"DOS", &OptionSet::sw_msdos},
                                      {"UNIX", &OptionSet::sw_unix},
                                      {"INTERCHANGE", &OptionSet::sw_interchange},
                                      {"OS3", &OptionSet::sw_os3},
                                      {"COPYG", &OptionSet::sw_sdf},
                                      {"SDF", &OptionSet::sw_sdf},
                                      {"COPOUT", &OptionSet::sw_eltfile},
                                      {"FLAT", nullptr}};
  const copybook::Token& form = NextValue();
  const Choice* const found = FindChoice(kForms, form);
  if (found == nullptr) return Stop("Unrecognized backup file type '%s'\n", form.text.c_str());
  if (found->target != nullptr) opt.*found->target = 1;
  if (form.Is("COPYG")) lasting.bCopyGFlag = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Input() { return LoadInputOutputOptions(opt.infile); }

Grammar::Outcome Grammar::Output() { return LoadInputOutputOptions(opt.outfile); }

Grammar::Outcome Grammar::LoadInputOutputOptions(std::string& path) {
  (void)AcceptBeforePath("FILE");
  std::string written = NextPathValue();
  if (written.empty()) return Invalid();
  if (&path == &opt.outfile) opt.holdenvpath = written.substr(0, kNameWidth);
  if (written.starts_with('$')) {
    const std::size_t slash = std::min(written.find('/'), written.size());
    const std::string variable = written.substr(1, slash - 1);
    const char* const value = std::getenv(variable.c_str());
    if (value == nullptr) return Stop("Specified ENV variable '%s' not found.\n", variable.c_str());
    path = value;
    if (slash == written.size()) return Outcome::kNext;
    if (!path.ends_with('/')) path += '/';
    path += written.substr(slash + 1);
    return Outcome::kNext;
  }
  if (written.size() > kNameWidth) {
    PrintPlainError("WARNING: Path %s too long. Truncated.\n", written.c_str());
    written.resize(kNameWidth);
  }
  path = written;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Zorva() {
  static constexpr Choice kTypes[] = {{"INDEXED", &OptionSet::sw_indexed},
                                      {"RELATIVE", &OptionSet::sw_relative},
                                      {"SEQUENTIAL", &OptionSet::sw_sequential}};
  if (!Accept("FILE")) return Stop("Expecting ZORVA FILE IS (INDEXED,RELATIVE,SEQUENTIAL)\n");
  const copybook::Token& type = NextValue();
  const Choice* const found = FindChoice(kTypes, type);
  if (found == nullptr) return Stop("Zorva file type NOT understood '%s'\n", type.text.c_str());
  opt.*found->target = 1;
  return Outcome::kNext;
}

// ---- keys

Grammar::Outcome Grammar::Key() {
  const auto number = LeadingNumber(token().text.substr(std::string_view("KEY").size()));
  if (!number || *number < 1 || *number > kKeys) return Invalid();
  lasting.nKeysNo = static_cast<std::int32_t>(*number);
  KeyEntry& key = KeyOf(lasting.nKeysNo);
  const copybook::Token& value = NextValue();
  opt.sw_indexed = 1;
  opt.sw_sequential = opt.sw_relative = 0;
  if (LeadingNumber(value.text)) {
    const Outcome outcome = KeyByPosition(key);
    if (outcome != Outcome::kNext) return outcome;
  } else if (value.kind == TokenKind::kWord) {
    key.name = value.text.substr(0, kFieldNameWidth);
  } else {
    return Invalid();
  }
  return KeyAttributes(key, lasting.nKeysNo);
}

// From the location, which is the current token.
Grammar::Outcome Grammar::KeyByPosition(KeyEntry& key) {
  const auto location = LeadingSize(token().text);
  if (!location) return Invalid();
  const copybook::Token separator = Next();
  if (!LeadingNumber(separator.text)) Next();
  const auto length = LeadingSize(token().text);
  if (length.value_or(0) == 0) {
    // A word in the separator's place began the next statement.
    const bool at_word = !length && separator.kind == TokenKind::kWord;
    return Stop("INVALID syntax at '%s'. Missing length for KEY.\n",
                at_word ? separator.text.c_str() : token().text.c_str());
  }
  key.location = *location;
  key.length = *length;
  key.name = kKeyByPosition;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::KeyAttributes(KeyEntry& key, std::int32_t number) {
  bool duplicates_given = false, changes_given = false, prime = false;
  bool behind_prime = false;  // the current word is the first behind PRIME
  const auto is_one_of = [this](auto... words) { return (token().Is(words) || ...); };
  for (;; behind_prime = token().Is("PRIME")) {
    if (Next().Is("PRIME")) {
      if (prime) return Invalid();
      // Deliberate: the key behind the old prime key, counted from 0, gets both flags.
      if (opt.nPrimeKeyNo < kKeys) {
        KeyEntry& old = opt.keyDescr[static_cast<std::size_t>(opt.nPrimeKeyNo)];
        old.duplicates = old.changes = true;
      }
      opt.nPrimeKeyNo = number;
      key.duplicates = key.changes = false;
      prime = true;
    } else if (is_one_of("DUPS", "DUP", "NODUPS", "NDUP") &&
               !reader_.lexer.FollowedBy("COUNTER")) {  // which would be the next statement
      if (duplicates_given) return Invalid();
      duplicates_given = true;
      key.duplicates = Begins(token().text, "DUP");
      if (behind_prime && key.duplicates) key.changes = true;
    } else if (is_one_of("CHANGES", "CHG", "NOCHANGES", "NCHG")) {
      if (changes_given) return Invalid();
      changes_given = true;
      key.changes = Begins(token().text, "CH");
    } else {
      PutBack();
      return Outcome::kNext;
    }
  }
}

Grammar::Outcome Grammar::Dups() {
  if (!Next().Is("COUNTER"))
    return Stop("'DUPS' expected keyword COUNTER; found '%s'\n", token().text.c_str());
  const copybook::Token& width = NextValue();
  if (width.Is("FULLWORD")) {
    opt.sw_dups_4 = 1;
  } else if (!width.Is("HALFWORD")) {
    return Stop("'DUPS' expected FULLWORD or HALFWORD; found '%s'\n", width.text.c_str());
  }
  return Outcome::kNext;
}

// ---- volumes

Grammar::Outcome Grammar::Label() {
  if (!Next().Is("RECORDS"))
    return Stop("Invalid syntax in LABEL statement '%s'!  Expecting RECORDS\n",
                token().text.c_str());
  (void)Accept("ARE");
  if (Next().Is("OMITTED")) {
    opt.vol = "NOLABEL";
  } else if (!token().Is("STANDARD")) {
    return Stop("Invalid syntax in LABEL statement '%s'!  Expecting OMITTED/STANDARD\n",
                token().text.c_str());
  }
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Vol() {
  opt.vol = NextPathValue().substr(0, kVolumeWidth);
  if (opt.vol.empty()) return Invalid();
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Lbl() {
  opt.lbl = NextPathValue().substr(0, kLabelWidth);
  if (opt.lbl.empty()) return Invalid();
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Case() {
  const copybook::Token& kind = NextValue();
  if (!kind.Is("UPPER") && !kind.Is("LOWER"))
    return Stop("Invalid CASE type '%s'!  Expecting UPPER or LOWER\n", kind.text.c_str());
  opt.sw_upper_case = kind.Is("UPPER");
  return Outcome::kNext;
}

// ---- the platform's records

Grammar::Outcome Grammar::Add() {
  constexpr std::size_t kLogicalNameWidth = 9;
  opt.sw_overwrite = 0;
  const bool lfn = Accept("LFN");
  opt.addsysfile.clear();
  const bool named =
      !Next().Is("TO") && !(lfn && token().Is("ZORVA")) && token().kind != TokenKind::kEnd;
  if (!named && !lfn)
    return Stop("Expecting file name to add to catalogue. Found: '%s'\n", token().text.c_str());
  if (named) opt.addsysfile = token().text.substr(0, kLogicalNameWidth);
  if (!named) PutBack();
  opt.sw_addsys = 1;
  (void)Accept("TO");
  if (!Next().Is("ZORVA")) return Stop("Expecting ZORVA, found '%s'\n", token().text.c_str());
  if (!Begins(Next().text, "CAT")) PutBack();
  if (Begins(Next().text, "OVER")) {
    opt.sw_overwrite = 1;
  } else {
    PutBack();
  }
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Read() {
  if (!Next().Is("ZORVA")) return Stop("Expecting READ ZORVA CATALOGUE\n");
  if (!Begins(Next().text, "CAT")) PutBack();
  opt.sw_read_cat = 1;
  return Outcome::kNext;
}

Grammar::Outcome Grammar::Define() {
  constexpr std::size_t kVolume = 8, kLabel = 44;
  opt.hmvsn = NextPath().substr(0, kVolume);
  opt.hmlbl = NextPath().substr(0, kLabel);
  if (opt.hmlbl.empty()) return Invalid();
  if (!Next().Is("TO")) return Stop("Invalid syntax '%s'!  Expecting TO\n", token().text.c_str());
  if (!Next().Is("ZORCATLG"))
    return Stop("Invalid syntax '%s'!  Expecting ZORCATLG\n", token().text.c_str());
  opt.sw_addcatlg = 1;
  return Outcome::kNext;
}

}  // namespace tolvane
