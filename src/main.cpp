// The entry: prepares the process, reads the options, runs the operations. The order is part of
// the program's behaviour.

#include <fcntl.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <new>
#include <string>

#include "convert/mask.h"
#include "driver/commands.h"
#include "driver/grammar.h"
#include "driver/scrio.h"
#include "platform/console.h"
#include "platform/paths.h"
#include "platform/system_calls.h"
#include "platform/trace.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {
namespace {

constexpr int kRejected = -1;

// A standard stream that is closed would otherwise become the next file that is opened.
void SecureStandardStreams() {
  for (int fd = 0; fd <= 2; ++fd)
    if (fcntl(fd, F_GETFD) < 0) (void)sys.open("/dev/null", O_RDWR, 0);  // takes the lowest number
}

// A full disk or a closed pipe is an error of the write that meets it, never a signal.
void IgnoreWriteSignals() {
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
}

void SetShell() {
  const std::string shell = FindOnPath("sh");
  if (!shell.empty()) setenv("SHELL", shell.c_str(), 1);
}

void StartTrace() {
  const char* const control = std::getenv("DBUG");
  if (control == nullptr) return;
  trace::Push(control);
  PrintOutput("DBG compiled !! And using [%s]\n", control);
}

void SetLocale() {
  const char* const language = std::getenv("LANG");
  if (language == nullptr) {
    PrintOutput("WARNING - Variable LANG not found.\n");
    std::setlocale(LC_ALL, "");
    return;
  }
  if (std::setlocale(LC_ALL, language) == nullptr)
    PrintOutput("WARNING - Failed setting \"locale\" to \"%s\".\n", language);
  std::setlocale(LC_CTYPE, language);
}

int Main(int argc, char** argv) {
  SecureStandardStreams();
  IgnoreWriteSignals();
  SetShell();
  StartTrace();
  SetLocale();
  zorfiles();
  progName = argc > 0 ? argv[0] : "tolvane";
  unsigned char boot_record[kBootRecordSize];
  readZorvaBoot(boot_record, progName);

  if (argc < 2 || argv[1][0] != '-') {
    usage();
    return 0;
  }
  SetDefaultValues(argv);
  const ParseResult first = ParseCommandLine(argc, argv);
  if (first != ParseResult::kGoOn) return first == ParseResult::kHelp ? 0 : kRejected;
  if (opt.sw_report_sum == 0 && opt.sw_status == 0) PrintBanner();
  if (opt.optionsFileFlag != 0) {
    if (ParseOptionsFile(opt.optFileName) == 0) return kRejected;
    opt.nPrimeKeyNo = std::max(opt.nPrimeKeyNo, 1);
  }
  const ParseResult second = ParseCommandLine(argc, argv);
  if (second != ParseResult::kGoOn) return second == ParseResult::kHelp ? 0 : kRejected;
  if (SettleLateOptions() == 0) return kRejected;
  WarnOfUnreadArguments(argc, argv);

  (void)ExecuteCommandLine();  // a failed operation has reported itself and is no failed run
  PrintOutput("\n");
  MaskListDump("Final mask list");
  MaskListEmpty();
  return 0;
}

}  // namespace
}  // namespace tolvane

int main(int argc, char** argv) {
  try {
    return tolvane::Main(argc, argv);
  } catch (const std::bad_alloc& error) {
    tolvane::PrintError("Memory allocation error: %s\n", error.what());
    return tolvane::kRejected;
  }
}
