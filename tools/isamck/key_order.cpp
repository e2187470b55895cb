#include "key_order.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace isamck {

using tolvane::LoadBig;
using tolvane::LoadBigWidth;
using tolvane::LoadNative;
namespace layout = isam::layout;

void MakeKey(const Key& key, const Byte* record, Byte* to) {
  for (const KeyPart& part : key.parts) {
    const Byte* const from = record + part.start;
    std::size_t bytes = part.length;
    if (part.type == KeyType::kString) {
      bytes = static_cast<std::size_t>(std::find(from, from + part.length, Byte{0}) - from);
      std::fill(to + bytes, to + part.length, Byte{0});
    }
    std::copy_n(from, bytes, to);
    to += part.length;
  }
}

namespace {

// A NaN is smaller than any number, whichever side it stands on, and NaNs have the order of their
// bytes; a negative zero is smaller than a positive one.
template <typename Float>
int CompareFloats(const Byte* a, const Byte* b) {
  const auto x = LoadNative<Float>(a), y = LoadNative<Float>(b);
  if (x == 0 && y == 0) return std::signbit(x) == std::signbit(y) ? 0 : std::signbit(x) ? -1 : 1;
  if (std::isnan(x) && std::isnan(y)) return std::memcmp(a, b, sizeof(Float));
  if (std::isnan(y)) return 1;
  return x > y ? 1 : -1;
}

template <typename Integer>
int CompareNative(const Byte* a, const Byte* b) {
  return LoadNative<Integer>(a) > LoadNative<Integer>(b) ? 1 : -1;
}

// Two parts that differ first at byte `at` of the part.
int ComparePart(const KeyPart& part, const Byte* a, const Byte* b, std::size_t at) {
  // Parts may hold several units of a numeric type; the one that differs decides.
  constexpr std::size_t kUnits[] = {1, 2, 4, 8, 4, 2, 4, 1};
  const std::size_t unit =
      at / kUnits[static_cast<int>(part.type)] * kUnits[static_cast<int>(part.type)];
  switch (part.type) {
    case KeyType::kChar:
    case KeyType::kString:
      return a[at] - b[at];
    case KeyType::kInt:
    case KeyType::kLong:
      return at == 0 ? static_cast<std::int8_t>(a[at]) - static_cast<std::int8_t>(b[at])
                     : a[at] - b[at];
    case KeyType::kDouble:
      return CompareFloats<double>(a + unit, b + unit);
    case KeyType::kFloat:
      return CompareFloats<float>(a + unit, b + unit);
    case KeyType::kMachineInt:
      return CompareNative<std::int16_t>(a + unit, b + unit);
    case KeyType::kMachineLong:
      return CompareNative<std::int32_t>(a + unit, b + unit);
  }
  return 0;
}

}  // namespace

int CompareKeys(const Key& key, const Byte* a, const Byte* b) {
  const auto differ = std::mismatch(a, a + key.length, b);
  const auto at = static_cast<std::size_t>(differ.first - a);
  if (at == key.length) return 0;
  std::size_t start = 0;
  for (const KeyPart& part : key.parts) {
    if (at < start + part.length) {
      const int order = ComparePart(part, a + start, b + start, at - start);
      return part.descending ? -order : order;
    }
    start += part.length;
  }
  return 0;
}

bool IsNullKey(const Key& key, const Byte* bytes) {
  if (!key.has(kNullKey)) return false;
  for (const KeyPart& part : key.parts) {
    if (std::any_of(bytes, bytes + part.length, [&](Byte b) { return b != part.null_byte; }))
      return false;
    bytes += part.length;
  }
  return true;
}

namespace {

// Reads entries one after another.
class EntryReader {
 public:
  EntryReader(const Header& header, const Key& key, const std::vector<Byte>& bytes,
              std::size_t used)
      : header_(header), key_(key), bytes_(bytes), used_(used), current_(key.length) {}

  [[nodiscard]] bool at_end() const { return at_ == used_; }
  [[nodiscard]] std::size_t at() const { return at_; }
  [[nodiscard]] const std::vector<Byte>& current() const { return current_; }

