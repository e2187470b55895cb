// The analysis of a data file: which date layouts the values of its numeric fields seem to follow,
// and a report that tells the user which fields to name in DATE IS statements.
//
// Fields of 2 to 9 digits or characters are looked at; those that FIELD statements name, when there
// are any. Records are looked at as they come, before any conversion; 36-bit data as it is
// converted.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "copybook/symbol_table.h"
#include "datarep/byte_order.h"

namespace tolvane {

class Analysis {
 public:
  // BuildFieldTable and CheckAndNarrowFieldTable. 0, or -1 after a message: a FIELD statement names
  // no field of the copybook.
  [[nodiscard]] int BuildFieldTable(const copybook::SymbolTable& table,
                                    const std::vector<std::string>& named);
  // Counts the values of a record's fields; those that a short record does not hold do not count.
  // `ebcdic`: the records are in EBCDIC.
  void AnalyseRecord(std::span<const Byte> record, bool ebcdic);
  // Writes "NAME.Y2KRPT"; 1, or 0 after a message. `dates_only` leaves out fields without a date
  // layout.
  [[nodiscard]] int PrintAnalyseReport(const std::string& data_file, const std::string& copybook,
                                       bool dates_only) const;

 private:
  static constexpr std::size_t kKinds = 256;  // counters by layout letter or mark

  struct Entry {
    const copybook::Field* field = nullptr;
    std::int64_t offset = 0, length = 0;
    bool in_group = false;
    bool has_value = false;
    std::int64_t least = 0, most = 0;
    std::array<std::int64_t, kKinds> counts{};
  };
  void Look(Entry& entry, std::span<const Byte> bytes, bool ebcdic);
  void WriteEntry(std::FILE* file, const Entry& entry) const;

  std::vector<Entry> entries_;
  std::int64_t records_ = 0;
};

// The analysis of the run.
extern Analysis analysis;

}  // namespace tolvane
