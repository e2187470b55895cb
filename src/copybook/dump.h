// Printed forms of what the stages make, for tests and for people: one line per token, field or
// record, the columns parted by blanks.
#pragma once

#include <string>

#include "copybook/expression.h"
#include "copybook/lexer.h"
#include "copybook/symbol_table.h"

namespace tolvane::copybook {

// Reads the lexer to its end: "3:12 W CUST-NO".
[[nodiscard]] std::string DumpTokens(Lexer& lexer);

// A line per record and per field:
//   RECORD CUSTOMER length 40
//     0    40 G 01 CUSTOMER
//     0     8 D   05 CUST-NO  digits 8
// with offset, length, letter, level and name; then what the field has of digits, decimals, sign,
// aux offset and length where they differ, bit, OCCURS, REDEFINES and conditions.
[[nodiscard]] std::string DumpLayout(const SymbolTable& table);

// "(CUST-TYPE EQ 'A' AND NOT-DUE GT N5)".
[[nodiscard]] std::string DumpExpression(const Expression& expression);

}  // namespace tolvane::copybook
