// What the engine's tests share: key descriptions, records with keys at their beginning.
#pragma once

#include <isam.h>

#include <cstdio>
#include <string>

namespace isam_test {

inline keydesc Key(int start, int length, int flags = ISNODUPS, int type = CHARTYPE) {
  keydesc key{};
  key.k_flags = static_cast<std::int16_t>(flags);
  key.k_nparts = 1;
  key.k_part[0] = {static_cast<std::int16_t>(start), static_cast<std::int16_t>(length),
                   static_cast<std::int16_t>(type)};
  return key;
}

// "00000042" and then `fill` up to `length`.
inline std::string Record(int key, std::size_t length, char fill = '.') {
  char digits[16];
  std::snprintf(digits, sizeof digits, "%08d", key);
  std::string record(digits);
  record.resize(length, fill);
  return record;
}

}  // namespace isam_test
