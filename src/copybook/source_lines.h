// The lines of a source file and the question whether they are in fixed or in free format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "copybook/source.h"

namespace tolvane::copybook {

enum class Format { kFree, kFixed };

// Columns of fixed format, counted from 0.
inline constexpr std::size_t kIndicatorColumn = 6;
inline constexpr std::size_t kTextColumn = 7;
inline constexpr std::size_t kTextEnd = 72;

struct SourceLine {
  std::string_view bytes;  // without its end
  std::uint32_t number = 0;

  // The byte that stands in a column, or the line's length; tabs reach to every eighth column.
  [[nodiscard]] std::size_t ByteAtColumn(std::size_t column) const;
  [[nodiscard]] std::size_t Width() const;  // columns
  [[nodiscard]] bool Blank() const;
  // The characters in columns 1 to 6, blank where the line or a tab leaves them so, and in 7.
  void Margin(char (&margin)[kTextColumn]) const;
};

// Cuts a text at LF and CR LF; what follows a closing 0x1A is left out.
[[nodiscard]] std::vector<SourceLine> SplitLines(std::string_view raw, std::uint32_t first_number);

// The format of the description that the lines hold, and the number of lines that belong to it; the
// lines after it, ID IS statements and grammar statements, are in free format.
struct Judgement {
  Format format = Format::kFree;
  std::size_t lines = 0;
};
[[nodiscard]] Judgement JudgeFormat(const std::vector<SourceLine>& lines, Reading reading);

}  // namespace tolvane::copybook
