// The files that a restore may write beside its output: rejected duplicates (".dups"), binary data
// met in text (".rpt") and records that match no condition (".bad"). Each is opened when the first
// entry comes and stays open for the rest of the run. None of these operations fails the run: a
// file that cannot be opened is reported and the entry dropped. A duplicate that could not be filed
// is counted: the record is nowhere else.
//
// Reads the option set (output name, keys) and the run's counters. Records are numbered from 1,
// as nCurrOutputRec + 1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "datarep/byte_order.h"

namespace tolvane {

// What is added to the output's name.
inline constexpr const char* kDuplicatesReport = ".dups";
inline constexpr const char* kBinaryReport = ".rpt";
inline constexpr const char* kNonMatchingReport = ".bad";

// Files a rejected duplicate: the record, filled with blanks up to gblRecSize bytes, and a line
// feed. Shows its prime key.
void FileDuplicate(std::span<const Byte> record);

// How many of them did not come into their file.
[[nodiscard]] std::int64_t UnfiledDuplicates();

// One entry for the byte at `offset` of the record, which is no text.
void WriteErrorMessageOnBinaryData(std::span<const Byte> record, std::size_t offset);

// One entry for a record that matched no condition.
void writeBadMsg(std::span<const Byte> record);

// Writes out what the reports hold back.
void FlushReports();

}  // namespace tolvane
