#include "support/temp_dir.h"

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace tolvane::test {

namespace fs = std::filesystem;

TempDir::TempDir() {
  std::string pattern = (fs::temp_directory_path() / "tolvane-test-XXXXXX").string();
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = name.data();
}

TempDir::~TempDir() {
  std::error_code ignored;
  for (const auto& entry : fs::recursive_directory_iterator(path_, ignored))
    if (entry.is_directory(ignored) && !entry.is_symlink(ignored))
      fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add, ignored);
  fs::remove_all(path_, ignored);
}

std::string TempDir::Path(std::string_view name) const {
  return name.empty() ? path_ : path_ + "/" + std::string(name);
}

void TempDir::WriteFile(std::string_view name, std::string_view content) const {
  std::ofstream out(Path(name), std::ios::binary | std::ios::trunc);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
  if (!out.flush()) throw std::runtime_error("cannot write " + Path(name));
}

std::string TempDir::ReadFile(std::string_view name) const {
  std::ifstream in(Path(name), std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + Path(name));
  return {std::istreambuf_iterator<char>(in), {}};
}

bool TempDir::Exists(std::string_view name) const {
  return fs::exists(fs::symlink_status(Path(name)));
}

void TempDir::CutAt(std::string_view name, std::size_t length) const {
  fs::resize_file(Path(name), length);
}

void TempDir::SetByte(std::string_view name, std::size_t offset, unsigned char value) const {
  std::fstream file(Path(name), std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(static_cast<std::streamoff>(offset));
  file.put(static_cast<char>(value));
  if (!file.flush()) throw std::runtime_error("cannot change " + Path(name));
}

std::string FromHex(std::string_view hex) {
  std::string bytes, digits;
  for (const char c : hex) {
    if (std::isspace(static_cast<unsigned char>(c)) != 0) continue;
    digits += c;
    if (digits.size() == 2) {
      bytes += static_cast<char>(std::stoi(digits, nullptr, 16));
      digits.clear();
    }
  }
  if (!digits.empty()) throw std::invalid_argument("odd number of hex digits");
  return bytes;
}

std::string ToHex(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string hex;
  for (const char c : bytes) {
    if (!hex.empty()) hex += ' ';
    hex += kDigits[static_cast<unsigned char>(c) >> 4];
    hex += kDigits[c & 15];
  }
  return hex;
}

}  // namespace tolvane::test
