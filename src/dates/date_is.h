// DATE IS: date fields with two-digit years become dates with four-digit ones, and the record grows
// by that. A DATE IS record hangs on its field of the copybook; the record's expansion is compiled
// from the copybook once.
//
// A field of text gets its century before the year. A packed or binary one becomes the size of
// GetExtPackedDateSize and GetExtBinDateSize, with its sign and value; one that is no number gets
// the fill of the ALL entry that holds for it, else it is carried over right-justified and reported
// once. A redefinition grows with what it redefines, to the larger of both.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "convert/record_plan.h"
#include "copybook/symbol_table.h"
#include "datarep/byte_order.h"
#include "dates/date_statements.h"

namespace tolvane {

struct DateIsRecord : copybook::Attachment {
  char format = 0;  // layout letter
  std::vector<DateWindow> windows;
  std::string otherwise;
};

// Checks a statement against the copybook and attaches its record. 0, or -1 after a message.
[[nodiscard]] int SaveDateIsField(copybook::SymbolTable& table, const DateIsStatement& statement);

// The DATE IS record of a field; null: none.
[[nodiscard]] const DateIsRecord* DateIsOf(const copybook::Field& field);

// Bytes after the expansion, all occurrences together; of a group with its members.
[[nodiscard]] std::int64_t GetExpandedFieldSize(const copybook::Field& field);
// Bytes of the longest record after the expansion.
[[nodiscard]] std::int64_t GetExpandedRecordSize(const copybook::SymbolTable& table);

class RecordExpander {
 public:
  // Where a byte of the converted record lies in the record to be expanded.
  using Moved = std::function<std::size_t(std::size_t)>;

  // `moved` is for records that have grown already. They are EBCDIC with `ebcdic`.
  RecordExpander(const copybook::SymbolTable& table, bool ebcdic, const Moved& moved = {});

  // Writes the expanded record; `out` holds `size` bytes, those behind the record become blanks.
  void DoGroupExpansion(std::span<const Byte> record, Byte* out, std::size_t size);
  [[nodiscard]] std::size_t MapOffset(std::size_t offset) const { return plan_.MapOffset(offset); }

 private:
  void PlanSiblings(const copybook::Field* first, std::int64_t shift);
  void PlanField(const copybook::Field& field, std::int64_t shift);
  void PlanOccurrence(const copybook::Field& field, std::int64_t shift);
  [[nodiscard]] std::size_t Moved_(std::int64_t offset) const;
  void Expand(const PlanStep& step, std::span<const Byte> record, Byte* out);
  [[nodiscard]] std::string Century(const DateIsRecord& date, std::span<const Byte> text,
                                    bool& is_fill) const;
  [[nodiscard]] bool ReadNumber(const copybook::Field& field, std::span<const Byte> bytes,
                                std::size_t digits, std::string& text, bool& negative) const;
  void WriteNumber(const copybook::Field& field, const std::string& text, bool negative,
                   std::span<const Byte> bytes, std::span<Byte> out) const;
  void CarryOver(const copybook::Field& field, std::size_t offset, std::span<const Byte> bytes,
                 std::span<Byte> out);

  bool ebcdic_;
  Moved moved_;
  RecordPlan plan_;
  std::set<const copybook::Field*> reported_;
};

// Moves the key table to the expanded record.
void AlterKeysDescription(const RecordExpander& expander);

}  // namespace tolvane
