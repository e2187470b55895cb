#include "files/indexed_file.h"

#include <isam.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "files/isam_file.h"
#include "files/questions.h"
#include "files/status.h"
#include "platform/console.h"
#include "platform/paths.h"
#include "platform/system_calls.h"
#include "platform/trace.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {
namespace {

// Words that differ between the prime key's questions and those for an alternate one.
struct KeyWords {
  std::string name;         // in questions: "primary key", "KEY2"
  std::string no_location;  // errors in automatic mode
  std::string no_length;
};

KeyWords PrimeKeyWords() {
  return {"primary key", "Unknown location of Primary Key . Terminating.\n",
          "Unknown length for Primary Key . Terminating.\n"};
}

KeyWords AlternateKeyWords(int number) {
  const std::string n = std::to_string(number);
  return {"KEY" + n, "Unknown location for Key" + n + " . Terminating.\n",
          "Unknown length for Key" + n + " . Terminating.\n"};
}

int AskKeyLocation(KeyEntry& key, const KeyWords& words) {
  if (key.location >= 0) return 1;
  key.location = AskNumber("Enter " + words.name + " location\n?>", words.no_location);
  if (key.location >= 0) return 1;
  if (opt.sw_automatic == 0) PrintError("INVALID key location \n");
  return 0;
}

int AskKeyLength(KeyEntry& key, const KeyWords& words) {
  while (key.length < 1) {
    key.length = AskNumber("Enter " + words.name + " length\n?>", words.no_length);
    if (key.length < 0) {
      if (opt.sw_automatic == 0) PrintError("INVALID key length \n");
      return 0;
    }
    if (key.length == 0) PrintError("KEY length must be greater than zero\n");
  }
  return 1;
}

// The engine's description of a key, a single part of characters. False after a message when the
// record does not hold it or it is too long.
bool DescribeKey(const KeyEntry& entry, int number, keydesc& key) {
  key = {};
  const std::int64_t end = std::int64_t{entry.location} + entry.length;
  if (end > OutputRecordLength() || entry.length > MAXKEYSIZE) {
    PrintError(
        "Key %d of '%s' (location %d, length %d) must lie inside the record of %d bytes and "
        "have at most %d bytes\n",
        number, opt.outfile.c_str(), entry.location, entry.length, OutputRecordLength(),
        MAXKEYSIZE);
    return false;
  }
  key.k_flags = entry.duplicates ? ISDUPS : ISNODUPS;
  key.k_nparts = 1;
  key.k_part[0].kp_start = static_cast<std::int16_t>(entry.location);
  key.k_part[0].kp_leng = static_cast<std::int16_t>(entry.length);
  key.k_part[0].kp_type = CHARTYPE;
  key.k_len = key.k_part[0].kp_leng;
  return true;
}

// An alternate key that can not be added shall be known before the records are loaded. What can be
// asked for is left for then.
bool CheckAlternateKeys() {
  if (!IsTransfer() && !HasUniqueAlternateKey()) return true;  // none will be added
  keydesc described;
  for (int number = 1; number <= std::min(lasting.nKeysNo, kKeys); ++number) {
    KeyEntry& key = KeyOf(number);
    if (number == opt.nPrimeKeyNo) continue;
    const KeyWords words = AlternateKeyWords(number);
    if (opt.sw_automatic != 0 && (AskKeyLocation(key, words) == 0 || AskKeyLength(key, words) == 0))
      return false;
    if (key.location < 0 || key.length < 1) continue;
    if (!DescribeKey(key, number, described)) return false;
  }
  return true;
}

// The number of the key that was given last counts the keys.
void WarnOfUncountedKeys() {
  for (int number = lasting.nKeysNo + 1; number <= kKeys; ++number)
    if (KeyOf(number).length > 0)
      PrintWarning("Key %d is not made, as key %d was given behind it; give the keys in order.\n",
                   number, lasting.nKeysNo);
}

bool WantsBareDataName() {
  const char* const preference = std::getenv("ZORISAMDAT");
  return preference != nullptr && (*preference == 'n' || *preference == 'N');
}

// The symbolic link of the file's own name to its data file; what stands there makes way.
int LinkDataFile() {
  if (WantsBareDataName()) return 1;
  const std::string& name = opt.outfile;
  const std::string target = BaseName(name) + ".dat";
  if (sys.symlink(target.c_str(), name.c_str()) == 0) return 1;
  if (errno != EEXIST) {
    PrintError("Creating symbolic link.: %s\n", std::strerror(errno));
    return 0;
  }
  if (sys.unlink(name.c_str()) != 0) {
    PrintError("Removing file '%s': %s", name.c_str(), std::strerror(errno));
    return 0;
  }
  if (sys.symlink(target.c_str(), name.c_str()) == 0) return 1;
  PrintError("Creating symbolic link (second attempt): %s\n", std::strerror(errno));
  return 0;
}

// Removes an existing file that is to be overwritten.
int EraseExisting() {
  const char* const name = opt.outfile.c_str();
  if (iserase(name) == 0) return 1;
  // A link that was left behind stands for nothing.
  if (iserrno == ENOENT && IsLink(opt.outfile) && sys.unlink(name) == 0) return 1;
  InterpretIsamError(iserrno, opt.outfile, {});
  return 0;
}

// What becomes of a file that exists.
enum class Existing { kCreateAgain, kMerge, kStop };

Existing DecideExisting() {
  const std::string question =
      "\n'" + opt.outfile + "' exists; Overwrite, Merge, Cancel (O,M,C) ?>";
  const std::string answer =
      Ask({question.c_str(), "\nAuto answer assuming Overwrite. Processing continues.\n", "O", "C"},
          opt.sw_automatic != 0);
  if (Answers(answer, 'm')) return Existing::kMerge;
  if (!Answers(answer, 'o')) return Existing::kStop;
  return EraseExisting() != 0 ? Existing::kCreateAgain : Existing::kStop;
}

IsamFile BuildFile(const keydesc& prime) {
  const int width = opt.sw_dups_4 != 0 ? 4 : 2;
  return IsamFile(isbuild(opt.outfile.c_str(), OutputRecordLength(), &prime,
                          ISINOUT | ISEXCLLOCK | ISDUPWIDTH(width)));
}

}  // namespace

