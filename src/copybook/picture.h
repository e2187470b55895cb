// PICTURE analysis: from the characters of a picture to the class, the size and the digits of the
// item. Which symbol may stand after which others is a table in picture.cpp.
//
// Accepted: X A 9 S V P Z * + - CR DB B 0 / , . N G 1 and the currency sign, in upper or lower
// case, each with a repeat count in parentheses. Not accepted: E (external floating point) and
// currency signs of more than one character.
#pragma once

#include <cstdint>
#include <string_view>

#include "copybook/settings.h"

namespace tolvane::copybook {

enum class Category : unsigned char {
  kNone,  // no picture
  kAlphabetic,
  kAlphanumeric,
  kAlphanumericEdited,
  kNumeric,
  kNumericEdited,
  kBoolean,
  kNational
};

struct Picture {
  Category category = Category::kNone;
  std::int64_t size = 0;  // character positions; bits for kBoolean
  int digits = 0;         // digit positions that are stored
  int decimals = 0;       // digits right of the decimal point; negative for P at the right
  bool is_signed = false;
};

struct PictureError {
  std::size_t at = 0;  // offset in the picture of the symbol that is wrong
  std::string_view expected;
};

// `text` is the picture as written, at most kMaxPictureText characters. False with `error` set, and
// `picture` in no certain state, when it is wrong.
[[nodiscard]] bool AnalyzePicture(std::string_view text, const Settings& settings, Picture& picture,
                                  PictureError& error);

}  // namespace tolvane::copybook
