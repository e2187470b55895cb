// Data of 36-bit words, built word by word and independently of the program's own packing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tolvane::test {

using Words = std::vector<std::uint64_t>;

// Words packed two to nine bytes; an odd number is filled up with a word of zeros.
inline std::string Pack(const Words& words) {
  std::string bits;
  for (std::size_t i = 0; i < words.size() + words.size() % 2; ++i)
    for (int bit = 35; bit >= 0; --bit)
      bits += i < words.size() && (words[i] >> bit & 1) != 0 ? '1' : '0';
  std::string bytes;
  for (std::size_t i = 0; i < bits.size(); i += 8)
    bytes += static_cast<char>(std::stoi(bits.substr(i, 8), nullptr, 2));
  return bytes;
}

inline std::uint64_t Octal(const std::string& digits) { return std::stoull(digits, nullptr, 8); }

// Four quarter-words of 9 bits.
inline std::uint64_t Quarters(unsigned a, unsigned b, unsigned c, unsigned d) {
  return std::uint64_t{a} << 27 | std::uint64_t{b} << 18 | std::uint64_t{c} << 9 | d;
}
// Four 9-bit characters.
inline std::uint64_t Characters(std::string_view four) {
  const auto at = [four](std::size_t i) { return static_cast<unsigned char>(four[i]); };
  return Quarters(at(0), at(1), at(2), at(3));
}
// Six 6-bit characters; upper-case letters, digits, space, '*' and '-' only.
inline std::uint64_t Fieldata(std::string_view six) {
  std::uint64_t word = 0;
  for (const char c : six) {
    const int code = c == ' '   ? 5
                     : c == '*' ? 40
                     : c == '-' ? 33
                     : c <= '9' ? 48 + c - '0'
                                : 6 + c - 'A';
    word = word << 6 | static_cast<unsigned>(code);
  }
  return word;
}

inline Words operator+(Words a, const Words& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// An image of data behind its control word, and the control image that ends a file.
inline Words Image(const Words& data) { return Words{std::uint64_t{data.size()} << 24} + data; }
inline const std::uint64_t kEndOfRecord = std::uint64_t{052} << 30;
inline const std::uint64_t kContinued = std::uint64_t{053} << 30;
inline const std::uint64_t kEndOfFile = std::uint64_t{077} << 30;

// The label of an SDF data file.
inline Words SdfLabel(std::uint64_t words_of_record, std::uint64_t records,
                      const char* first = "503335000001") {
  Words label(28, 0);
  label[0] = Octal(first);
  label[4] = words_of_record;
  label[12] = records;
  return label;
}

// The header of a COPYG volume: the name of the form, the qualifier and the file name.
inline Words CopygHeader(std::string_view qualifier, std::string_view file) {
  Words header(28, 0);
  header[0] = Characters("COPY");
  header[1] = Characters("G   ");
  const auto name = [&header](std::size_t at, std::string text) {
    text.resize(12, ' ');
    header[at] = Fieldata(std::string_view(text).substr(0, 6));
    header[at + 1] = Fieldata(std::string_view(text).substr(6));
  };
  name(2, std::string(qualifier));
  name(4, std::string(file));
  return header;
}

// The blocks of a COPYG volume, each with its checksum.
inline std::string CopygBlocks(const Words& data) {
  constexpr std::size_t kWords = 1792;
  std::string blocks;
  for (std::size_t at = 0; at < data.size(); at += kWords) {
    Words block(2, 0);
    for (std::size_t i = at; i < at + kWords; ++i) block.push_back(i < data.size() ? data[i] : 0);
    std::uint64_t sum = 0;
    for (const std::uint64_t word : block) {
      sum += (word >> 18) + (word & 0777777);
      sum = (sum & 0777777) + (sum >> 18);
      sum = (sum & 0777777) + (sum >> 18);
    }
    block[0] = sum == 0777777 ? 0 : sum;
    blocks += Pack(block);
  }
  return blocks;
}

}  // namespace tolvane::test
