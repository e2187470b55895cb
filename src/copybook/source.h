// From the lines of a source file to the text that the lexer reads: comment lines, sequence numbers
// and identification taken away, continuation lines joined, one '\n' per line that is left. Every
// byte of it knows its place in the file.
//
// Fixed format (columns 1-6 sequence number, 7 indicator, 8-72 text, tabs to every eighth column)
// and free format are told apart by the text itself; docs/copybooks.md has the rules. In both, '*'
// before anything else on a line and "*>" anywhere begin a comment. Debugging lines ('D' in column
// 7) are comments. A line >>SOURCE FORMAT or $SET SOURCEFORMAT that names FREE or FIXED decides for
// the whole text.
//
// Nothing fails here: a literal that is not closed, or a byte that no token begins with, is left
// for the lexer to report.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "copybook/diagnostics.h"

namespace tolvane::copybook {

// What a text is read as.
enum class Reading {
  kFree,      // grammar statements: free format
  kCopybook,  // a file of its own
  kInline     // a data description inside a grammar file; free again after its last line
};

class SourceText {
 public:
  SourceText() = default;

  // `raw` from the byte `begin` on, which stands at the line and column of `start`. The rest of the
  // first line is free format where it does not begin in column 1.
  SourceText(std::string_view raw, std::size_t begin, const Place& start, Reading reading);

  [[nodiscard]] const std::string& text() const { return text_; }
  // Where a byte of text(), or its end, stands in the file.
  [[nodiscard]] Place PlaceAt(std::size_t offset) const;

  // Adds bytes that all stand on one line, from `place` on.
  void Append(std::string_view bytes, const Place& place);
  // Adds a part of another text with its places.
  void AppendFrom(const SourceText& other, std::size_t begin, std::size_t end);

 private:
  friend class SourceForm;

  struct Segment {
    std::size_t offset;
    Place place;
  };
  std::string text_;
  std::vector<Segment> segments_;  // by ascending offset
};

}  // namespace tolvane::copybook
