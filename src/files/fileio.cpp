#include "files/fileio.h"

#include <cerrno>

#include "platform/console.h"
#include "platform/system_calls.h"
#include "platform/trace.h"
#include "reports/side_reports.h"
#include "state/options.h"

namespace tolvane {
namespace {

bool IsBlank(const std::string& name) { return name.find_first_not_of(' ') == std::string::npos; }

bool IsBlankOrControl(char c) { return static_cast<unsigned char>(c) <= ' ' || c == 0x7F; }

// The questions for a missing name.
struct NameQuestion {
  const char* text;
  const char* unanswered;  // the error in automatic mode
};
constexpr NameQuestion kBackupName{"Enter the name of the Zorva file to backup\n?> ",
                                   "Unknown backup file. Can not continue. Terminating!\n"};
constexpr NameQuestion kRestoreName{"Enter the name of the Zorva file to be restored\n?> ",
                                    "Unknown restore file. Can not continue. Terminating!\n"};

// 1 with the name typed; 0 in automatic mode or when none comes.
int AskName(const NameQuestion& question, std::string& name) {
  PrintOutput("%s", question.text);
  if (opt.sw_automatic != 0) {
    PrintError("%s", question.unanswered);
    return 0;
  }
  char line[kInputSize];
  if (GetInput(line) == nullptr) return 0;
  name = line;
  name.erase(name.find_last_not_of("\r\n ") + 1);
  return name.empty() ? 0 : 1;
}

// Creates the directory part of `name`, when the user wants it.
int CreateDirectory(const std::string& name) {
  PrintOutput("\nDirectory for '%s' does not exist\n", name.c_str());
  const std::string answer = Ask(
      {"Create, Quit (C,Q) ?>", "\nAuto answer assuming Create. Processing continues.\n", "C", "Q"},
      opt.sw_automatic != 0);
  if (!Answers(answer, 'c')) return 0;
  const auto slash = name.rfind('/');
  if (slash == std::string::npos) {
    PrintOutput("CREATION TIME: ");
    processError(ENOENT, name);
    return 0;
  }
  const std::string directory = name.substr(0, slash);
  constexpr mode_t kMode = 0775;
  if (sys.mkdir(directory.c_str(), kMode) != 0) {
    PrintError("Error %d making new directory.\n", errno);
    return 0;
  }
  PrintOutput("New directory created %s\n", directory.c_str());
  return 1;
}

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

}  // namespace

int VerifyZorFileName(std::string& name) {
  TRACE_FRAME();
  if (IsBlank(name)) {
    if (opt.sw_backup != 0 && AskName(kBackupName, name) == 0) return 0;
    if (IsBlank(name) && opt.sw_restore != 0 && AskName(kRestoreName, name) == 0) return 0;
  }
  if (name.starts_with('/')) {
    std::size_t end = 0;
    while (end < name.size() && end < kNameWidth && !IsBlankOrControl(name[end])) ++end;
    name.erase(end);
  }
  return 1;
}

int CreateOutFile() {
  TRACE_FRAME();
  if (VerifyZorFileName(opt.outfile) == 0) {
    PrintOutput("Illegal file name: %s\n", opt.outfile.c_str());
    return 0;
  }
  if (opt.sw_indexed == 0 && opt.sw_relative == 0 && opt.sw_sequential == 0) {
    PrintError("Missing file type [ indexed, sequential, relative ].\n");
  } else if (CreateZorFile() == 0) {
    return 0;
  }
  if (opt.sw_backup != 0) PrintError("Attempting to backup an empty file. NO backup done.\n");
  return 1;
}

int CreateZorFile() {
  TRACE_FRAME();
  if (IsBlank(opt.outfile)) {
    if (AskName({"Enter the name of the Zorva file to create.\n?>",
                 "\nUnknown the file name to create. Terminating.\n"},
                opt.outfile) == 0 ||
        VerifyZorFileName(opt.outfile) == 0)
      return 0;
  }
  if (opt.gblRecSize < 1 && opt.sw_restore == 0) {
    PrintOutput("Please enter the record size\n?>");
    if (opt.sw_automatic != 0) {
      PrintError("Unknown record size. Terminating.\n");
      return 0;
    }
    opt.gblRecSize = GetNumberFromStdin();
    if (opt.gblRecSize < 0) return 0;
  }
  if (opt.sw_relative != 0 || opt.sw_sequential != 0) return createRelSeq();
  PrintError("Indexed files can not be created yet.\n");
  return 0;
}

int createRelSeq() {
  TRACE_FRAME();
  lasting.sw_merge = 0;
  const std::string& name = opt.outfile;
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
      if (CreateDirectory(name) == 0) return 0;
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
