// What the tools' reports in JSON are made of.
#pragma once

#include <cstdio>
#include <string>

namespace tools {

// A text as a JSON string. Bytes that are no ASCII stand as the character of their code.
[[nodiscard]] inline std::string Json(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x", code);
    quoted += code < 0x20 || code >= 0x7F || c == '"' || c == '\\' ? escape : std::string(1, c);
  }
  return quoted + "\"";
}

}  // namespace tools
