// Changes clauses of a copybook in fixed format: text in columns 8 to 72, sequence numbers before
// and behind it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "copybook/diagnostics.h"

namespace tolvane {

class CopybookEditor {
 public:
  // False when the file can not be read.
  [[nodiscard]] bool Read(const std::string& path);

  // The words of a clause make way for others; with none, for blanks. The same change made twice
  // counts once.
  void Replace(const copybook::Span& clause, const std::string& words);
  // Adds a clause in front of the full stop that ends an entry, on a line of its own.
  void AddClause(const copybook::Span& entry, const std::string& clause);
  // The text of a clause, when it stands on one line; else nothing.
  [[nodiscard]] std::string TextOf(const copybook::Span& clause) const;

  // Writes the lines from `first` to `last` (0: to the end). False when that failed.
  [[nodiscard]] bool Write(const std::string& path, std::uint32_t first = 1,
                           std::uint32_t last = 0) const;

 private:
  struct Edit {
    std::size_t end;  // one past the bytes replaced; their begin is the key
    std::string text;
    bool is_clause;  // added before the full stop that stands there
  };
  using Edits = std::map<std::size_t, Edit>;

  [[nodiscard]] std::size_t TextEnd(std::uint32_t line) const;
  [[nodiscard]] std::string Edited(const std::string& line, const Edits& edits) const;

  std::vector<std::string> lines_;
  std::map<std::uint32_t, Edits> edits_;  // by line, counted from 1
};

}  // namespace tolvane
