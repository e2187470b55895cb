// Creation of the indexed output file and of its alternate indexes, with the questions about it.
//
// Reads and settles the option set (outfile, sizes, key table). An indexed file called N is the
// pair N.dat and N.idx, and a symbolic link N to the data file. Every operation prints its own
// messages and returns 1, or 0 when the run must stop.
#pragma once

#include <cstdint>

namespace tolvane {

// Asks for what the options left open of the keys and creates the file with its prime key.
[[nodiscard]] int PrepareIndexedFile();

// Creates the file with its prime key, closed again; on an existing one asks whether to overwrite
// it or to merge into it.
[[nodiscard]] int CreateIndexedFile();

// Adds the alternate keys from what the file holds. The first that cannot be added is reported and
// ends the adding, and those behind it are named. 0 when the file did not open, or a question about
// a key went unanswered.
[[nodiscard]] int AddIndexes();

// Whether an alternate key without duplicates is described, which is built with the file.
[[nodiscard]] bool HasUniqueAlternateKey();

// Bytes of a record of the output file.
[[nodiscard]] std::int32_t OutputRecordLength();

}  // namespace tolvane
