// Key descriptions and keys: their validity, cutting a key out of a record, the order of two keys.
//
// A key is its parts one behind the other, as they stand in the record; a part that is a text ends
// in zeros from its first zero on. In an entry of a tree the duplicate counter follows, big-endian,
// in an index that allows duplicates, and then the pointer. All of this works on memory alone and
// fails nowhere but where a description is read.
#pragma once

#include <isam.h>

#include <cstdint>
#include <vector>

#include "isam/ispath.h"
#include "isam/issystem.h"

namespace isam {

inline constexpr std::size_t kMostTarget = MAXKEYSIZE + 4;  // key and duplicate counter
inline constexpr std::size_t kMostEntry = kMostTarget + 4;  // and pointer

// One index of an open file: its description, and what follows from it.
struct Index {
  keydesc key{};                  // as callers see it; without parts there is no tree
  std::size_t length = 0;         // bytes of a key
  std::size_t counter_width = 0;  // bytes of a duplicate counter; 0 in a unique index
  std::size_t entry_size = 0;     // of an entry that is not compressed
  std::uint32_t root = 0;
  std::uint64_t entry_reciprocal = 0;  // 2^32 / entry_size, rounded up
  bool bytewise = false;               // the order is that of the bytes
  std::uint32_t described_in = 0;      // its key-description node
  Path edge;                           // behind the last entry; cached, as far as depth is not 0
  std::size_t listed_levels = 0;       // for so many the file's entry lists are large enough

  [[nodiscard]] bool has(int flag) const { return (key.k_flags & flag) != 0; }
  [[nodiscard]] bool is_compressed() const { return has(COMPRESS); }
  // Bytes of the counts that stand before a compressed key.
  [[nodiscard]] std::size_t count_bytes() const {
    return (has(LCOMPRESS) ? 1U : 0U) + (has(TCOMPRESS) ? 1U : 0U);
  }
  [[nodiscard]] bool has_parts() const { return key.k_nparts > 0; }
  // How many entries so many bytes of a node hold, the rest cut off.
  [[nodiscard]] int EntriesIn(std::size_t bytes) const {
    return static_cast<int>(bytes * entry_reciprocal >> 32);
  }
  // Settles the sizes and the order from the description; `duplicate_width` is the file's, in
  // bytes.
  void Settle(std::size_t duplicate_width);
};

// Whether a description is valid for records of `record_length` bytes, 0 for any. One without parts
// is; null is not.
[[nodiscard]] bool isTestIndex(std::size_t record_length, const keydesc* key);

// Cuts the key out of a record, which holds all parts; `key` takes index.length bytes.
void isKeyMake(const Index& index, Byte* key, const Byte* record);
// Puts a key's parts back into a record; its other bytes stay.
void isKeyLoad(const Index& index, Byte* record, const Byte* key);

// The order of two keys: negative, zero or positive.
[[nodiscard]] int isKeyCmpParts(const Index& index, const Byte* a, const Byte* b);
[[nodiscard]] inline int isKeyCmp(const Index& index, const Byte* a, const Byte* b) {
  if (index.bytewise) return __builtin_memcmp(a, b, index.length);
  return isKeyCmpParts(index, a, b);
}
// Whether they are the same, byte by byte: zeros of either sign are not.
[[nodiscard]] inline bool isKeyMatch(const Index& index, const Byte* a, const Byte* b) {
  return __builtin_memcmp(a, b, index.length) == 0;
}
// The order of two keys with their counters.
[[nodiscard]] inline int isTargetCmp(const Index& index, const Byte* a, const Byte* b) {
  const int order = isKeyCmp(index, a, b);
  if (order != 0) return order;
  return __builtin_memcmp(a + index.length, b + index.length, index.counter_width);
}
// Whether a key is not entered in its index: NULLKEY, and every byte is the null byte of its part.
[[nodiscard]] bool isKeyNull(const Index& index, const Byte* key);

// Whether two descriptions name the same index: the same parts.
[[nodiscard]] bool SameParts(const keydesc& a, const keydesc& b);

// The entry of a key description, in the form of a key-description node.
[[nodiscard]] std::vector<Byte> StoreKeyEntry(const Index& index);
// Takes one over. Fails with EBADFILE when it has too many parts or contradicts itself, EBADKEY
// when it is not valid.
void LoadKeyEntry(const Byte* entry, std::size_t length, std::size_t record_length, Index& index);

}  // namespace isam
