#include "isam/ismemory.h"

#include <new>

#include "isam/issystem.h"

namespace isam {

Buffer is_malloc(std::size_t bytes) {
  Buffer buffer(new (std::nothrow) tolvane::Byte[bytes]());
  if (buffer == nullptr) isFatal("ismemory.c", __LINE__);
  return buffer;
}

}  // namespace isam
