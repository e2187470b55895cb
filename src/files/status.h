// The status of an indexed file, and the words for the error numbers of the engine and the system.
#pragma once

#include <span>
#include <string>

#include "datarep/byte_order.h"

namespace tolvane {

// Shows record size, number of records and keys of opt.outfile. Messages for what goes wrong.
void DisplayFileStatus();

// Prints the message for an error number met with the file `name`; for a duplicate key (100) the
// record is filed and the run can go on.
void InterpretIsamError(int error, const std::string& name, std::span<const Byte> record);

}  // namespace tolvane