bool HasUniqueAlternateKey() {
  for (int number = 1; number <= std::min(lasting.nKeysNo, kKeys); ++number)
    if (number != opt.nPrimeKeyNo && !KeyOf(number).duplicates) return true;
  return false;
}

std::int32_t OutputRecordLength() {
  if (RecordsGrow()) return sizes.gblExpRecSize;
  if (lasting.ageFlag != 0) return opt.gblRecSize;
  return sizes.gblCpySize > 0 ? sizes.gblCpySize : opt.gblRecSize;
}

int PrepareIndexedFile() {
  TRACE_FRAME();
  if (lasting.nKeysNo < 1) {
    lasting.nKeysNo =
        AskNumber("How many keys in the data file?\n?>", "INVALID number of Keys. Terminating.\n");
    if (lasting.nKeysNo < 1 || lasting.nKeysNo > kKeys) {
      if (opt.sw_automatic == 0) PrintError("INVALID number of Keys \n");
      return 0;
    }
  }
  WarnOfUncountedKeys();
  opt.nPrimeKeyNo = std::max(opt.nPrimeKeyNo, 1);
  KeyEntry& prime = KeyOf(opt.nPrimeKeyNo);
  if (AskKeyLocation(prime, PrimeKeyWords()) == 0) return 0;
  const bool was_open = prime.length < 1;
  if (AskKeyLength(prime, PrimeKeyWords()) == 0) return 0;
  if (was_open) {
    const std::string answer =
        Ask({"Is it ok to create this file?  (Y/N)?> ",
             "\nAuto answer assuming Yes. Processing continues.\n", "Y", "N"},
            opt.sw_automatic != 0);
    if (!Answers(answer, 'y')) {
      PrintOutput("File '%s' was not created.\n", opt.outfile.c_str());
      return 0;
    }
  }
  return CreateIndexedFile();
}

int CreateIndexedFile() {
  TRACE_FRAME();
  lasting.sw_merge = 0;
  keydesc prime;
  if (!CheckAlternateKeys() || !DescribeKey(KeyOf(opt.nPrimeKeyNo), opt.nPrimeKeyNo, prime))
    return 0;
  bool directory_made = false;
  for (;;) {
    if (IsamFile file = BuildFile(prime); file.is_open()) {
      PrintOutput("File '%s' has been created.\n", opt.outfile.c_str());
      const int linked = LinkDataFile();
      return file.Close() ? linked : 0;
    }
    const int error = iserrno;
    if (error == EEXIST) {
      const Existing existing = DecideExisting();
      if (existing == Existing::kStop) return 0;
      if (existing == Existing::kCreateAgain) continue;
      lasting.sw_merge = 1;
      return 1;
    }
    if (error == ENOENT && !directory_made) {
      if (CreateDirectory(opt.outfile, DirectoryFor::kIndexed) == 0) return 0;
      directory_made = true;
      continue;
    }
    if (error == EFLOCKED) {
      InterpretIsamError(error, opt.outfile, {});
    } else {
      PrintError("Creating file %s generated error %d\n", opt.outfile.c_str(), error);
    }
    return 0;
  }
}

namespace {

// Adds one alternate index. -1: a question went unanswered; 0: it could not be added.
int AddIndex(int handle, int number) {
  KeyEntry& entry = KeyOf(number);
  const KeyWords words = AlternateKeyWords(number);
  if (AskKeyLocation(entry, words) == 0 || AskKeyLength(entry, words) == 0) return -1;
  PrintOutput("Adding index for KEY%d\n", number);
  keydesc key;
  if (!DescribeKey(entry, number, key)) return 0;
  if (isaddindex(handle, &key) == 0) {
    PrintOutput("KEY%d index successfully created\n", number);
    return 1;
  }
  const int error = iserrno;
  PrintError("Error %d adding index\n", error);
  if (error == EDUPL && entry.duplicates && opt.sw_dups_4 == 0)
    PrintError(
        "A value of KEY%d stands in more records of '%s' than a counter of two bytes holds; "
        "give -D.\n",
        number, opt.outfile.c_str());
  return 0;
}

}  // namespace

int AddIndexes() {
  TRACE_FRAME();
  if (lasting.sw_merge != 0 || lasting.nKeysNo < 2) return 1;
  PrintOutput("outfile: \"%s\"\n", opt.outfile.c_str());
  IsamFile file(opt.outfile, ISOUTPUT | ISEXCLLOCK);
  if (!file.is_open()) {
    PrintError("Error %d opening file to add index\n", iserrno);
    return 0;
  }
  int result = 1;
  for (int number = 1; number <= lasting.nKeysNo; ++number) {
    if (number == opt.nPrimeKeyNo) continue;
    if (result == 1) {
      result = AddIndex(file.handle(), number);
    } else {
      PrintWarning("KEY%d is not made either.\n", number);
    }
  }
  if (!file.Close()) PrintError("Error %d closing '%s'\n", iserrno, opt.outfile.c_str());
  if (result < 0) return 0;
  const std::string index = opt.outfile + ".idx";
  constexpr mode_t kMode = 0666;
  if (sys.chmod(index.c_str(), kMode) != 0)
    PrintOutput("Failed setting the mode 0666 for file: \"%s\"\n", index.c_str());
  return 1;
}

}  // namespace tolvane
