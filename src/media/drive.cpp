#include "media/drive.h"

#include <cerrno>
#include <cstdlib>

#include "media/tape_image.h"
#include "platform/console.h"
#include "platform/system_calls.h"
#include "platform/trace.h"

namespace tolvane {
namespace {

std::string FromEnvironment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// The twin of a device name that keeps the tape's place: "/ctape" with its "c" changed to "n".
std::string NoRewindTwin(std::string path) {
  const auto at = path.find("/ctape");
  if (at == std::string::npos) return "";
  path[at + 1] = 'n';
  return path;
}

// False after a message when the environment lacks a name.
bool SettleNames(const std::string& path, DeviceNames& names) {
  names.rewind = path;
  if (path.empty()) {
    names.no_rewind = FromEnvironment("ZORTAPENRWD");
    names.rewind = FromEnvironment("ZORTAPE");
    if (!names.no_rewind.empty() && !names.rewind.empty()) return true;
    PrintError("Specify input device OR environment variables ZORTAPE and ZORTAPENRWD.\n");
    errno = ENODEV;
    return false;
  }
  if (path.starts_with("/dev/")) {
    names.no_rewind = FromEnvironment("ZORTAPENRWD");
    if (names.no_rewind.empty()) names.no_rewind = FromEnvironment("TAPENRWD");
    if (names.no_rewind.empty()) names.no_rewind = NoRewindTwin(path);
  }
  return true;
}

const char* DescribeMode(mode_t mode) {
  return S_ISREG(mode)   ? "Regular file"
         : S_ISCHR(mode) ? "Character device "
         : S_ISBLK(mode) ? "Block Device"
                         : "No Stat";
}

}  // namespace

OpenedDrive OpenDrive(const DriveRequest& request) {
  TRACE_FRAME();
  OpenedDrive opened;
  const bool is_empty = request.path.empty() || static_cast<unsigned char>(request.path[0]) <= ' ';
  const std::string path = is_empty ? "" : request.path;
  if (ParseImagePath(path).is_image) {
    opened.is_drive = true;
    opened.names.rewind = path;
    opened.drive = OpenImages(request);
    return opened;
  }
  if (!SettleNames(path, opened.names)) {
    opened.is_drive = true;
    return opened;
  }
  struct stat status {};
  const bool there = sys.stat(opened.names.rewind.c_str(), &status) == 0;
  const char* const operation = request.use == DriveUse::kRead ? "openTapeIn" : "openTapeOut";
  TRACE_LINE("#%s:    Device for rewind '%s' %s\n", operation, opened.names.rewind.c_str(),
             DescribeMode(there ? status.st_mode : 0));
  TRACE_LINE("#%s: Device for no rewind '%s'\n", operation, opened.names.no_rewind.c_str());
  opened.is_drive = there && (S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode));
  errno = 0;
  if (opened.is_drive) opened.drive = OpenDevice(opened.names, request);
  return opened;
}

}  // namespace tolvane
