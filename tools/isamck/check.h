// The full check of one indexed file: dictionary, key descriptions, every node and entry, the order
// within and across nodes, each live record exactly once in each index with the right key, the
// free lists, and the account of all numbers.
#pragma once

#include "index_file.h"
#include "report.h"

namespace isamck {

// Checks the file behind `names` and adds what it finds to the report.
void CheckFile(const FileNames& names, Report& report);

}  // namespace isamck
