// A folder in memory for targets that need files with names; one for each process.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace tolvane::fuzz {

inline std::string ScratchPath(const std::string& name) {
  static const std::string folder = [] {
    std::string made = "/dev/shm/fuzz.XXXXXX";
    if (mkdtemp(made.data()) == nullptr) std::abort();
    return made;
  }();
  return folder + "/" + name;
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size() ||
      std::fclose(file) != 0)
    std::abort();
}

inline std::string ReadFile(const std::string& path) {
  std::string bytes;
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) std::abort();
  for (int c = 0; (c = std::fgetc(file)) != EOF;) bytes += static_cast<char>(c);
  std::fclose(file);
  return bytes;
}

}  // namespace tolvane::fuzz
