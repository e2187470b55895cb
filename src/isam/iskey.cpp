#include "isam/iskey.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

#include "isam/layout.h"

namespace isam {

using tolvane::LoadBig;
using tolvane::LoadNative;
using tolvane::StoreBig;

namespace {

constexpr int kTypeMask = 0x3F;
constexpr int kMostFlags = 64;
constexpr int kMostNullParts = 4;
constexpr int kUnits[] = {1, 2, 4, 8, 4, 2, 4, 1};  // bytes, by type

// A negative zero is the smaller one of two zeros. A NaN is smaller than any number, on either
// side; among each other they have the order of their bytes, for a tree needs one.
template <typename Float>
int CompareFloats(const Byte* a, const Byte* b) {
  const auto x = LoadNative<Float>(a), y = LoadNative<Float>(b);
  if (x == 0 && y == 0) return std::signbit(x) ? -1 : 1;
  if (std::isnan(x) && std::isnan(y)) return std::memcmp(a, b, sizeof(Float));
  if (std::isnan(y)) return 1;
  return x > y ? 1 : -1;
}

template <typename Integer>
int CompareNative(const Byte* a, const Byte* b) {
  return LoadNative<Integer>(a) > LoadNative<Integer>(b) ? 1 : -1;
}

// Two parts that differ first at byte `at`.
int ComparePart(int type, const Byte* a, const Byte* b, std::size_t at) {
  const auto unit = static_cast<std::size_t>(kUnits[type]);
  const std::size_t value = at / unit * unit;
  switch (type) {
    case CHARTYPE:
    case STRINGTYPE:
      return a[at] - b[at];
    case INTTYPE:
    case LONGTYPE:
      return at == 0 ? static_cast<std::int8_t>(a[0]) - static_cast<std::int8_t>(b[0])
                     : a[at] - b[at];
    case DOUBLETYPE:
      return CompareFloats<double>(a + value, b + value);
    case FLOATTYPE:
      return CompareFloats<float>(a + value, b + value);
    case MINTTYPE:
      return CompareNative<std::int16_t>(a + value, b + value);
    default:
      return CompareNative<std::int32_t>(a + value, b + value);
  }
}

std::size_t PartLength(const keypart& part) { return static_cast<std::size_t>(part.kp_leng); }

}  // namespace

// The type as the file keeps it: one byte, and with NULLKEY the null byte beside it.
std::int16_t StoredType(const keydesc& key, const keypart& part) {
  return (key.k_flags & NULLKEY) != 0 ? part.kp_type
                                      : static_cast<std::int16_t>(part.kp_type & 0xFF);
}

void Index::Settle(std::size_t duplicate_width) {
  length = 0;
  bytewise = true;
  for (int i = 0; i < key.k_nparts; ++i) {
    keypart& part = key.k_part[i];
    part.kp_type = StoredType(key, part);
    length += PartLength(part);
    const int type = part.kp_type & kTypeMask;
    bytewise = bytewise && (type == CHARTYPE || type == STRINGTYPE) && (part.kp_type & ISDESC) == 0;
  }
  key.k_len = static_cast<std::int16_t>(length);
  counter_width = has(ISDUPS) ? duplicate_width : 0;
  entry_size = length + counter_width + layout::tree_node::kPointerWidth;
  entry_reciprocal = (std::uint64_t{1} << 32) / entry_size + 1;
}

bool isTestIndex(std::size_t record_length, const keydesc* key) {
  if (key == nullptr) return false;
  if (key->k_nparts == 0) return true;
  // More parts with a null byte would be miscounted when they are read again.
  const int most_parts = (key->k_flags & NULLKEY) != 0 ? kMostNullParts : NPARTS;
  if (key->k_nparts < 1 || key->k_nparts > most_parts || key->k_flags < 0 ||
      key->k_flags >= kMostFlags)
    return false;
  int total = 0;
  for (int i = 0; i < key->k_nparts; ++i) {
    const keypart& part = key->k_part[i];
    const int type = part.kp_type & kTypeMask;
    if (part.kp_start < 0 || part.kp_leng < 0) return false;
    if (record_length != 0 &&
        static_cast<std::size_t>(part.kp_start) + PartLength(part) > record_length)
      return false;
    if (type >= static_cast<int>(std::size(kUnits)) || part.kp_leng % kUnits[type] != 0)
      return false;
    total += part.kp_leng;
  }
  return total > 0 && total <= MAXKEYSIZE;
}

void isKeyMake(const Index& index, Byte* key, const Byte* record) {
  for (int i = 0; i < index.key.k_nparts; ++i) {
    const keypart& part = index.key.k_part[i];
    const Byte* const from = record + part.kp_start;
    std::size_t bytes = PartLength(part);
    if ((part.kp_type & kTypeMask) == STRINGTYPE) {
      const auto* const zero = static_cast<const Byte*>(std::memchr(from, 0, bytes));
      if (zero != nullptr) bytes = static_cast<std::size_t>(zero - from);
      std::fill(key + bytes, key + PartLength(part), Byte{0});
    }
    std::memcpy(key, from, bytes);
    key += PartLength(part);
  }
}

void isKeyLoad(const Index& index, Byte* record, const Byte* key) {
  for (int i = 0; i < index.key.k_nparts; ++i) {
    const keypart& part = index.key.k_part[i];
    std::memcpy(record + part.kp_start, key, PartLength(part));
    key += PartLength(part);
  }
}

// The first byte that differs settles which part decides, and in it which unit.
int isKeyCmpParts(const Index& index, const Byte* a, const Byte* b) {
  const auto at = static_cast<std::size_t>(std::mismatch(a, a + index.length, b).first - a);
  if (at == index.length) return 0;
  std::size_t start = 0;
  for (int i = 0; i < index.key.k_nparts; ++i) {
    const keypart& part = index.key.k_part[i];
    if (at < start + PartLength(part)) {
      const int type = part.kp_type & kTypeMask;
      if (type >= static_cast<int>(std::size(kUnits))) return 0;
      const int order = ComparePart(type, a + start, b + start, at - start);
      return (part.kp_type & ISDESC) != 0 ? -order : order;
    }
    start += PartLength(part);
  }
  isFatal("iskey.c", __LINE__);
}

bool isKeyNull(const Index& index, const Byte* key) {
  if (!index.has(NULLKEY)) return false;
  for (int i = 0; i < index.key.k_nparts; ++i) {
    const keypart& part = index.key.k_part[i];
    const auto null = static_cast<Byte>(static_cast<std::uint16_t>(part.kp_type) >> 8);
    if (std::any_of(key, key + part.kp_leng, [null](Byte byte) { return byte != null; }))
      return false;
    key += part.kp_leng;
  }
  return true;
}

bool SameParts(const keydesc& a, const keydesc& b) {
  return a.k_nparts == b.k_nparts &&
         std::equal(a.k_part, a.k_part + a.k_nparts, b.k_part, [&](const auto& x, const auto& y) {
           return x.kp_start == y.kp_start && x.kp_leng == y.kp_leng &&
                  StoredType(a, x) == StoredType(a, y);
         });
}

std::vector<Byte> StoreKeyEntry(const Index& index) {
  namespace k = layout::key_entry;
  const bool nulls = index.has(NULLKEY);
  const std::size_t part_size = nulls ? k::kNullPartSize : k::kPartSize;
  const auto parts = static_cast<std::size_t>(index.key.k_nparts);
  std::vector<Byte> entry(k::kParts + parts * part_size);
  StoreBig(&entry[k::kLength], static_cast<std::uint16_t>(entry.size()));
  StoreBig(&entry[k::kRoot], index.root);
  entry[k::kHalfFlags] = static_cast<Byte>(index.key.k_flags >> 1);
  for (std::size_t i = 0; i < parts; ++i) {
    const keypart& part = index.key.k_part[i];
    Byte* const at = &entry[k::kParts + i * part_size];
    const unsigned mark = i == 0 && index.has(ISDUPS) ? k::kDuplicatesBit : 0;
    StoreBig(at + k::kPartLength, static_cast<std::uint16_t>(PartLength(part) | mark));
    StoreBig(at + k::kPartStart, static_cast<std::uint16_t>(part.kp_start));
    if (nulls) {
      StoreBig(at + k::kPartType, static_cast<std::uint16_t>(part.kp_type));
    } else {
      at[k::kPartType] = static_cast<Byte>(part.kp_type);
    }
  }
  return entry;
}

void LoadKeyEntry(const Byte* entry, std::size_t length, std::size_t record_length, Index& index) {
  namespace k = layout::key_entry;
  index = {};
  if (length <= k::kNoPartsMost) return;
  if (length >= k::kTooLong) throw Failure{EBADFILE};
  index.root = LoadBig<std::uint32_t>(entry + k::kRoot);
  index.key.k_rootnode = static_cast<std::int32_t>(index.root);
  index.key.k_flags = static_cast<std::int16_t>(entry[k::kHalfFlags] << 1);
  const bool nulls = index.has(NULLKEY);
  const std::size_t part_size = nulls ? k::kNullPartSize : k::kPartSize;
  // Deliberate: parts are counted by five bytes each, also those of six.
  const std::size_t parts = (length - k::kParts) / k::kPartSize;
  if (k::kParts + parts * part_size > length) throw Failure{EBADFILE};
  index.key.k_nparts = static_cast<std::int16_t>(parts);
  for (std::size_t i = 0; i < parts; ++i) {
    const Byte* const at = entry + k::kParts + i * part_size;
    unsigned bytes = LoadBig<std::uint16_t>(at + k::kPartLength);
    if (i == 0 && (bytes & k::kDuplicatesBit) != 0) {
      index.key.k_flags = static_cast<std::int16_t>(index.key.k_flags | ISDUPS);
      bytes &= ~k::kDuplicatesBit;
    }
    keypart& part = index.key.k_part[i];
    part.kp_leng = static_cast<std::int16_t>(bytes);
    part.kp_start = LoadBig<std::int16_t>(at + k::kPartStart);
    part.kp_type = at[k::kPartType];
    if (nulls) part.kp_type = LoadBig<std::int16_t>(at + k::kPartType);
  }
  if (!isTestIndex(record_length, &index.key)) throw Failure{EBADKEY};
}

}  // namespace isam
