// Key descriptions and keys: their validity, cutting a key out of a record, the order of two keys.
#pragma once

#include <isam.h>

#include <cstdint>
#include <vector>

#include "isam/issystem.h"

namespace isam {

// One index of an open file.
struct Index {
  keydesc key{};                  // as callers see it
  std::size_t length = 0;         // bytes of a key
  std::size_t counter_width = 0;  // bytes of a duplicate counter; 0 in a unique index
  std::size_t entry_size = 0;     // of an entry that is not compressed
  std::uint32_t root = 0;
  bool bytewise = false;           // the order is that of the bytes
  std::uint32_t described_in = 0;  // key-description node and offset there
  std::size_t described_at = 0;

  [[nodiscard]] bool has(int flag) const { return (key.k_flags & flag) != 0; }
  [[nodiscard]] bool is_compressed() const { return has(COMPRESS); }
  [[nodiscard]] bool has_parts() const { return key.k_nparts > 0; }
  // Settles what follows from the description.
  void Settle(std::size_t duplicate_width);
};

// Whether a description is valid for records of `record_length` bytes.
[[nodiscard]] bool isTestIndex(std::size_t record_length, const keydesc* key);

// Cuts the key out of a record; `key` holds index.length bytes. Returns that length.
std::size_t isKeyMake(const Index& index, Byte* key, const Byte* record);
// Puts a key's parts back into a record.
std::size_t isKeyLoad(const Index& index, Byte* record, const Byte* key);

// Negative, zero or positive.
[[nodiscard]] int isKeyCmpParts(const Index& index, const Byte* a, const Byte* b);
[[nodiscard]] inline int isKeyCmp(const Index& index, const Byte* a, const Byte* b) {
  if (index.bytewise) return __builtin_memcmp(a, b, index.length);
  return isKeyCmpParts(index, a, b);
}
[[nodiscard]] inline bool isKeyMatch(const Index& index, const Byte* a, const Byte* b) {
  return __builtin_memcmp(a, b, index.length) == 0;
}
// Whether a key is not entered in its index.
[[nodiscard]] bool isKeyNull(const Index& index, const Byte* key);

// Whether two descriptions name the same index: the same parts.
[[nodiscard]] bool SameParts(const keydesc& a, const keydesc& b);

// The entry of a key description, in the form of a key-description node.
[[nodiscard]] std::vector<Byte> StoreKeyEntry(const Index& index);
// Takes one over. Fails with EBADFILE when it has too many parts or contradicts itself, EBADKEY
// when it is not valid.
void LoadKeyEntry(const Byte* entry, std::size_t length, std::size_t record_length, Index& index);

}  // namespace isam
