// What a copybook compiles to: record descriptions, their data items in source order, and a hash
// table of names. A table owns its fields; pointers to them stay valid as long as the table lives.
//
//   for (const Field* field = table.First(); field; field = field->next) ...
//   const Lookup found = table.GetSymHashSubStr("CUST-NO");        // or {"CUST-NO", "CUSTOMER"}
//   if (const Field* field = found.Unique()) ...
//
// Level 66 items are found by name and listed by `renames`, but are no part of the source order:
// they describe storage that is already described. Level 88 entries are conditions of their field.
//
// Save and Load keep a table between runs (symbol_file.cpp); attachments are not kept.
#pragma once

#include <cstddef>
#include <deque>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "copybook/field.h"

namespace tolvane::copybook {

struct Lookup {
  const Field* field = nullptr;  // the match spelled exactly as given, else the first
  std::size_t matches = 0;
  std::size_t exact = 0;  // of them, those spelled exactly as given

  // The field meant: the only match, or the only one with the exact spelling.
  [[nodiscard]] const Field* Unique() const { return matches == 1 || exact == 1 ? field : nullptr; }
};

class SymbolTable {
 public:
  SymbolTable() = default;
  SymbolTable(SymbolTable&&) = default;
  SymbolTable& operator=(SymbolTable&&) = default;

  [[nodiscard]] const std::vector<RecordDescription>& records() const { return records_; }
  // The greatest `length` of its records, level 77 items aside; 0: there are none.
  [[nodiscard]] std::int64_t LongestRecord(std::int64_t RecordDescription::*length) const;
  // The first field of the source order, which goes on by Field::next; null in an empty table.
  [[nodiscard]] const Field* First() const { return first_; }
  [[nodiscard]] const std::vector<Field*>& renames() const { return renames_; }
  // All fields by number, level 66 included.
  [[nodiscard]] std::size_t size() const { return fields_.size(); }
  // Null for a number that no field has.
  [[nodiscard]] const Field* GetSymNum(std::size_t number) const;
  // Names of the files that places refer to.
  [[nodiscard]] const std::vector<std::string>& files() const { return files_; }

  // A name and its qualifiers, innermost first, without regard to case. A qualifier is a group or
  // record above the field.
  [[nodiscard]] Lookup GetSymHashSubStr(std::span<const std::string_view> names) const;
  [[nodiscard]] Lookup GetSymHashSubStr(std::initializer_list<std::string_view> names) const {
    return GetSymHashSubStr(std::span(names.begin(), names.size()));
  }
  [[nodiscard]] Lookup GetSymHashSubStr(std::string_view name) const {
    return GetSymHashSubStr({name});
  }
  // Whether a level 88 entry has the name.
  [[nodiscard]] bool IsConditionName(std::string_view name) const;

  // Hangs data of the caller's on a field of this table; what hung there before is destroyed.
  void Attach(const Field& field, std::unique_ptr<Attachment> attachment);

  // The table as text with a check sum, the same for the same table.
  [[nodiscard]] std::string Save() const;
  // False when `bytes` is no saved table; the table is then empty.
  [[nodiscard]] bool Load(std::string_view bytes);

 private:
  friend class Compiler;  // builds the table
  friend class SymbolFile;

  using Fields = std::vector<Field*>;  // by ascending number

  // All fields of a name.
  [[nodiscard]] const Fields& FieldsOf(std::string_view name) const;
  // GetSymHashSubStr among the fields from a number on. Fields of a group have the numbers behind
  // its own: the rarest of the names tells where to look.
  [[nodiscard]] Lookup Find(std::span<const std::string_view> names, std::size_t from) const;
  // A field of `level` named `name` under `parent`, in last place of the source order. Level 66
  // fields stand outside of it.
  Field& Add(int level, std::string name, Field* parent, Field* previous_sibling);
  void AddName(Field& field);

  std::deque<Field> fields_;
  std::vector<RecordDescription> records_;
  std::vector<Field*> renames_;
  std::vector<std::string> files_;
  std::unordered_map<std::string, Fields> names_;            // upper case
  std::unordered_map<std::string, std::size_t> conditions_;  // upper case, how many
  Field* first_ = nullptr;
  Field* last_ = nullptr;
};

// The saved form with these values: its header before them, their check sum behind. For tests of
// what Load makes of values that no Save wrote.
[[nodiscard]] std::string Seal(std::string_view body);

}  // namespace tolvane::copybook
