#include "copybook/diagnostics.h"

#include "copybook/settings.h"

namespace tolvane::copybook {
namespace {

constexpr std::size_t kMaxFound = 60;

// Control characters as \xHH, so that a binary file cannot upset a terminal.
std::string Readable(std::string_view found) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const char c : found.substr(0, kMaxFound)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte < 0x7F) {
      text += c;
    } else {
      text += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  if (found.size() > kMaxFound) text += "...";
  return text;
}

}  // namespace

std::string Diagnostic::Text() const {
  std::string text = file + ":" + std::to_string(place.line) + ":" + std::to_string(place.column);
  text += severity == Severity::kError ? ": error: " : ": warning: ";
  text += expected;
  if (!found.empty()) text += ", found '" + found + "'";
  return text;
}

std::uint32_t Diagnostics::AddFile(std::string name) {
  files_.push_back(std::move(name));
  return static_cast<std::uint32_t>(files_.size() - 1);
}

std::string Diagnostics::FileOf(const Place& place) const {
  return place.file < files_.size() ? files_[place.file] : std::string();
}

void Diagnostics::Error(const Place& place, std::string_view expected, std::string_view found) {
  if (Full()) return;
  ++errors_;
  Report(Severity::kError, place, expected, found);
}

void Diagnostics::Warning(const Place& place, std::string_view expected, std::string_view found) {
  if (++warnings_ <= kMaxErrors) Report(Severity::kWarning, place, expected, found);
}

bool Diagnostics::Full() const { return errors_ >= kMaxErrors; }

void Diagnostics::Report(Severity severity, const Place& place, std::string_view expected,
                         std::string_view found) {
  if (!sink_) return;
  sink_({severity, FileOf(place), place, std::string(expected), Readable(found)});
}

}  // namespace tolvane::copybook
