#include "driver/nine_to_eight.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "datarep/byte_order.h"
#include "media/input_stream.h"
#include "media/output_stream.h"
#include "media/splitbit.h"
#include "platform/console.h"
#include "platform/paths.h"
#include "platform/trace.h"

namespace tolvane {
namespace {

constexpr std::size_t kBlockBytes = 2880;
constexpr std::size_t kBlockCharacters = kBlockBytes * kGroupQuarters / kGroupBytes;
constexpr std::size_t kPrintHeader = 316;  // dropped from the front of print text
constexpr std::size_t kLookAhead = 4;
constexpr std::string_view kNewPage = "L,1.";

// The characters of a block, a last group of fewer than 9 bytes included.
std::size_t UnpackBlock(std::span<const Byte> block, Byte* to) {
  const std::size_t groups = block.size() / kGroupBytes;
  UnpackGroups(block.data(), groups, to);
  std::array<Byte, kGroupBytes> last{};
  std::copy(block.begin() + static_cast<std::ptrdiff_t>(groups * kGroupBytes), block.end(),
            last.begin());
  UnpackGroups(last.data(), 1, to + groups * kGroupQuarters);
  return block.size() * kGroupQuarters / kGroupBytes;
}

bool IsPrintable(Byte c) { return c >= 32 && c <= 127; }

// Drops the header that stands before the text of a file from its first block.
void DropPrintHeader(std::vector<Byte>& text, std::size_t count) {
  const std::size_t dropped = std::min(kPrintHeader, count);
  std::copy(text.begin() + static_cast<std::ptrdiff_t>(dropped),
            text.begin() + static_cast<std::ptrdiff_t>(count), text.begin());
  std::fill(text.begin() + static_cast<std::ptrdiff_t>(count - dropped), text.end(), Byte{0});
}

// Rewrites `count` characters as print text. `text` holds the characters and reads as zero behind
// them; `first` tells the first block of a file.
std::vector<Byte> AsPrintText(std::vector<Byte>& text, std::size_t count, bool first) {
  if (first) DropPrintHeader(text, count);
  const auto at = [&text](std::size_t i) { return i < text.size() ? text[i] : Byte{0}; };
  const auto begins_page = [&](std::size_t i) {
    for (std::size_t k = 0; k < kNewPage.size(); ++k)
      if (at(i + k) != static_cast<Byte>(kNewPage[k])) return false;
    return true;
  };
  std::vector<Byte> out(count);
  std::size_t filled = 0;
  for (std::size_t i = 0; filled < count; ++i) {
    if (begins_page(i)) {
      if (!first) out[filled] = '\f';
      ++filled;
      i += kNewPage.size();
      if (filled == count) break;
    }
    const Byte c = at(i);
    const bool before_a = at(i + 3) == 'A';
    if (IsPrintable(c)) {
      if (c >= 'H' && c <= 'K' && before_a && at(i + 4) == ' ') {
        i += kLookAhead - 1;
      } else {
        out[filled++] = c;
      }
    } else if (before_a) {
      out[filled++] = '\n';
      i += kLookAhead - 1;
    } else {
      out[filled++] = ' ';
    }
  }
  return out;
}

}  // namespace

void ConvertNineToEight(const std::string& input, const std::string& output, bool as_print_text) {
  TRACE_FRAME();
  if (IsSameFile(input, output)) {
    PrintError("Input and output are the same file: '%s'\n", input.c_str());
    return;
  }
  OutputStream out("Block");
  if (!out.Open(output)) return PrintError("Error opening outfile: %s\n", std::strerror(errno));
  InputStream in;
  if (!in.Open(input)) return PrintError("Error opening infile: %s\n", std::strerror(errno));
  std::vector<Byte> text(kBlockCharacters + kGroupQuarters);
  for (bool first = true;; first = false) {
    std::span<const Byte> block = in.Peek(kBlockBytes);
    if (block.empty()) break;
    block = block.first(std::min(block.size(), kBlockBytes));
    const std::size_t count = UnpackBlock(block, text.data());
    in.Skip(block.size());
    std::fill(text.begin() + static_cast<std::ptrdiff_t>(count), text.end(), Byte{0});
    if (as_print_text) {
      std::vector<Byte> printed = AsPrintText(text, count, first);
      std::copy(printed.begin(), printed.end(), text.begin());
    }
    if (!out.WriteAtOnce(text.data(), count))
      return PrintError("Error writing out 9 to 8 file: %s\n", std::strerror(errno));
  }
  if (in.error() != 0) PrintError("Error reading infile: %s\n", std::strerror(in.error()));
  if (!out.Close()) PrintError("Error writing out 9 to 8 file: %s\n", std::strerror(errno));
}

}  // namespace tolvane
