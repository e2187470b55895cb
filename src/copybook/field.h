// The field record: everything that is known of one data item once its record is compiled.
//
// Offset and length describe the item in the source record, in bytes (8 bits, or quarter-words of 9
// bits); auxiliary offset and length describe it in the converted record, in 8-bit bytes. An item
// under OCCURS has the offset of its first occurrence, and its length is that of one occurrence;
// TableIndex (table_index.h) gives the others. Lengths of OCCURS DEPENDING ON are the largest.
//
// Usage letters:
//   'G' group                         'B' binary: COMP, COMP-4, COMP-5, COMP-X, INDEX, POINTER
//   'C' characters: alphabetic,       'P' packed, signed
//       alphanumeric, edited          'S' packed, unsigned (COMP-6: without a sign nibble)
//   'D' unpacked numeric              'R' floating point: COMP-1 (4 bytes), COMP-2 (8 bytes)
//   'W' national, two bytes each      '1' bits
// `kind` tells the usages of one letter apart.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "copybook/diagnostics.h"
#include "copybook/literal.h"
#include "copybook/picture.h"
#include "copybook/words.h"

namespace tolvane::copybook {

struct Field;

struct ValueRange {
  Literal from;
  Literal thru;  // kind 0: a single value
};

// A level-88 entry of the field that it follows.
struct Condition {
  std::string name;
  std::vector<ValueRange> values;
  Literal when_false;  // kind 0: none
  Place place;
};

struct Occurs {
  std::int64_t min = 1;
  std::int64_t max = 1;                   // 1 without an OCCURS clause
  std::vector<std::string> depending_on;  // the name and its qualifiers; empty without the clause
  const Field* depending = nullptr;       // that field, when it is in the table
  std::vector<std::string> keys;
  std::vector<std::string> indexes;
  bool clause = false;
};

enum class SignPlace : unsigned char { kNone, kTrailing, kLeading };

// What a user of the table hangs on a field, owned by the field.
struct Attachment {
  Attachment() = default;
  Attachment(const Attachment&) = delete;
  Attachment& operator=(const Attachment&) = delete;
  virtual ~Attachment() = default;
};

// Where the entry and the clauses that an editor may change stand; line 0: no such clause.
struct FieldSource {
  Span entry;           // level number to full stop
  Span picture_clause;  // PIC ... and its picture
  Span picture;         // the picture alone
  Span usage;           // with the word USAGE where it is written
  Span sign;
  Span sync;
};

struct Field {
  std::size_t number = 0;  // in source order, from 0
  int level = 0;
  std::string name;  // as spelled; empty for FILLER
  bool filler = false;

  char usage = 'G';
  Usage kind = Usage::kNone;
  std::int64_t offset = 0, length = 0;
  std::int64_t aux_offset = 0, aux_length = 0;
  unsigned bit = 0, aux_bit = 0;  // bit fields: first bit within its byte, 0 the most significant
  unsigned bits_per_byte = 8;     // of the source record
  std::string picture;            // as written
  Category category = Category::kNone;
  int digits = 0;    // bit fields: number of bits
  int decimals = 0;  // negative for P at the right of the digits
  bool is_signed = false;
  bool sign_separate = false;
  SignPlace sign = SignPlace::kNone;  // kNone: no SIGN clause here or above, so trailing
  bool synchronized = false, justified = false, blank_when_zero = false;
  bool external = false, global = false;
  bool incomplete = false;  // an error in its clauses was reported; it has no length

  Occurs occurs;
  int occurs_depth = 0;  // OCCURS clauses at and above this item
  // Distance of one occurrence of this item to the next.
  std::int64_t stride = 0, aux_stride = 0;
  unsigned bit_stride = 0, aux_bit_stride = 0;  // bit fields

  const Field* redefines = nullptr;  // level 66: the first item renamed
  const Field* renames_thru = nullptr;
  Field* parent = nullptr;
  Field* first_child = nullptr;
  Field* next_sibling = nullptr;  // same parent, or next top level of the same record
  Field* next = nullptr;          // next data item in source order, through all records

  std::vector<ValueRange> values;
  std::vector<Condition> conditions;
  FieldSource source;
  std::unique_ptr<Attachment> attachment;

  [[nodiscard]] bool IsGroup() const { return first_child != nullptr; }
  [[nodiscard]] bool IsStandalone() const { return level == 77; }
  [[nodiscard]] bool IsPacked() const { return usage == 'P' || usage == 'S'; }
  // Whether it carries its sign in the zone of its first or last digit.
  [[nodiscard]] bool HasOverpunch() const { return usage == 'D' && is_signed && !sign_separate; }
  // Whether it is a part of a record, and no other name for some.
  [[nodiscard]] bool IsInRecord() const { return level != 66 && !IsStandalone(); }
};

// One 01 or 77 entry, or all entries up to the next one where a description begins otherwise.
struct RecordDescription {
  std::string name;
  Field* first = nullptr;  // its siblings are the other top levels
  std::int64_t length = 0;
  std::int64_t aux_length = 0;
};

}  // namespace tolvane::copybook
