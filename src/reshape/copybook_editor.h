// Changes clauses of a copybook and adds entries to it. Its format is judged as the reader of
// copybooks judges it: in fixed format the text stands in columns 8 to 72, with sequence numbers
// before and identification behind it, and lines are broken that become too long; in free format
// all is text. Lines keep their ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "copybook/diagnostics.h"

namespace tolvane {

class CopybookEditor {
 public:
  // A file of its own; with `description` a grammar file, in which the description begins there and
  // what stands before it on its line is dropped. False when the file can not be read.
  [[nodiscard]] bool Read(const std::string& path, const copybook::Place* description);

  // The words of a clause make way for others; with none, for blanks. The same change made twice
  // counts once.
  void Replace(const copybook::Span& clause, const std::string& words);
  // Adds a clause in front of the full stop that ends an entry, on a line of its own.
  void AddClause(const copybook::Span& entry, const std::string& clause);
  // Adds an entry, with its full stop, at a place between two others, on a line of its own.
  void AddEntry(const copybook::Place& place, const std::string& entry);
  // The text of a clause, when it stands on one line; else nothing.
  [[nodiscard]] std::string TextOf(const copybook::Span& clause) const;

  // The first line that would have to change in two ways; 0: there is none.
  [[nodiscard]] std::uint32_t FindConflict() const;
  // The lines from `first` to `last` (0: to the end) as they have become.
  [[nodiscard]] std::string Text(std::uint32_t first = 1, std::uint32_t last = 0) const;

 private:
  enum class Kind { kWords, kClause, kEntry };
  struct Edit {
    std::size_t end;  // one past the bytes replaced; their begin is the key
    std::string text;
    Kind kind;

    friend bool operator==(const Edit&, const Edit&) = default;
  };
  using Edits = std::map<std::size_t, Edit>;
  struct Line {
    std::string text;
    std::string ending;  // "\n" or "\r\n"
  };

  [[nodiscard]] bool IsFixed(std::uint32_t line) const { return line >= fixed_from_; }
  [[nodiscard]] bool IsComment(std::uint32_t line) const;
  [[nodiscard]] std::size_t TextBegin(std::uint32_t line) const;
  [[nodiscard]] std::size_t TextEnd(std::uint32_t line) const;
  [[nodiscard]] const std::string& TextAt(std::uint32_t line) const {
    return lines_.at(line - 1).text;
  }
  void Put(std::uint32_t line, std::size_t begin, Edit edit);
  [[nodiscard]] std::vector<std::string> Edited(std::uint32_t line, const Edits& edits) const;

  std::vector<Line> lines_;
  std::uint32_t fixed_from_ = 0;          // the first line in fixed format
  std::map<std::uint32_t, Edits> edits_;  // by line, counted from 1
  std::uint32_t conflict_ = 0;
};

}  // namespace tolvane
