// An indexed file as the checker reads it: names, sizes, dictionary, key descriptions, nodes and
// slots, all by plain reads. Nothing here trusts what it reads and nothing writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "datarep/byte_order.h"
#include "isam/layout.h"

namespace isamck {

using tolvane::Byte;

// A file opened for reading; reads beyond its end give fewer bytes.
class ReadFile {
 public:
  ReadFile() = default;
  ~ReadFile();
  ReadFile(ReadFile&& other) noexcept;
  ReadFile& operator=(ReadFile&&) = delete;

  // False with errno set.
  [[nodiscard]] bool Open(const std::string& path, bool for_locks);
  // How many of the bytes were there; an I/O error counts as an end.
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, Byte* to, std::size_t bytes) const;
  [[nodiscard]] std::uint64_t size() const { return size_; }
  [[nodiscard]] int fd() const { return fd_; }
  [[nodiscard]] bool is_open() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
  std::uint64_t size_ = 0;
};

// The two files behind a name, by the rules of the engine: a link file redirects the name, the
// data file is NAME.dat or the bare name as ZORISAMDAT prefers. A name that ends in ".idx" or
// ".dat" stands for its base.
struct FileNames {
  std::string base, index, data;
};
[[nodiscard]] FileNames FindFiles(const std::string& name);

enum class KeyType { kChar, kInt, kLong, kDouble, kFloat, kMachineInt, kMachineLong, kString };
inline constexpr std::size_t kTypes = 8;

// Bytes of a value of a type; parts hold whole ones.
constexpr std::size_t UnitOf(KeyType type) {
  constexpr std::size_t kUnits[kTypes] = {1, 2, 4, 8, 4, 2, 4, 1};
  return kUnits[static_cast<std::size_t>(type)];
}

struct KeyPart {
  std::size_t start = 0;  // in the record
  std::size_t length = 0;
  KeyType type = KeyType::kChar;
  bool descending = false;
  Byte null_byte = 0;
};

// Key flags.
inline constexpr unsigned kDuplicates = 1;
inline constexpr unsigned kDCompress = 2;
inline constexpr unsigned kLCompress = 4;
inline constexpr unsigned kTCompress = 8;
inline constexpr unsigned kPadNull = 16;
inline constexpr unsigned kNullKey = 32;
// ... that say how keys are stored.
inline constexpr unsigned kStorageFlags = 30;
inline constexpr std::size_t kMostKeyBytes = 150;
inline constexpr std::size_t kMostParts = 8;

struct Key {
  unsigned flags = 0;
  std::uint32_t root = 0;
  std::vector<KeyPart> parts;  // none: the file has no primary key
  std::size_t length = 0;      // sum of the parts

  [[nodiscard]] bool has(unsigned flag) const { return (flags & flag) != 0; }
  [[nodiscard]] bool is_compressed() const { return has(kDCompress | kLCompress | kTCompress); }
};

// What the dictionary says, and the key descriptions.
struct Header {
  std::size_t node_size = 0;
  std::size_t duplicate_width = 2;
  std::size_t record_length = 0;
  std::size_t maximum_length = 0;  // variable-length files
  unsigned flags = 0;
  std::uint32_t key_node = 0;
  std::uint32_t key_count = 0;
  std::uint32_t free_data = 0, free_nodes = 0;
  std::uint32_t high_record = 0, high_node = 0;
  std::uint32_t change_counter = 0, unique_id = 0, audit = 0, schema1 = 0, schema2 = 0;
  std::vector<Key> keys;

  [[nodiscard]] std::size_t slot_length() const;
  // Where the slot of a record lies in the data file, and a node in the index file.
  [[nodiscard]] std::uint64_t slot_offset(std::uint64_t record) const {
    return (record - 1) * slot_length();
  }
  [[nodiscard]] std::uint64_t node_offset(std::uint32_t node) const {
    return (std::uint64_t{node} - 1) * node_size;
  }
  // Entries end before this offset of a node.
  [[nodiscard]] std::size_t limit() const { return node_size - isam::layout::kNodeTail; }
  // Bytes of the duplicate counter in the entries of a key's index.
  [[nodiscard]] std::size_t counter_width(const Key& key) const {
    return key.has(kDuplicates) ? duplicate_width : 0;
  }
};

// Reads the dictionary of an index file. Nothing when it cannot be one; `why` then says so.
[[nodiscard]] std::optional<Header> ReadDictionary(const ReadFile& index, std::string& why);

// Parses one key entry of `length` bytes; nothing when its values are impossible, `why` says so.
[[nodiscard]] std::optional<Key> ParseKeyEntry(const Byte* entry, std::size_t length,
                                               std::size_t record_length, std::string& why);

// Node `number`, its size long; false when the file does not hold it whole.
[[nodiscard]] bool ReadNode(const ReadFile& index, const Header& header, std::uint32_t number,
                            std::vector<Byte>& node);

}  // namespace isamck
