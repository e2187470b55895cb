#include "media/drive.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "media/tape_image.h"
#include "platform/console.h"
#include "platform/system_calls.h"
#include "platform/trace.h"

namespace tolvane {
namespace {

bool IsNoName(const char* text) { return static_cast<unsigned char>(*text) <= ' '; }

// A name that begins with a blank is none.
std::string FromEnvironment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr || IsNoName(value) ? "" : value;
}

// The twin of a device name that keeps the tape's place: "/ctape" with its "c" changed to "n".
std::string NoRewindTwin(std::string path) {
  const auto at = path.find("/ctape");
  if (at == std::string::npos) return "";
  path[at + 1] = 'n';
  return path;
}

// Whether there is nothing but a device, or nothing yet where devices belong. Plain files may stand
// in /dev/shm.
bool StandsForDevice(const std::string& path) {
  struct stat status {};
  if (sys.stat(path.c_str(), &status) == 0)
    return S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode);
  return path.starts_with("/dev/") && !path.starts_with("/dev/shm/");
}

// The trace's word for what a path is; input and output have their own.
std::string DescribeMode(const std::string& path, DriveUse use) {
  const bool reads = use == DriveUse::kRead;
  struct stat status {};
  if (sys.stat(path.c_str(), &status) != 0) return reads ? "No Stat" : "No stat";
  if (S_ISREG(status.st_mode)) return "Regular file";
  if (S_ISCHR(status.st_mode)) return reads ? "Character device " : "Character device";
  if (S_ISBLK(status.st_mode)) return "Block Device";
  if (reads) return "No Stat";
  char mode[16];
  std::snprintf(mode, sizeof mode, "%X ... ", status.st_mode);
  return mode;
}

void TraceNames(const DriveRequest& request) {
  const char* const operation = request.use == DriveUse::kRead ? "openTapeIn" : "openTapeOut";
  TRACE_LINE("#%s:    Device for rewind '%s' %s\n", operation, request.names.rewind.c_str(),
             DescribeMode(request.names.rewind, request.use).c_str());
  TRACE_LINE("#%s: Device for no rewind '%s'\n", operation, request.names.no_rewind.c_str());
}

}  // namespace

DeviceNames NamesOfVolume(const std::string& path) {
  DeviceNames names{.rewind = path};
  if (IsNoName(path.c_str())) {
    names = {.rewind = FromEnvironment("ZORTAPE"), .no_rewind = FromEnvironment("ZORTAPENRWD")};
    if (names.rewind.empty() || names.no_rewind.empty()) return {};
  } else if (path.starts_with("/dev/") && StandsForDevice(path)) {
    names.no_rewind = FromEnvironment("ZORTAPENRWD");
    if (names.no_rewind.empty()) names.no_rewind = FromEnvironment("TAPENRWD");
    if (names.no_rewind.empty()) names.no_rewind = NoRewindTwin(path);
  }
  if (!StandsForDevice(names.path())) return {.rewind = names.path()};
  return names;
}

OpenedDrive OpenDrive(const DriveRequest& request) {
  TRACE_FRAME();
  const std::string& path = request.names.path();
  if (path.empty()) {
    PrintError("Specify input device OR environment variables ZORTAPE and ZORTAPENRWD.\n");
    errno = ENODEV;
    return {.is_drive = true};
  }
  TraceNames(request);
  if (ParseImagePath(path).is_image) return {.drive = OpenImages(request), .is_drive = true};
  if (StandsForDevice(path)) return {.drive = OpenDevice(request), .is_drive = true};
  return {};
}

}  // namespace tolvane
