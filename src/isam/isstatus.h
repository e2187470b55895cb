// Error numbers as texts and in COBOL's words.
#pragma once

#include <string_view>

namespace isam {

// An error number and a status hint packed into one word, with the four status characters.
[[nodiscard]] int PackError(int error, char hint);
// Takes a word apart: fills four status characters, returns the error number.
int isCobolErr(int word, char* status);

}  // namespace isam
