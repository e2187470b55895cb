// Conversion of the records of SDF files, quarter-words of 9 bits, to records of bytes and back.
//
// Characters lose their first bit, which is 0 in text; binary fields become integers of 2, 4 or 8
// bytes, bit fields bytes or characters, and the signs of unpacked fields those of the target
// COBOL compiler. Locations and lengths of the mask list count quarter-words; expanded locations
// are those of the converted record. Without a copybook every field keeps its place, and a binary
// field has a byte for each quarter-word.
//
// What can not be converted without loss is converted as far as it goes, with one warning for each
// kind; the caller sees how often it happened.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "convert/comp1100.h"
#include "convert/mask.h"
#include "datarep/byte_order.h"

namespace tolvane {

class SdfConverter {
 public:
  // `items` must outlive the converter, which makes the trees of their conditions its own.
  explicit SdfConverter(const MaskList& items) : items_(items) {}

  // Plans the conversion. False after a message when the mask list has fields that have none.
  [[nodiscard]] bool Compile();

  // The most bytes that the conversion of so many quarter-words writes.
  [[nodiscard]] std::size_t MostBytes(std::size_t quarters) const;
  // Converts a record into `out`, which has room for MostBytes of its size, and returns the length
  // of what it becomes. What a short record does not hold of its fields is spaces.
  std::size_t ConvertSdfRec(std::span<const std::uint16_t> record, Byte* out);

  // The other way, for a backup: `out` becomes the quarter-words of the record, by the fields that
  // always apply. False after a message when a value does not fit its field.
  [[nodiscard]] bool ConvertToSdf(std::span<const Byte> record, std::vector<std::uint16_t>& out);

  // Values that were cut on the way to bytes.
  [[nodiscard]] std::int64_t cut_values() const { return cut_values_; }
  // The last condition that held for the record converted last; null: none did.
  [[nodiscard]] const MaskItem* condition() const { return condition_; }
  [[nodiscard]] bool has_conditions() const { return !groups_.empty(); }

 private:
  enum class Step : std::uint8_t { kText, kBinary, kSign, kBits };

  // One step from `source` of the record to `target` of the output. Text and binary fields are
  // `length` quarter-words and `stored` bytes, a sign is one of each; bit fields are `length` bits.
  struct Op {
    Step step = Step::kText;
    std::size_t source = 0, target = 0;
    std::size_t length = 1, stored = 1;
    unsigned bit = 0, target_bit = 0;  // the first one, 0 the highest
    const MaskItem* item = nullptr;

    [[nodiscard]] std::size_t source_end() const;
  };
  struct Group {
    const MaskItem* condition;
    std::vector<Op> ops;
    std::size_t end = 0;       // of its converted fields
    std::size_t area_end = 0;  // of what they replace
  };
  // A field that a condition compares, converted to `target` of compared_text_.
  struct Compared {
    std::size_t source = 0, target = 0;
    const ConditionNode* node = nullptr;
  };
  // How far the plan has come.
  struct Place {
    std::size_t source = 0, target = 0;
    unsigned bit = 0, target_bit = 0;
  };
  using Items = std::span<const MaskItem>;

  [[nodiscard]] bool CompileItems(Items items, Place& at, std::size_t end, std::vector<Op>& ops);
  [[nodiscard]] bool CompileGroup(Items items);
  void CompileComparisons(ConditionNode& node);
  [[nodiscard]] bool AddField(const MaskItem& item, Op op, Place& at, std::vector<Op>& ops) const;
  [[nodiscard]] bool AddBits(Op op, Place& at, std::vector<Op>& ops) const;
  [[nodiscard]] bool AddText(const Op& op, Place& at, std::vector<Op>& ops) const;
  void BeginQuarter(Op& op) const;
  void Align(Place& at, std::vector<Op>& ops) const;
  [[nodiscard]] std::size_t StoredBits(const Op& op) const;
  [[nodiscard]] std::size_t TargetOf(std::size_t source) const;

  void ConvertCompared(const Compared& field, std::span<const std::uint16_t> record);
  void ConvertGroups(std::span<const std::uint16_t> record, std::span<Byte> out);
  void Run(const std::vector<Op>& ops, std::span<const std::uint16_t> record, Byte* out);
  void RunText(const Op& op, std::span<const std::uint16_t> record, Byte* out);
  void RunBits(const Op& op, std::span<const std::uint16_t> record, Byte* out) const;
  void ConvertSdfBin(const Op& op, const std::uint16_t* from, Byte* to);
  [[nodiscard]] bool RunBack(const Op& op, std::span<const Byte> record, std::uint16_t* out) const;
  void RunBitsBack(const Op& op, const Byte* from, std::uint16_t* to) const;

  const MaskList& items_;
  bool bits_to_characters_ = false;
  std::vector<Op> unconditional_;
  std::vector<Group> groups_;
  std::size_t fixed_source_ = 0;  // one past the last quarter-word of all fields
  std::size_t fixed_bytes_ = 0;   // one past the last byte of all fields
  Place tail_;                    // text behind the last field
  std::vector<Byte> bytes_;       // the record as text, for conditions
  std::vector<Compared> compared_;
  std::size_t compared_bytes_ = 0;
  std::vector<Byte> compared_text_;
  std::int64_t cut_values_ = 0;
  const MaskItem* condition_ = nullptr;
  bool warned_of_characters_ = false;
};

}  // namespace tolvane
