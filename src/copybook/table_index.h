// The occurrences of a field under OCCURS, one after another or by subscripts.
//
//   TableIndex index(field);                     // at the first occurrence
//   do { ... index.CalcIdxOffset() ... } while (index.CalcNextIdx());
//
// The last subscript runs fastest, so that offsets ascend within a table. A field outside of any
// OCCURS has one occurrence. A count may be as large as the record; callers that keep something per
// occurrence look at Count first.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "copybook/field.h"
#include "copybook/settings.h"

namespace tolvane::copybook {

class TableIndex {
 public:
  explicit TableIndex(const Field& field);  // CreateIdxVal

  // Moves to the next occurrence; false after the last one, and the index is then the first again.
  bool CalcNextIdx();
  // Moves to the occurrence of these subscripts, which count from 1; false when their number or one
  // of them does not suit the field, and the index stays where it was.
  [[nodiscard]] bool SetSubscripts(std::span<const std::int64_t> subscripts);

  // Where the occurrence lies, in the source record and in the auxiliary one. A bit field begins at
  // Bit and AuxBit of its byte, 0 the most significant.
  [[nodiscard]] std::int64_t CalcIdxOffset() const { return source_.byte; }
  [[nodiscard]] std::int64_t CalcIdxAuxOffset() const { return aux_.byte; }
  [[nodiscard]] unsigned Bit() const { return source_.bit; }
  [[nodiscard]] unsigned AuxBit() const { return aux_.bit; }
  // Of all subscripts together.
  [[nodiscard]] std::int64_t Count() const;

 private:
  struct Location {
    std::int64_t byte = 0;
    unsigned bit = 0;
  };
  void Locate();

  const Field* field_;
  std::size_t depth_ = 0;
  std::array<const Field*, kMaxOccursDepth> tables_{};  // the outermost first
  std::array<std::int64_t, kMaxOccursDepth> subscripts_{};
  Location source_, aux_;
};

}  // namespace tolvane::copybook
