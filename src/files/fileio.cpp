#include "files/fileio.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>

#include "files/apart.h"
#include "files/indexed_file.h"
#include "files/platform_records.h"
#include "files/questions.h"
#include "media/tape_io.h"
#include "platform/console.h"
#include "platform/file_error.h"
#include "platform/paths.h"
#include "platform/system_calls.h"
#include "platform/trace.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {
namespace {

bool IsBlankOrControl(char c) { return static_cast<unsigned char>(c) <= ' ' || c == 0x7F; }

// Removes a file that stands in the way, when the user wants it.
int RemoveExisting(const std::string& name) {
  PrintWarning("'%s' already exists.\n", name.c_str());
  PrintOutput("To Merge these two files, see documentation.\n");
  const std::string answer =
      Ask({"Overwrite or Cancel (O,C) ?>",
           "\nAuto answer assuming Overwrite. Processing continues.\n", "O", "C"},
          opt.sw_automatic != 0);
  if (!Answers(answer, 'o')) return 0;
  struct stat status {};
  if (sys.lstat(name.c_str(), &status) == 0 && !S_ISREG(status.st_mode) &&
      !S_ISLNK(status.st_mode)) {
    PrintError("'%s' is no plain file; it is not removed.\n", name.c_str());
    return 0;
  }
  if (sys.unlink(name.c_str()) == 0) return 1;
  processError(errno, name);
  return 0;
}

// A unique alternate key must reject duplicates while records are loaded, so the alternate keys are
// built now when there is one; otherwise after the load, which is faster.
int BuildUniqueKeys() {
  lasting.sw_nodupsecondary = HasUniqueAlternateKey();
  return lasting.sw_nodupsecondary == 0 ? 1 : AddIndexes();
}

// Takes type, sizes, keys and path of a logical file name from the system file.
int TakeFromCatalogue(std::string& name) {
  constexpr std::size_t kLogicalNameWidth = 80;
  const std::string logical = name.substr(0, std::min(name.find(' '), kLogicalNameWidth));
  if (const int found = ReadSystemRecord(logical, name); found != 0) return found > 0 ? 1 : 0;
  const std::string question = "'" + logical + "' not found in Zorva catalogue, continue?  (Y/N)?>";
  return AskToContinue(question.c_str(), opt.sw_automatic != 0) ? 1 : 0;
}

// A name of a tape's header as a name of a file or directory; empty when it can be none.
std::string NameFromTape(std::string name, std::size_t width) {
  name.resize(std::min(name.find_last_not_of(' ') + 1, width));
  if (name.find('/') != std::string::npos || name.starts_with('.')) return "";
  if (opt.sw_upper_case == 0)
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return name;
}

// The path that qualifier and file name of the tape's header make.
void TakeNameFromTape(std::string& name) {
  constexpr std::size_t kQualifierWidth = 14, kFileWidth = 17, kLogicalWidth = 8;
  const std::string qualifier = NameFromTape(pTapeIo->copyg_qualifier, kQualifierWidth);
  const std::string file = NameFromTape(pTapeIo->file_label, kFileWidth);
  if (file.empty()) return;
  if (opt.sw_addsys != 0 && IsBlankName(opt.addsysfile))
    opt.addsysfile = file.substr(0, kLogicalWidth);
  name = qualifier.empty() ? file : qualifier + "/" + file;
  const char* const home = std::getenv("ZORHOMEDATA");
  if (home != nullptr && *home != '\0') name = std::string(home) + "/" + name;
}

// The name of a file restored from an SDF backup, or 0.
int VerifySdfName(std::string& name) {
  constexpr std::size_t kLogicalWidth = 8;
  if (pTapeIo != nullptr && IsBlankName(name)) TakeNameFromTape(name);
  if (opt.sw_addsys != 0 && IsBlankName(opt.addsysfile)) {
    if (AskName("Please supply Zorva LFN name.\n?>", "File will NOT be added to Zorva catalogue.\n",
                opt.addsysfile) == 0) {
      opt.sw_addsys = 0;
      return 1;
    }
    opt.addsysfile.resize(std::min(opt.addsysfile.size(), kLogicalWidth));
  }
  if (!IsBlankName(name)) return 1;
  return AskName("Enter the name of the Zorva file to be restored\n?>",
                 "Unknown File. Can not restore. Terminating!\n", name);
}

// An absolute path ends at its first blank or control character.
void CutAbsolutePath(std::string& path) {
  const auto end = std::find_if(path.begin(), path.end(), IsBlankOrControl);
  std::string cut(path.begin(), end);
  cut.resize(std::min(cut.size(), kNameWidth));
  if (!IsBlankName(path.substr(cut.size())))
    PrintWarning("The path '%s' ends at its first blank: '%s'.\n", path.c_str(), cut.c_str());
  path = std::move(cut);
}

}  // namespace