  // False when the entry does not fit; `why` says how.
  bool Next(Entry& entry, std::string& why) {
    entry.offset = at_;
    if (!repeated_ && !ReadKey(why)) return false;
    const std::size_t counter = header_.counter_width(key_);
    if (at_ + counter + layout::tree_node::kPointerWidth > used_) {
      why = "an entry runs past the used bytes";
      return false;
    }
    entry.counter = static_cast<std::uint32_t>(LoadBigWidth(&bytes_[at_], counter));
    const auto pointer = LoadBig<std::uint32_t>(&bytes_[at_ + counter]);
    entry.pointer = pointer & ~layout::tree_node::kRepeatBit;
    repeated_ = (pointer & layout::tree_node::kRepeatBit) != 0;
    at_ += counter + layout::tree_node::kPointerWidth;
    if (repeated_ && at_end()) {
      why = "the last entry says that the next one repeats its key";
      return false;
    }
    return true;
  }

 private:
  bool ReadKey(std::string& why) {
    std::size_t leading = 0, trailing = 0;
    const std::size_t counts =
        std::size_t{key_.has(kLCompress)} + std::size_t{key_.has(kTCompress)};
    if (at_ + counts > used_) {
      why = "an entry runs past the used bytes";
      return false;
    }
    if (key_.has(kLCompress)) leading = bytes_[at_++];
    if (key_.has(kTCompress)) trailing = bytes_[at_++];
    if (leading + trailing > key_.length || (first_ && leading > 0)) {
      why = "a compressed key with " + std::to_string(leading) + " leading and " +
            std::to_string(trailing) + " trailing bytes of " + std::to_string(key_.length);
      return false;
    }
    const std::size_t middle = key_.length - leading - trailing;
    if (at_ + middle > used_) {
      why = "an entry runs past the used bytes";
      return false;
    }
    std::copy_n(&bytes_[at_], middle, current_.begin() + static_cast<std::ptrdiff_t>(leading));
    std::fill(current_.end() - static_cast<std::ptrdiff_t>(trailing), current_.end(),
              key_.has(kPadNull) ? Byte{0} : Byte{' '});
    at_ += middle;
    first_ = false;
    return true;
  }

  const Header& header_;
  const Key& key_;
  const std::vector<Byte>& bytes_;
  std::size_t used_;
  std::size_t at_ = layout::tree_node::kFirst;
  bool repeated_ = false;
  bool first_ = true;
  std::vector<Byte> current_;
};

}  // namespace

bool ParseTreeNode(const Header& header, const Key& key, const std::vector<Byte>& bytes,
                   TreeNode& node, std::string& why, std::size_t& offset) {
  node = {};
  node.level = bytes[header.node_size - layout::tree_node::kLevelFromEnd];
  node.used = LoadBig<std::uint16_t>(bytes.data());
  offset = 0;
  if (node.used < layout::tree_node::kFirst || node.used >= header.limit()) {
    why = "its used count is impossible: " + std::to_string(node.used);
    return false;
  }
  EntryReader reader(header, key, bytes, node.used);
  while (!reader.at_end()) {
    Entry entry;
    offset = reader.at();
    if (!reader.Next(entry, why)) return false;
    node.entries.push_back(entry);
    node.keys.insert(node.keys.end(), reader.current().begin(), reader.current().end());
  }
  return true;
}

std::vector<Byte> StoredKey(const Key& key, const Byte* previous, const Byte* bytes) {
  const bool same = previous != nullptr && std::equal(bytes, bytes + key.length, previous);
  if (same && key.has(kDCompress)) return {};
  std::vector<Byte> stored;
  std::size_t leading = 0, trailing = 0;
  if (key.has(kLCompress)) {
    if (previous != nullptr)
      leading = static_cast<std::size_t>(std::mismatch(bytes, bytes + key.length, previous).first -
                                         bytes);
    stored.push_back(static_cast<Byte>(leading));
  }
  if (key.has(kTCompress)) {
    const Byte pad = key.has(kPadNull) ? Byte{0} : Byte{' '};
    while (trailing < key.length - leading && bytes[key.length - 1 - trailing] == pad) ++trailing;
    stored.push_back(static_cast<Byte>(trailing));
  }
  stored.insert(stored.end(), bytes + leading, bytes + key.length - trailing);
  return stored;
}

}  // namespace isamck
