// DATE IS: date fields with two-digit years become dates with four-digit ones. A DATE IS record
// hangs on its field of the copybook; a DateExpander widens one occurrence after the other.
//
// A display date gets its century before the year. A packed or binary one becomes the size of
// GetExtPackedDateSize and GetExtBinDateSize, and never smaller, with its sign and value; one that
// is no number gets the fill of the ALL entry that holds for it, else it is carried over
// right-justified and reported, once per field.
#pragma once

#include <cstddef>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "convert/mask.h"
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

// The same for all statements of the run. 1, or 0 after a message.
[[nodiscard]] int SaveDateIsFields(copybook::SymbolTable& table);

// The DATE IS record of a field; null: none.
[[nodiscard]] const DateIsRecord* DateIsOf(const copybook::Field& field);

// A date field as the expansion meets it.
struct DateField {
  const copybook::Field* field = nullptr;
  const DateIsRecord* date = nullptr;  // null: not widened
  bool is_number = false;              // packed or binary
  std::size_t at = 0;                  // display: where the date begins
  std::size_t year_at = 0;             // display: where it grows
  std::size_t width = 0;               // bytes after the expansion
};

// For a field of converted records, or with `exploded`, its item, for one that has been exploded.
// Not widened when no DATE IS names it.
[[nodiscard]] DateField MakeDateField(const copybook::Field& field, const MaskItem* exploded);

class DateExpander {
 public:
  // With `ebcdic` the records are EBCDIC.
  explicit DateExpander(bool ebcdic) : ebcdic_(ebcdic) {}

  // Widens the occurrence `bytes`, which stands at `offset` in the record, into `out` of
  // date.width bytes.
  void DoDateIsFieldExpansion(const DateField& date, std::span<const Byte> bytes,
                              std::size_t offset, std::span<Byte> out);
  // Says, once per field, that a date is not what it should be.
  void Report(const copybook::Field& field, std::size_t offset, const char* what);

 private:
  void WidenDisplay(const DateField& date, std::span<const Byte> bytes, std::span<Byte> out) const;
  void WidenNumber(const DateField& date, std::span<const Byte> bytes, std::size_t offset,
                   std::span<Byte> out);
  void Fill(std::span<Byte> out, char fill) const;

  bool ebcdic_;
  std::set<const copybook::Field*> reported_;
};

}  // namespace tolvane
