#include "files/questions.h"

#include <cerrno>

#include "platform/console.h"
#include "platform/file_error.h"
#include "platform/system_calls.h"
#include "state/options.h"

namespace tolvane {

bool IsBlankName(const std::string& name) {
  return name.find_first_not_of(' ') == std::string::npos;
}

int AskName(const char* question, const char* automatic_error, std::string& name) {
  PrintOutput("%s", question);
  if (opt.sw_automatic != 0) {
    PrintError("%s", automatic_error);
    return 0;
  }
  char line[kInputSize];
  if (GetInput(line) == nullptr) return 0;
  name = line;
  name.erase(name.find_last_not_of("\r\n ") + 1);
  return name.empty() ? 0 : 1;
}

std::int32_t AskNumber(const std::string& question, const std::string& automatic_error) {
  PrintOutput("%s", question.c_str());
  if (opt.sw_automatic == 0) return GetNumberFromStdin();
  PrintError("%s", automatic_error.c_str());
  return -1;
}

int AskRecordSize(std::int32_t& size) {
  if (size >= 1) return 1;
  PrintOutput("Our record size is %d\n", size);
  PrintOutput("Please enter the actual record size\n?>");
  if (opt.sw_automatic != 0) {
    PrintOutput("Bad record Size. Terminating.\n");
    return 0;
  }
  do {
    size = GetNumberFromStdin();
  } while (size == 0);
  return size > 0 ? 1 : 0;
}

int CreateDirectory(const std::string& name, DirectoryFor kind) {
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
  if (sys.mkdir(directory.c_str(), kMode) == 0) {
    PrintOutput("New directory created %s\n", directory.c_str());
    return 1;
  }
  if (kind == DirectoryFor::kIndexed) {
    PrintOutput("Error making new directory. %d\n", errno);
  } else {
    PrintError("Error %d making new directory.\n", errno);
  }
  return 0;
}

}  // namespace tolvane
