#include "locks.h"

#include <cerrno>

#include "isam/layout.h"
#include "platform/system_calls.h"

namespace isamck {
namespace {

bool Lock(int fd, int command, short type, std::int64_t start, std::int64_t length) {
  struct flock region {};
  region.l_type = type;
  region.l_whence = SEEK_SET;
  region.l_start = static_cast<off_t>(start);
  region.l_len = static_cast<off_t>(length);
  int result = 0;
  do {
    result = tolvane::sys.lock(fd, command, &region);
  } while (result != 0 && errno == EINTR);
  // File systems without locks: unlocked.
  return result == 0 || errno == ENOLCK || errno == ENOTSUP;
}

}  // namespace

bool LockForCheck(int fd) {
  namespace l = isam::layout::lock;
  return Lock(fd, F_SETLK, F_RDLCK, l::kOpen, l::kOpenLength) &&
         Lock(fd, F_SETLKW, F_RDLCK, l::kOperation, l::kOperationLength);
}

bool LockForRebuild(int fd, const std::string& name) {
  namespace l = isam::layout::lock;
  if (!Lock(fd, F_SETLK, F_WRLCK, l::kOpen, l::kOpenLength) ||
      !Lock(fd, F_SETLK, F_WRLCK, l::kOperation, l::kOperationLength))
    return false;
  const auto opened = tolvane::FileIdOf(fd);
  return opened && opened == tolvane::FileIdOf(name);
}

}  // namespace isamck
