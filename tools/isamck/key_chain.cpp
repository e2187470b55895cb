#include "key_chain.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace isamck {

using tolvane::LoadBig;
namespace layout = isam::layout;

void CheckMark(const Header& header, std::uint32_t node, const std::vector<Byte>& bytes,
               const std::array<std::uint8_t, 2>& mark, const std::string& what, Report& report) {
  const std::size_t at = header.node_size - layout::kMarkFromEnd;
  if (!std::equal(mark.begin(), mark.end(), bytes.begin() + static_cast<long>(at)))
    report.AddIndexFault(node, at, "it is not marked as " + what);
}

bool ReadKeys(const ReadFile& index, Header& header, Report& report,
              std::vector<std::uint32_t>* owners) {
  namespace n = layout::key_node;
  std::vector<Byte> bytes;
  std::vector<std::uint32_t> chain;
  std::uint32_t from = layout::kDictionaryNode;
  std::uint64_t offset = layout::dictionary::kKeyNode;
  for (std::uint32_t node = header.key_node; node != 0;) {
    if (std::find(chain.begin(), chain.end(), node) != chain.end() ||
        !ReadNode(index, header, node, bytes)) {
      report.AddIndexFault(from, offset,
                           "the key descriptions do not go on at node " + std::to_string(node));
      break;
    }
    chain.push_back(node);
    CheckMark(header, node, bytes, layout::kKeyNodeMark, "a key-description node", report);
    const std::size_t used = LoadBig<std::uint16_t>(&bytes[n::kUsed]);
    if (used < n::kFirst || used > header.limit()) {
      report.AddIndexFault(node, n::kUsed, "its used count is impossible: " + std::to_string(used));
      break;
    }
    for (std::size_t at = n::kFirst; at < used;) {
      const std::size_t length = LoadBig<std::uint16_t>(&bytes[at]);
      std::string why = "a key entry of " + std::to_string(length) + " bytes";
      std::optional<Key> key;
      if (length >= layout::key_entry::kNoPartsLeast && at + length <= used)
        key = ParseKeyEntry(&bytes[at], length, header.record_length, why);
      if (!key) {
        report.AddIndexFault(node, at, why);
        break;
      }
      header.keys.push_back(*std::move(key));
      at += length;
    }
    from = node;
    offset = n::kNext;
    node = LoadBig<std::uint32_t>(&bytes[n::kNext]);
  }
  if (owners != nullptr) *owners = std::move(chain);
  if (header.keys.size() == header.key_count) return true;
  report.AddIndexFault(layout::kDictionaryNode, layout::dictionary::kKeyCount,
                       "it counts " + std::to_string(header.key_count) + " keys, " +
                           std::to_string(header.keys.size()) + " are described");
  return false;
}

std::string DescribeKey(const Key& key) {
  if (key.parts.empty()) return "none";
  std::string text;
  for (const KeyPart& part : key.parts)
    text += (text.empty() ? "" : ", ") + std::to_string(part.length) +
            (text.empty() ? " bytes at " : " at ") + std::to_string(part.start) +
            (part.descending ? " descending" : "");
  text += key.has(kDuplicates) ? ", duplicates" : ", unique";
  if (key.is_compressed()) text += ", compressed";
  return text;
}

}  // namespace isamck
