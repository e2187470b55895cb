// The full check of one indexed file: dictionary, key descriptions, every node and entry, the order
// within and across nodes, each live record exactly once in each index with the right key, the
// free lists, and the account of all numbers.
#pragma once

#include <vector>

#include "index_file.h"
#include "key_order.h"
#include "report.h"

namespace isamck {

// Checks the file behind `names` and adds what it finds to the report.
void CheckFile(const FileNames& names, Report& report);

// Reads the chain of key descriptions into header.keys, adding faults to the report. `owners`,
// when given, receives the numbers of the chain's nodes. False when descriptions are missing.
bool ReadKeys(const ReadFile& index, Header& header, Report& report,
              std::vector<std::uint32_t>* owners);

// "8 bytes at 0, 4 at 20, duplicates"
[[nodiscard]] std::string DescribeKey(const Key& key);

}  // namespace isamck
