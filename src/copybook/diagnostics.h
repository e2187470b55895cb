// Errors and warnings of the copybook compiler, each with its place, what was expected and the word
// found. The library prints nothing: a callback gets every diagnostic as it is found, and the
// counts tell afterwards whether the compilation succeeded. A `Diagnostics` serves one compilation
// and also knows its files by number, so that a `Place` stays small.
//
// Errors beyond kMaxErrors are neither reported nor counted; readers stop when `Full()`.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tolvane::copybook {

// A position in a source file as an editor shows it; lines and columns (bytes) count from 1.
struct Place {
  std::uint32_t file = 0;  // number within Diagnostics::files
  std::uint32_t line = 0;
  std::uint32_t column = 0;

  friend bool operator==(const Place&, const Place&) = default;
};

// From the first byte up to, not including, the byte at `end`.
struct Span {
  Place begin, end;
};

enum class Severity { kError, kWarning };

struct Diagnostic {
  Severity severity = Severity::kError;
  std::string file;
  Place place;
  std::string expected;  // "expected a full stop"
  std::string found;     // the word found, readable and cut to 60 characters; may be empty

  // "cust.cpy:3:12: error: expected a full stop, found 'PIC'"
  [[nodiscard]] std::string Text() const;
};

class Diagnostics {
 public:
  using Sink = std::function<void(const Diagnostic&)>;

  // Without a sink diagnostics are only counted.
  explicit Diagnostics(Sink sink = {}) : sink_(std::move(sink)) {}

  // The number by which places of that file name it. A file that is read twice has two.
  std::uint32_t AddFile(std::string name);
  [[nodiscard]] const std::vector<std::string>& files() const { return files_; }
  // Empty for the place of no file.
  [[nodiscard]] std::string FileOf(const Place& place) const;

  // `expected` is the whole message ("expected a full stop"); `found` is the word that stood there,
  // made readable and cut. Warnings beyond kMaxErrors are counted and not reported.
  void Error(const Place& place, std::string_view expected, std::string_view found = {});
  void Warning(const Place& place, std::string_view expected, std::string_view found = {});

  [[nodiscard]] std::size_t errors() const { return errors_; }
  [[nodiscard]] std::size_t warnings() const { return warnings_; }
  [[nodiscard]] bool Full() const;

 private:
  void Report(Severity severity, const Place& place, std::string_view expected,
              std::string_view found);

  Sink sink_;
  std::vector<std::string> files_;
  std::size_t errors_ = 0;
  std::size_t warnings_ = 0;
};

}  // namespace tolvane::copybook
