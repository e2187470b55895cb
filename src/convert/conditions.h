// Match conditions: which group of mask items applies to a record. Evaluated on the unconverted
// record.
//
// A condition item holds one of three: a literal at a position (-I), the number of the record being
// read, or the tree of an ID IS condition. A tree is made of comparisons and of pairs, which hold
// when both sides do, whether AND or OR stood between them; what does not hold passes on to its
// next alternative.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "convert/mask.h"
#include "copybook/expression.h"
#include "datarep/byte_order.h"

namespace tolvane {

struct ConditionNode {
  std::unique_ptr<ConditionNode> left, right;  // a pair; null: a comparison
  std::unique_ptr<ConditionNode> next;         // decides when this one does not hold

  // The comparison of a field.
  char type = 0;             // mask_type: kGroup, kBinary, kFloat, kPacked, kUnsigned, k..Unpacked
  std::size_t location = 0;  // in the record
  std::size_t length = 0;    // bytes of the field, and of `value`
  std::size_t source_length = 0;  // of the field in the record; in 36-bit data quarter-words
  bool is_signed = false;
  bool sign_leading = false;  // k..Unpacked: overpunched in the first byte, not the last
  bool is_ebcdic = false;     // the literal was translated, and the data is EBCDIC
  const Relation* op = nullptr;
  std::string value;  // the literal in the field's own form
  double number = 0;  // kFloat: the literal

  [[nodiscard]] bool has_overpunch() const { return IsOverpunched(type); }
  [[nodiscard]] std::size_t sign_byte() const { return sign_leading ? 0 : length - 1; }
};

// Turns a parsed condition into a tree. 0, or -1 after messages; `wrong` is then the operand that
// they are about.
[[nodiscard]] int saveConditions(const copybook::Expression& condition,
                                 std::unique_ptr<ConditionNode>& tree,
                                 const copybook::Expression*& wrong);

// The offsets of a data name, subscripted ones included. 1, or 0 after a message.
struct FieldPlace {
  std::int64_t location = 0, expanded_location = 0;
};
[[nodiscard]] int getSubLoc(const copybook::Identifier& identifier, FieldPlace& place);

// Whether the condition item holds for the record. A record that ends inside the compared text
// compares as the shorter one; a number that it does not hold whole compares as nothing.
[[nodiscard]] bool EvaluateMatchConditions(std::span<const Byte> record, const MaskItem& item);

// The last condition item of the whole list that holds for the record; null when none does.
[[nodiscard]] const MaskItem* GetMaskMatchCondition(std::span<const Byte> record);

// Copies the range that a condition item compares, as far as the record has it, to its place in
// `out`.
void CopyComparedRange(const MaskItem& condition, std::span<const Byte> record, Byte* out);

// Compares an unpacked number with a literal in the same form: signs, then digits. The byte at
// `sign` of a negative one has the zone `negative`.
[[nodiscard]] int _upcmp(std::span<const Byte> field, std::string_view literal, Byte negative,
                         std::size_t sign);

// Translates the literals of a condition item to EBCDIC, once, before EBCDIC records are compared.
void ConvertIdIsConditionToEbcdic(MaskItem& item);

}  // namespace tolvane
