// The key descriptions of an index file: a chain of marked nodes.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "index_file.h"
#include "report.h"

namespace isamck {

// Reads the chain of key descriptions into header.keys, adding faults to the report. `owners`,
// when given, receives the numbers of the chain's nodes. False when descriptions are missing.
bool ReadKeys(const ReadFile& index, Header& header, Report& report,
              std::vector<std::uint32_t>* owners);

// "8 bytes at 0, 4 at 20, duplicates"
[[nodiscard]] std::string DescribeKey(const Key& key);

// Adds a fault when a node, with these bytes, does not have the mark that makes it `what`.
void CheckMark(const Header& header, std::uint32_t node, const std::vector<Byte>& bytes,
               const std::array<std::uint8_t, 2>& mark, const std::string& what, Report& report);

}  // namespace isamck
