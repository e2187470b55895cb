// Literals as VALUE clauses and conditions hold them.
#pragma once

#include <string>

#include "copybook/lexer.h"

namespace tolvane::copybook {

struct Literal {
  char kind = 0;            // 'N' numeric, 'S' string, 'X' 'H' hexadecimal, 'O' octal, 'G' national
  char sign = ' ';          // '+' or '-' before a numeric literal
  bool all = false;         // repeated to the length of what it is compared with or moved to
  bool figurative = false;  // SPACES, ZERO and their like; `text` is the one character repeated
  std::string text;         // digits of hexadecimal and octal literals as written
  Place place;
};

// Whether a literal begins with the lexer's current token (a literal, a sign before a number, ALL,
// a figurative constant).
[[nodiscard]] bool AtLiteral(const Lexer& lexer);

// Reads the literal that the current token begins, with the parts that '&' joins, and leaves its
// last token current. False, reported, when a sign or ALL is followed by something else or when the
// digits do not suit the kind.
//
// Strings and X literals may be joined; the result is a string then.
[[nodiscard]] bool ReadLiteral(Lexer& lexer, Diagnostics& diagnostics, Literal& literal);

// The bytes that an even number of hexadecimal digits stand for.
[[nodiscard]] std::string HexBytes(std::string_view digits);

}  // namespace tolvane::copybook
