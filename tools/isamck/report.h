// What a check found: faults with their place, and the summary. Prints itself for people and for
// programs; this room decides nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace isamck {

enum class Status { kSound = 0, kFaulty = 1, kUnreadable = 2 };

struct Fault {
  const char* file = "index";  // "index" or "data"
  std::uint32_t node = 0;      // node or record number; 0: the file as a whole
  std::uint64_t offset = 0;    // in the node, or of the record's slot in the file
  std::string text;
};

struct IndexSummary {
  std::string description;  // "8 bytes at 0, unique"
  unsigned depth = 0;
  std::uint64_t nodes = 0, entries = 0, bytes_used = 0, bytes_usable = 0;
};

class Report {
 public:
  explicit Report(std::string name) : name_(std::move(name)) {}

  void Add(Fault fault);
  void AddIndexFault(std::uint32_t node, std::uint64_t offset, std::string text) {
    Add({"index", node, offset, std::move(text)});
  }
  void AddDataFault(std::uint32_t record, std::uint64_t offset, std::string text) {
    Add({"data", record, offset, std::move(text)});
  }
  // The file cannot be read at all.
  void Unreadable(std::string why);

  [[nodiscard]] Status status() const;
  [[nodiscard]] std::uint64_t faults() const { return fault_count_; }

  void PrintText() const;
  // One JSON object.
  void PrintJson() const;

  std::uint64_t live_records = 0, deleted_records = 0;
  std::uint64_t free_records = 0, free_nodes = 0;
  std::size_t node_size = 0, record_length = 0;
  std::vector<IndexSummary> indexes;

 private:
  std::string name_;
  std::string unreadable_;
  std::vector<Fault> shown_;  // the first of them
  std::uint64_t fault_count_ = 0;
};

}  // namespace isamck
