#include "platform/paths.h"

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "platform/console.h"
#include "platform/system_calls.h"
#include "platform/trace.h"

namespace tolvane {

PlatformPaths platform_paths;

bool zorfiles(const char* root) {
  TRACE_FRAME();
  PlatformPaths& paths = platform_paths;
  if (!paths.zorvaroot.empty()) return paths.zorActive;
  const char* const from_environment = std::getenv("ZORROOT");
  if (from_environment != nullptr && *from_environment != '\0') {
    paths.zorvaroot = from_environment;
  } else if (root != nullptr) {
    paths.zorvaroot = root;
  } else {
    paths.zorvaroot = "/zorva";
  }
  if (paths.zorvaroot.back() != '/') paths.zorvaroot += '/';
  paths.zorvafiles = paths.zorvaroot + "zorfiles";
  paths.zorvaboot = paths.zorvaroot + "zorboot.sys";
  paths.zorActive = std::getenv("ZoRsHmId") != nullptr;
  return paths.zorActive;
}

void readZorvaBoot(unsigned char (&record)[kBootRecordSize], const char* program) {
  TRACE_FRAME();
  // Boot record: the owner's user and group id, in the machine's byte order.
  constexpr std::size_t kOwner = 28, kGroup = 32;
  std::memset(record, 0, sizeof record);
  const int fd = sys.open(platform_paths.zorvaboot.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK, 0);
  struct stat status {};
  const bool is_file = fd >= 0 && sys.fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
  const ssize_t got = is_file ? sys.read(fd, record, sizeof record) : -1;
  if (fd >= 0) sys.close(fd);
  if (got < static_cast<ssize_t>(kGroup + sizeof(std::uint32_t))) {
    PrintOutput("Could not access the boot file to check permissions.\n");
    PrintOutput("WARNING!!! This means the permission settings may be incorrect\n");
    return;
  }
  std::uint32_t owner = 0, group = 0;
  std::memcpy(&owner, record + kOwner, sizeof owner);
  std::memcpy(&group, record + kGroup, sizeof group);
  if (owner != geteuid() || group != getegid())
    PrintOutput("\nWARNING!!! Permission settings are incorrect for %s.\n", program);
}

std::string FindOnPath(const std::string& program) {
  const char* const path = std::getenv("PATH");
  std::istringstream folders(path == nullptr ? "/usr/bin:/bin" : path);
  for (std::string folder; std::getline(folders, folder, ':');) {
    std::string full = (folder.empty() ? std::string(".") : folder) + "/" + program;
    struct stat status {};
    if (sys.access(full.c_str(), X_OK) == 0 && sys.stat(full.c_str(), &status) == 0 &&
        S_ISREG(status.st_mode))
      return full;
  }
  return "";
}

bool FileExists(const std::string& path) {
  struct stat status {};
  return sys.stat(path.c_str(), &status) == 0;
}

bool IsLink(const std::string& path) {
  struct stat status {};
  return sys.lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

bool IsSameFile(const std::string& a, const std::string& b) {
  struct stat status {};
  return sys.stat(a.c_str(), &status) == 0 && S_ISREG(status.st_mode) && FileIdOf(a) == FileIdOf(b);
}

std::string BaseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace tolvane
