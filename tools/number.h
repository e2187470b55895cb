// Whole numbers on the command lines of the tools.
#pragma once

#include <charconv>
#include <cstddef>
#include <optional>
#include <string_view>
#include <system_error>

namespace tolvane {

// The number that a word is; none when it is anything else, a sign included.
[[nodiscard]] inline std::optional<std::size_t> NumberOf(std::string_view word) {
  std::size_t number = 0;
  const char* const end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, number);
  if (error != std::errc() || stop != end || word.empty()) return std::nullopt;
  return number;
}

}  // namespace tolvane