int SettleZorFileName(std::string& name) {
  const bool is_settled = !IsBlankName(name) && opt.sw_read_cat == 0 && opt.sw_sdf == 0;
  return is_settled ? 1 : VerifyZorFileName(name);
}

int VerifyZorFileName(std::string& name) {
  TRACE_FRAME();
  if (opt.sw_sdf != 0) return VerifySdfName(name);
  if (opt.sw_backup != 0 && IsBlankName(name) &&
      AskName("Enter the name of the Zorva file to backup\n?> ",
              "Unknown backup file. Can not continue. Terminating!\n", name) == 0)
    return 0;
  if (opt.sw_restore != 0 && IsBlankName(name) &&
      AskName("Enter the name of the Zorva file to be restored\n?> ",
              "Unknown restore file. Can not continue. Terminating!\n", name) == 0)
    return 0;
  if (name.starts_with('/')) {
    CutAbsolutePath(name);
    return 1;
  }
  if (opt.sw_read_cat == 0 || name == lasting.settled_name) return 1;
  if (TakeFromCatalogue(name) == 0) return 0;
  lasting.settled_name = name;
  return 1;
}

int CreateOutFile() {
  TRACE_FRAME();
  if (VerifyZorFileName(opt.outfile) == 0) {
    PrintOutput("Illegal file name: %s\n", opt.outfile.c_str());
    return 0;
  }
  if (opt.sw_restore != 0 && CheckRestoreApart(opt.infile, opt.outfile) == 0) return 0;
  if (opt.sw_indexed == 0 && opt.sw_relative == 0 && opt.sw_sequential == 0) {
    PrintError("Missing file type [ indexed, sequential, relative ].\n");
  } else if (CreateZorFile() == 0 || BuildUniqueKeys() == 0) {
    return 0;
  }
  if (opt.sw_backup != 0) PrintError("Attempting to backup an empty file. NO backup done.\n");
  return 1;
}

int CreateZorFile() {
  TRACE_FRAME();
  if (IsBlankName(opt.outfile)) {
    if (AskName("Enter the name of the Zorva file to create.\n?>",
                "\nUnknown the file name to create. Terminating.\n", opt.outfile) == 0 ||
        VerifyZorFileName(opt.outfile) == 0)
      return 0;
  }
  if (opt.gblRecSize < 1 && opt.sw_restore == 0) {
    opt.gblRecSize =
        AskNumber("Please enter the record size\n?>", "Unknown record size. Terminating.\n");
    if (opt.gblRecSize < 0) return 0;
  }
  if (opt.sw_relative != 0 || opt.sw_sequential != 0) return createRelSeq();
  return PrepareIndexedFile();
}

int createRelSeq() {
  TRACE_FRAME();
  lasting.sw_merge = 0;
  const std::string& name = opt.outfile;
  if (CheckNoIndexedFile(name) == 0) return 0;
  bool directory_made = false;
  for (;;) {
    const int fd = sys.open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd >= 0) {
      sys.close(fd);
      lasting.nKeysNo = 0;
      KeyOf(1).length = 0;
      PrintOutput("File '%s' has been created.\n", name.c_str());
      return 1;
    }
    const int error = errno;
    if (error == ENOENT && !directory_made) {
      if (CreateDirectory(name, DirectoryFor::kFlat) == 0) return 0;
      directory_made = true;
    } else if (error == EEXIST) {
      if (RemoveExisting(name) == 0) return 0;
    } else {
      PrintOutput("CREATION TIME: ");
      processError(error, name);
      return 0;
    }
  }
}

}  // namespace tolvane
