// Conversion of files of 9-bit characters, packed as 36-bit words, to 8-bit characters.
#pragma once

#include <string>

namespace tolvane {

// Keeps the low 8 bits of each character of `input` and writes them to `output`, a block of 2,880
// bytes at a time. With `as_print_text` each block is rewritten as lines of print text. Prints its
// own messages; what was written before a failure stays.
void ConvertNineToEight(const std::string& input, const std::string& output, bool as_print_text);

}  // namespace tolvane
