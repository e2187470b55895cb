#include "report.h"

#include <cinttypes>
#include <cstdio>

#include "json.h"

namespace isamck {

using tools::Json;

namespace {

constexpr std::size_t kMostShown = 100;

unsigned Percent(std::uint64_t part, std::uint64_t whole) {
  return whole == 0 ? 0 : static_cast<unsigned>((part * 100 + whole / 2) / whole);
}

const char* const kStatusNames[] = {"sound", "faulty", "unreadable"};

}  // namespace

void Report::Add(Fault fault) {
  ++fault_count_;
  if (shown_.size() < kMostShown) shown_.push_back(std::move(fault));
}

void Report::Unreadable(std::string why) { unreadable_ = std::move(why); }

Status Report::status() const {
  if (!unreadable_.empty()) return Status::kUnreadable;
  return fault_count_ > 0 ? Status::kFaulty : Status::kSound;
}

void Report::PrintText() const {
  const char* const name = name_.c_str();
  if (!unreadable_.empty()) {
    std::printf("%s: unreadable: %s\n", name, unreadable_.c_str());
    return;
  }
  for (const Fault& fault : shown_) {
    const bool in_index = fault.file[0] == 'i';
    if (fault.node == 0) {
      std::printf("%s: %s file: %s\n", name, fault.file, fault.text.c_str());
    } else {
      std::printf("%s: %s %" PRIu32 ", offset %" PRIu64 ": %s\n", name,
                  in_index ? "node" : "record", fault.node, fault.offset, fault.text.c_str());
    }
  }
  if (fault_count_ > shown_.size())
    std::printf("%s: and %" PRIu64 " more faults\n", name, fault_count_ - shown_.size());
  std::printf("%s: %s, %" PRIu64 " records, %" PRIu64 " deleted, %" PRIu64
              " record numbers and %" PRIu64 " nodes free\n",
              name, kStatusNames[static_cast<int>(status())], live_records, deleted_records,
              free_records, free_nodes);
  for (std::size_t i = 0; i < indexes.size(); ++i) {
    const IndexSummary& index = indexes[i];
    std::printf("%s: key %zu: %s; depth %u, %" PRIu64 " nodes %u%% full, %" PRIu64 " entries\n",
                name, i + 1, index.description.c_str(), index.depth, index.nodes,
                Percent(index.bytes_used, index.bytes_usable), index.entries);
  }
}

void Report::PrintJson() const {
  std::printf("{\"file\": %s, \"status\": \"%s\"", Json(name_).c_str(),
              kStatusNames[static_cast<int>(status())]);
  if (!unreadable_.empty()) {
    std::printf(", \"why\": %s}", Json(unreadable_).c_str());
    return;
  }
  std::printf(", \"faults\": %" PRIu64 ", \"shown\": [", fault_count_);
  for (std::size_t i = 0; i < shown_.size(); ++i)
    std::printf("%s{\"in\": \"%s\", \"number\": %" PRIu32 ", \"offset\": %" PRIu64
                ", \"text\": %s}",
                i == 0 ? "" : ", ", shown_[i].file, shown_[i].node, shown_[i].offset,
                Json(shown_[i].text).c_str());
  std::printf("], \"records\": %" PRIu64 ", \"deleted\": %" PRIu64 ", \"free_records\": %" PRIu64
              ", \"free_nodes\": %" PRIu64
              ", \"node_size\": %zu, \"record_length\": %zu, \"keys\": [",
              live_records, deleted_records, free_records, free_nodes, node_size, record_length);
  for (std::size_t i = 0; i < indexes.size(); ++i) {
    const IndexSummary& index = indexes[i];
    std::printf("%s{\"key\": %s, \"depth\": %u, \"nodes\": %" PRIu64
                ", \"fill\": %u, "
                "\"entries\": %" PRIu64 "}",
                i == 0 ? "" : ", ", Json(index.description).c_str(), index.depth, index.nodes,
                Percent(index.bytes_used, index.bytes_usable), index.entries);
  }
  std::printf("]}");
}

}  // namespace isamck
