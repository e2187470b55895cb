#include "convert/conditions.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "datarep/charset.h"
#include "datarep/decimal.h"
#include "datarep/float.h"
#include "media/tape_io.h"
#include "state/run.h"

namespace tolvane {
namespace {

int ThreeWay(auto a, auto b) { return a < b ? -1 : a > b ? 1 : 0; }

std::int64_t RecordNumber() { return pTapeIo != nullptr ? pTapeIo->records : run.nCurrInputRec; }

// Deliberate: beyond equality only the strict operators hold, not GE and LE.
bool RecordNumberHolds(const MaskItem& item) {
  const int comparison = ThreeWay(RecordNumber(), -std::int64_t{item.location});
  return item.op->equal ? comparison == 0 : item.op->Holds(comparison);
}

int CompareText(std::span<const Byte> field, std::string_view text) {
  const std::size_t there = std::min(field.size(), text.size());
  const int comparison = there == 0 ? 0 : std::memcmp(field.data(), text.data(), there);
  if (comparison != 0) return comparison;
  return there < text.size() ? -1 : 0;
}

std::int64_t LoadBinary(const Byte* bytes, const ConditionNode& node) {
  return node.is_signed ? LoadBigWidthSigned(bytes, node.length)
                        : static_cast<std::int64_t>(LoadBigWidth(bytes, node.length));
}

const Byte* Bytes(const std::string& text) {
  return static_cast<const Byte*>(static_cast<const void*>(text.data()));
}

// A floating-point field of the data: the mainframe's form, or ours on the way there.
double LoadFloat(std::span<const Byte> field) {
  std::array<Byte, sizeof(double)> bytes{};
  std::copy(field.begin(), field.end(), bytes.begin());
  if (!run.sw_a2e) (void)mflt3tou(std::span(bytes).first(field.size()));  // the length was checked
  return field.size() == sizeof(double) ? LoadNative<double>(bytes.data())
                                        : double{LoadNative<float>(bytes.data())};
}

int Compare(std::span<const Byte> field, const ConditionNode& node) {
  switch (node.type) {
    case mask_type::kBinary:
      return ThreeWay(LoadBinary(field.data(), node), LoadBinary(Bytes(node.value), node));
    case mask_type::kFloat:
      return ThreeWay(LoadFloat(field), node.number);
    case mask_type::kMfUnpacked:
    case mask_type::kMbpUnpacked:
    case mask_type::kUnsigned: {
      const Byte negative = node.is_ebcdic ? kEbcdicNegative : NegativeZone(node.type);
      return _upcmp(field, node.value, negative, node.sign_byte());
    }
    default:
      return CompareText(field, node.value);
  }
}

bool Holds(const ConditionNode& node, std::span<const Byte> record) {
  bool holds = false;
  if (node.left != nullptr) {
    holds = Holds(*node.left, record) && Holds(*node.right, record);
  } else {
    const std::size_t start = std::min(node.location, record.size());
    const auto field = record.subspan(start, std::min(node.length, record.size() - start));
    const bool is_text = node.type == mask_type::kGroup;
    holds = (is_text || field.size() == node.length) && node.op->Holds(Compare(field, node));
  }
  return holds || (node.next != nullptr && Holds(*node.next, record));
}

void TranslateTree(ConditionNode& node) {
  for (ConditionNode* part : {node.left.get(), node.right.get(), node.next.get()})
    if (part != nullptr) TranslateTree(*part);
  node.is_ebcdic = true;
  if (node.value.empty() || (!node.has_overpunch() && node.type != mask_type::kGroup)) return;
  const auto sign = static_cast<Byte>(node.value[node.sign_byte()]);
  for (char& c : node.value) c = static_cast<char>(asc2ebc[static_cast<Byte>(c)]);
  if (!node.has_overpunch()) return;
  // Deliberate: the MBP test is for zone 0xD0, not 0x40.
  const Byte negative = node.type == mask_type::kMfUnpacked ? kMfNegative : kEbcdicNegative;
  const Byte zone = (sign & kZoneMask) == negative ? kEbcdicNegative : kEbcdicPositive;
  node.value[node.sign_byte()] = static_cast<char>(WithZone(sign, zone));
}

}  // namespace

bool EvaluateMatchConditions(std::span<const Byte> record, const MaskItem& item) {
  if (item.is_record_number) return RecordNumberHolds(item);
  if (item.tree != nullptr) return Holds(*item.tree, record);
  const auto start = std::min(static_cast<std::size_t>(item.condition_start), record.size());
  return item.op->Holds(CompareText(record.subspan(start), item.value));
}

const MaskItem* GetMaskMatchCondition(std::span<const Byte> record) {
  const MaskItem* last = nullptr;
  for (const MaskItem& item : mask_list)
    if (item.is_condition() && EvaluateMatchConditions(record, item)) last = &item;
  return last;
}

void CopyComparedRange(const MaskItem& condition, std::span<const Byte> record, Byte* out) {
  const auto start = static_cast<std::size_t>(condition.condition_start);
  const auto end = std::min(static_cast<std::size_t>(condition.condition_end), record.size());
  if (start < end) std::memcpy(out + start, record.data() + start, end - start);
}

int _upcmp(std::span<const Byte> field, std::string_view literal, Byte negative, std::size_t sign) {
  const auto digit = [](auto byte) { return static_cast<Byte>(byte) & kDigitMask; };
  const auto is_negative = [negative](auto byte) {
    return (static_cast<Byte>(byte) & kZoneMask) == negative;
  };
  const bool minus = is_negative(field[sign]), literal_minus = is_negative(literal[sign]);
  int comparison = 0;
  bool zero = true;
  for (std::size_t i = 0; i < std::min(field.size(), literal.size()); ++i) {
    if (comparison == 0) comparison = ThreeWay(digit(field[i]), digit(literal[i]));
    zero = zero && digit(field[i]) == 0 && digit(literal[i]) == 0;
  }
  if (zero) return 0;
  if (minus != literal_minus) return minus ? -1 : 1;
  return minus ? -comparison : comparison;
}

void ConvertIdIsConditionToEbcdic(MaskItem& item) {
  if (item.tree != nullptr) return TranslateTree(*item.tree);
  for (char& c : item.value) c = static_cast<char>(asc2ebc[static_cast<Byte>(c)]);
}

}  // namespace tolvane
