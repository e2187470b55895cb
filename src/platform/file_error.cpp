#include "platform/file_error.h"

#include <cerrno>

#include "platform/console.h"

namespace tolvane {
namespace {

constexpr struct {
  int error;
  const char* text;
} kTexts[] = {
    {EPERM, "Invalid permission for file"}, {EACCES, "Invalid permission for file"},
    {ENOENT, "No such file or directory"},  {EIO, "I/O error opening"},
    {EBUSY, "Mount device is busy"},        {EEXIST, "File already exists"},
};

}  // namespace

void processError(int error, const std::string& name) {
  if (error == 0) return;
  for (const auto& row : kTexts)
    if (row.error == error) return PrintError("%s '%s'\n", row.text, name.c_str());
  PrintError("Error %d on file %s\n", error, name.c_str());
}

}  // namespace tolvane
