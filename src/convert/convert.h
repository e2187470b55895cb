// Record conversion between the mainframe's character set and the machine's. Text is translated,
// binary and packed fields stay as they are, floating-point fields of a copybook are put into the
// machine's form or the mainframe's, and the signs of unpacked fields are rewritten for the target
// COBOL compiler. The mask list says where the fields are.
//
// A RecordConverter is compiled once, from the mask list and the options as they then stand: into
// runs to translate, runs to copy and signs to set, one plan for the fields that always apply and
// one for each condition item. Nothing is allocated or looked up per record.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "convert/mask.h"
#include "datarep/byte_order.h"
#include "datarep/charset.h"
#include "datarep/decimal.h"

namespace tolvane {

class RecordConverter {
 public:
  // `items` must outlive the converter. With `sw_a2e` it translates ASCII to EBCDIC, otherwise
  // EBCDIC to ASCII; under sw_interchange text is copied.
  RecordConverter(const MaskList& items, bool sw_a2e);
  RecordConverter(const RecordConverter&) = delete;
  RecordConverter& operator=(const RecordConverter&) = delete;

  // Converts one record into `out`, which holds the record's length + growth() bytes and does not
  // overlap it. Fields at or beyond the end of a short record are passed over. Returns the length
  // of the converted record plus one; 0 when a byte that is no text stops the conversion (it has
  // been reported then); 1 when the mask list ended at a condition that did not hold and none
  // did.
  std::int64_t ConvertBinChars(std::span<const Byte> record, Byte* out) const;

  // By how many bytes a converted record may be longer than its input (bit fields).
  [[nodiscard]] std::size_t growth() const { return growth_; }

 private:
  enum class Step : std::uint8_t { kText, kRaw, kFloat, kPacked, kSigned, kBits };

  // One step over `length` bytes, `occurs` times, from `source` in the input to `target` in the
  // output. Text is translated first, as one run where it can be; the fields follow.
  struct Op {
    Step step;
    std::uint8_t bit = 0;         // kBits: first bit in the source byte, 0 the highest
    bool has_sign_nibble = true;  // kPacked
    std::uint32_t occurs = 1;
    std::size_t source = 0;
    std::size_t length = 0;  // kBits: number of bits
    std::size_t target = 0;
    std::size_t sign = 0;              // kSigned: the byte that carries it
    const ByteTable* table = nullptr;  // kText: the translation; kSigned: of that byte
  };
  struct Group {
    const MaskItem* condition;
    std::vector<Op> ops;
  };

  void CompileTables();
  void CompilePlain();
  void CompileUnconditional(const MaskList& items);
  void CompileGroups(const MaskList& items);
  [[nodiscard]] std::size_t TargetOf(std::size_t source) const;
  [[nodiscard]] bool NeedsOwnText(const MaskItem& item) const;
  void AddOwnText(const Op& field, std::vector<Op>& ops) const;
  void AddItem(const MaskItem& item, std::size_t target, std::vector<Op>& ops) const;
  [[nodiscard]] Op ItemOp(const MaskItem& item, std::size_t target) const;

  [[nodiscard]] std::int64_t ConvertUnmasked(std::span<const Byte> record, Byte* out) const;
  [[nodiscard]] bool ConvertByteByByte(std::span<const Byte> record, Byte* out) const;
  [[nodiscard]] bool IsNegativeDigit(std::span<const Byte> record, std::size_t i) const;
  void Run(const std::vector<Op>& ops, std::span<const Byte> record, Byte* out) const;
  void RunField(const Op& op, std::span<const Byte> record, Byte* out) const;
  void RunFloat(const Op& op, std::span<const Byte> record, Byte* out) const;
  static void RunBits(const Op& op, std::span<const Byte> record, Byte* out);
  void WarnIfNotPacked(const Op& op, std::span<const Byte> field) const;

  bool sw_a2e_;
  bool masked_;
  std::size_t growth_ = 0;
  ByteTable text_{};     // the whole-record translation
  ByteTable gap_{};      // the same for bytes that no item covers
  ByteTable mf_sign_{};  // last byte of an unpacked field
  ByteTable mbp_sign_{};
  ByteTable plain_{};    // records without a mask list ...
  ByteTable refused_{};  // ... and which of their bytes are no text (1)
  std::vector<Op> unconditional_;
  std::vector<Group> groups_;
};

// 0 when the field is valid packed decimal: digits, and a sign nibble from A to F if it has one;
// -1 when not.
[[nodiscard]] int validatePacked(std::span<const Byte> field, bool has_sign_nibble = true);

// The zone of negative signs for the target compiler, by the options: Micro Focus unless they say
// MBP.
[[nodiscard]] Byte NegativeZoneOfTarget();

// The ASCII character that carries a sign for the target compiler, of one that was translated from
// EBCDIC: its digit in the zone of its sign, or a blank for a blank.
[[nodiscard]] inline Byte AsciiSignOf(Byte translated, Byte negative_zone) {
  const Byte byte = asc2ebc[translated];
  if (byte == kEbcdicSpace) return Byte{' '};
  return WithZone(byte, (byte & kZoneMask) == kEbcdicNegative ? negative_zone : kAsciiPositive);
}

// Copies the record to `out` and rewrites the sign of every unpacked field of the mask list that
// applies to it; for data that is ASCII already. Where a condition holds, its compared range is
// copied again before the fields of its group. Only a field's first occurrence is touched.
// Returns 1.
int ConvertAsciiSigns(std::span<const Byte> record, Byte* out);

// Puts EBCDIC sign zones back into a converted record, for the unpacked fields that apply to the
// unconverted one: under sw_ascii the unconverted byte, otherwise, unless sw_ebcdic is set, a zone
// worked out from it.
void KeepEbcdicSigns(std::span<const Byte> unconverted, Byte* converted);
// The same for one field of `length` bytes at `location`.
void RestoreEbcSign(std::span<const Byte> unconverted, Byte* converted, char type,
                    std::size_t location, std::size_t length);

}  // namespace tolvane
