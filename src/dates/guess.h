// Guesses which date layouts a number may follow.
#pragma once

#include <cstdint>
#include <string>

namespace tolvane {

// Marks beside the layout letters.
inline constexpr char kGuessBlank = ' ';
inline constexpr char kGuessZeros = '0';
inline constexpr char kGuessNines = '9';
inline constexpr char kGuessUnknown = 'X';

// The layout letters that a value of a field with so many digits fits, each once; or one of the
// marks; nothing when such fields are not guessed. A value that fits several layouts counts for
// each.
[[nodiscard]] std::string GuessLayouts(std::int64_t value, int digits, bool packed);

}  // namespace tolvane
