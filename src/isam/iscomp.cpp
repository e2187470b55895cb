// Compressed keys in index nodes.

#include <algorithm>
#include <cstring>

#include "isam/istree.h"

namespace isam {
namespace {

Byte PadOf(const Index& index) { return index.has(TNULL) ? Byte{0} : Byte{' '}; }

// How the key of an entry is stored behind the one before it.
struct Stored {
  bool repeats = false;
  std::size_t leading = 0, trailing = 0;
};

Stored HowStored(const Index& index, const Byte* previous, const Byte* key) {
  Stored stored;
  if (previous != nullptr && index.has(DCOMPRESS) && isKeyMatch(index, previous, key)) {
    stored.repeats = true;
    return stored;
  }
  if (index.has(LCOMPRESS) && previous != nullptr)
    stored.leading =
        static_cast<std::size_t>(std::mismatch(key, key + index.length, previous).first - key);
  if (index.has(TCOMPRESS))
    while (stored.trailing < index.length - stored.leading &&
           key[index.length - 1 - stored.trailing] == PadOf(index))
      ++stored.trailing;
  return stored;
}

}  // namespace

std::size_t isCompKey(const Index& index, const Byte* previous, const Byte* key, Byte* to) {
  const Stored stored = HowStored(index, previous, key);
  if (stored.repeats) return 0;
  const std::size_t middle = index.length - stored.leading - stored.trailing;
  if (to != nullptr) {
    if (index.has(LCOMPRESS)) *to++ = static_cast<Byte>(stored.leading);
    if (index.has(TCOMPRESS)) *to++ = static_cast<Byte>(stored.trailing);
    std::memcpy(to, key + stored.leading, middle);
  }
  return index.count_bytes() + middle;
}

std::size_t isStoredSize(const Index& index, const Byte* previous, const Byte* entry) {
  if (!index.is_compressed()) return index.entry_size;
  return isCompKey(index, previous, entry, nullptr) + index.entry_size - index.length;
}

std::size_t isCompEntries(const Index& index, const Byte* entries, int count, Byte* to) {
  const std::size_t tail = index.entry_size - index.length;
  const Byte* previous = nullptr;
  std::size_t size = 0;
  for (int i = 0; i < count; ++i, entries += index.entry_size) {
    const std::size_t key = isCompKey(index, previous, entries, to == nullptr ? to : to + size);
    if (to != nullptr) {
      if (key == 0) to[size - layout::tree_node::kPointerWidth] |= 0x80;  // the one before repeats
      std::memcpy(to + size + key, entries + index.length, tail);
    }
    size += key + tail;
    previous = entries;
  }
  return size;
}

void isCompScan(const Index& index, const Byte* node, std::size_t used,
                std::vector<Byte>& entries) {
  const std::size_t tail = index.entry_size - index.length;
  Byte key[kMostTarget] = {};
  bool repeats = false, first = true;
  entries.clear();
  for (std::size_t at = layout::tree_node::kFirst; at < used; first = false) {
    if (!repeats) {
      std::size_t leading = 0, trailing = 0;
      if (index.has(LCOMPRESS)) leading = node[at++];
      if (index.has(TCOMPRESS)) trailing = node[at++];
      if (leading + trailing > index.length || (first && leading > 0))
        isFatal("iscomp.c", __LINE__);
      const std::size_t middle = index.length - leading - trailing;
      if (at + middle + tail > used) isFatal("iscomp.c", __LINE__);
      std::memcpy(key + leading, node + at, middle);
      std::memset(key + leading + middle, PadOf(index), trailing);
      at += middle;
    }
    if (at + tail > used) isFatal("iscomp.c", __LINE__);
    entries.insert(entries.end(), key, key + index.length);
    entries.insert(entries.end(), node + at, node + at + tail);
    at += tail;
    Byte& mark = entries[entries.size() - layout::tree_node::kPointerWidth];
    repeats = (mark & 0x80) != 0;
    mark &= 0x7F;
  }
  if (repeats) isFatal("iscomp.c", __LINE__);
}

}  // namespace isam
