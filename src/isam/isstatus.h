// Error numbers as texts and in COBOL's words. The public status variables have their home here;
// the frames of the calls (ispublic) set them.
//
// An error word is the error number plus 1, and below it the four status characters as their
// distances from '/', 4 bits each, the first one highest.
#pragma once

namespace isam {

// The word of an error number. `hint`, from the place of the failure, refines the status of some
// errors; '/' for none.
[[nodiscard]] int PackError(int error, char hint);
// Takes a word apart: fills four status characters, returns the error number. A number without
// status gets "9090", and 0 blanks.
int isCobolErr(int word, char* status);

}  // namespace isam
