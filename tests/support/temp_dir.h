// A directory of the test's own, removed with everything in it, and verbs for the files in it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tolvane::test {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // The full path of a file or directory in it (the directory itself for an empty name).
  [[nodiscard]] std::string Path(std::string_view name = "") const;

  void WriteFile(std::string_view name, std::string_view content) const;
  [[nodiscard]] std::string ReadFile(std::string_view name) const;
  [[nodiscard]] bool Exists(std::string_view name) const;
  void CutAt(std::string_view name, std::size_t length) const;
  void SetByte(std::string_view name, std::size_t offset, unsigned char value) const;

 private:
  std::string path_;
};

// "F1 C2" -> the two bytes; blanks are ignored.
[[nodiscard]] std::string FromHex(std::string_view hex);
// The two bytes -> "F1 C2".
[[nodiscard]] std::string ToHex(std::string_view bytes);
// "F1C2" -> "F1 C2", however its blanks stand.
[[nodiscard]] inline std::string Hex(std::string_view loose) { return ToHex(FromHex(loose)); }

}  // namespace tolvane::test
