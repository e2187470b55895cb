// Where the platform's files are, and which programs the search path has.
#pragma once

#include <string>

namespace tolvane {

struct PlatformPaths {
  std::string zorvaroot;   // the root directory; ends in "/"
  std::string zorvafiles;  // root + "zorfiles"
  std::string zorvaboot;   // root + "zorboot.sys"
  bool zorActive = false;  // the platform's shared memory is in use
};

// Filled by the first call of zorfiles.
extern PlatformPaths platform_paths;

// Fills the platform paths from the environment variable ZORROOT, else from `root`, else from
// "/zorva"; later calls change nothing. Returns zorActive.
bool zorfiles(const char* root = nullptr);

// Warns when the owner and group that the boot file names are not those of this process, or when
// the boot file cannot be read. `record` receives its first 480 bytes. Never fails the run.
inline constexpr int kBootRecordSize = 480;
void readZorvaBoot(unsigned char (&record)[kBootRecordSize], const char* program);

// The full path of a program on the search path; empty when it is not there.
[[nodiscard]] std::string FindOnPath(const std::string& program);

[[nodiscard]] bool FileExists(const std::string& path);
// Whether the name itself is a symbolic link, to a file or to nothing.
[[nodiscard]] bool IsLink(const std::string& path);

// Whether both names are the same regular file.
[[nodiscard]] bool IsSameFile(const std::string& a, const std::string& b);

// The text after the last "/".
[[nodiscard]] std::string BaseName(const std::string& path);

}  // namespace tolvane
