// From parsed conditions to condition trees: each literal is put into the form of its field.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <locale>
#include <optional>
#include <sstream>
#include <vector>

#include "convert/conditions.h"
#include "copybook/table_index.h"
#include "datarep/decimal.h"
#include "platform/console.h"
#include "state/options.h"

namespace tolvane {

using copybook::Expression;
using copybook::Field;
using copybook::Literal;
using copybook::Operator;

namespace {

constexpr std::size_t kMostHexDigits = 8, kMostOctalDigits = 10, kMostDigits = 9;

// A numeric literal, or ZERO.
struct Number {
  std::string digits;  // without point
  int decimals = 0;
  bool negative = false;
};

std::optional<Number> NumberOf(const Literal& literal) {
  if (literal.figurative && literal.text == "0") return Number{"0"};
  if (literal.kind != 'N' || literal.text.find('E') != std::string::npos ||
      literal.text.find('e') != std::string::npos)
    return std::nullopt;
  Number number{literal.text, 0, literal.sign == '-'};
  if (const auto point = number.digits.find_first_of(".,"); point != std::string::npos) {
    number.digits.erase(point, 1);
    number.decimals = static_cast<int>(number.digits.size() - point);
  }
  return number;
}

// The digits that a field with so many decimals holds for a number; nothing when it cannot.
std::optional<std::string> DigitsFor(const Number& number, int decimals, std::size_t width) {
  std::string digits = number.digits;
  for (int scale = number.decimals; scale < decimals; ++scale) digits += '0';
  for (int scale = number.decimals; scale > decimals; --scale) {
    if (!digits.empty() && digits.back() != '0') return std::nullopt;
    if (!digits.empty()) digits.pop_back();
  }
  digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
  if (digits.size() > width) return std::nullopt;
  return std::string(width - digits.size(), '0') + digits;
}

bool Fail(const char* before, const std::string& text, const char* after) {
  PrintError("%s%s%s\n", before, text.c_str(), after);
  return false;
}

bool TooLong(const Literal& literal) {
  const struct {
    char kind;
    std::size_t most;
    const char *before, *after;
  } kLimits[] = {
      {'H', kMostHexDigits, "Hexadecimal literal ", " exceeds 8 characters. Can not process."},
      {'O', kMostOctalDigits, "Octal literal ", " exceeds 10 digits. Can not process."},
      {'N', kMostDigits, "Numeric literal ", " exceeds 9 digits. Can not process."},
  };
  for (const auto& limit : kLimits) {
    const auto digits = static_cast<std::size_t>(std::count_if(
        literal.text.begin(), literal.text.end(), [](char c) { return c != '.' && c != ','; }));
    if (literal.kind == limit.kind && digits > limit.most)
      return !Fail(limit.before, literal.text, limit.after);
  }
  return false;
}

std::string BigEndian(std::int64_t value, std::size_t width) {
  std::array<Byte, sizeof value> bytes{};
  StoreBigWidth(bytes.data(), width, value);
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(width)};
}

// Bytes of the stored number: those of the field, or in 36-bit data what its digits need.
std::size_t BinaryWidth(const Field& field) {
  constexpr std::size_t kShort = 2, kInt = 4, kLong = 8;
  if (!IsWordData()) {
    const auto length = static_cast<std::size_t>(field.length);
    if (length == kShort || length == kInt || length == kLong) return length;
    PrintError("Unknown size of Binary for field %s:%d\n", field.name.c_str(),
               static_cast<int>(field.length));
    return 0;
  }
  if (field.digits >= 1 && field.digits <= 4) return kShort;
  if (field.digits >= 5 && field.digits <= 9) return kInt;
  PrintError("Can not process long literals; see manual.\n");
  return 0;
}

// Whether a field of `width` bytes holds the value.
bool Fits(std::int64_t value, std::size_t width, bool is_signed) {
  const std::size_t bits = 8 * width - (is_signed ? 1 : 0);
  if (bits >= 63) return is_signed || value >= 0;
  const std::int64_t limit = std::int64_t{1} << bits;
  return value < limit && value >= (is_signed ? -limit : 0);
}

constexpr int kHexadecimal = 16, kOctal = 8, kDecimal = 10;

// The bits of a hexadecimal or octal literal.
std::int64_t BitsOf(const Literal& literal) {
  return std::strtoll(literal.text.c_str(), nullptr, literal.kind == 'H' ? kHexadecimal : kOctal);
}

bool IsNumeric(const Literal& literal) {
  const bool is_number = literal.kind == 'N' || literal.kind == 'H' || literal.kind == 'O';
  if (!is_number) PrintError("incompatable literal for Binary field\n");
  return is_number && !TooLong(literal);
}

// The value of a numeric literal, whose point is a point in every locale.
double ValueOf(const Literal& literal) {
  std::istringstream text(literal.text);
  text.imbue(std::locale::classic());
  double value = 0;
  text >> value;
  return value;
}

bool StoreFloat(const Literal& literal, ConditionNode& node) {
  if (!IsNumeric(literal)) return false;
  node.number = literal.kind == 'N' ? ValueOf(literal) : static_cast<double>(BitsOf(literal));
  if (literal.sign == '-') node.number = -node.number;
  return true;
}

bool StoreBinary(const Field& field, const Literal& literal, ConditionNode& node) {
  if (!IsNumeric(literal)) return false;
  const std::size_t width = BinaryWidth(field);
  if (width == 0) return false;
  constexpr std::size_t kMostScaled = 18;
  const auto number = NumberOf(literal);
  const auto digits = number ? DigitsFor(*number, field.decimals, kMostScaled) : std::nullopt;
  std::int64_t value = digits ? std::strtoll(digits->c_str(), nullptr, kDecimal) : BitsOf(literal);
  if (number && number->negative) value = -value;
  // Hexadecimal and octal literals are the bits of the field.
  const bool is_number = literal.kind == 'N';
  if ((is_number && !digits) || !Fits(value, width, is_number && field.is_signed))
    return Fail("incompatable literal for Binary field ", field.name, "");
  node.length = width;
  node.value = BigEndian(value, width);
  return true;
}

// The digits of a decimal field; nothing when the literal is no number that it can hold.
std::optional<std::string> DigitsIn(const Field& field, const std::optional<Number>& number,
                                    std::size_t width) {
  if (!number || (number->negative && !field.is_signed)) return std::nullopt;
  return DigitsFor(*number, field.decimals, width);
}

bool StoreUnpacked(const Field& field, const Literal& literal, ConditionNode& node) {
  const auto number = NumberOf(literal);
  const std::size_t width = node.length - (field.sign_separate ? 1 : 0);
  const auto digits = DigitsIn(field, number, width);
  if (!digits) {
    PrintError("incompatible literal for Numeric unpacked field\n");
    return false;
  }
  node.value = *digits;
  if (!field.is_signed) return true;
  const bool leading = field.sign == copybook::SignPlace::kLeading;
  if (field.sign_separate) {
    node.value.insert(leading ? 0 : width, 1, number->negative ? '-' : '+');
    return true;
  }
  char& sign = node.value[node.sign_byte()];
  sign = static_cast<char>(WithZone(static_cast<Byte>(sign),
                                    number->negative ? NegativeZone(node.type) : kAsciiPositive));
  return true;
}

bool StorePackedLiteral(const Field& field, const Literal& literal, ConditionNode& node) {
  const auto number = NumberOf(literal);
  const bool has_sign = field.kind != copybook::Usage::kPackedNoSign;
  const std::size_t width = node.length * 2 - (has_sign ? 1 : 0);
  const auto digits = DigitsIn(field, number, width);
  if (!digits) {
    PrintError("incompatible literal for Packed field\n");
    return false;
  }
  std::vector<Byte> packed(node.length);
  if (has_sign) {
    StorePacked(packed, *digits,
                !field.is_signed   ? kPackedUnsigned
                : number->negative ? kPackedNegative
                                   : kPackedPositive);
  } else {
    for (std::size_t i = 0; i < packed.size(); ++i)
      packed[i] = static_cast<Byte>(((*digits)[2 * i] & kDigitMask) << 4 |
                                    ((*digits)[2 * i + 1] & kDigitMask));
  }
  node.value.assign(packed.begin(), packed.end());
  return true;
}

bool StoreText(const Field& field, const Literal& literal, ConditionNode& node) {
  std::string text = literal.text;
  if (literal.kind == 'X' || literal.kind == 'H') {
    if (literal.text.size() % 2 != 0)
      return Fail("Odd number of digits in Hex literal ", literal.text, ".");
    text = copybook::HexBytes(literal.text);
    if (text.size() > node.length)
      return Fail("Field ", field.name, " is too short for the Hex literal value.");
  } else if ((!literal.figurative && literal.kind != 'S' && literal.kind != 'N') ||
             literal.sign == '-') {
    PrintError("Unsupported literal type '%c' for Group/Alpha Numeric field.\n", literal.kind);
    return false;
  }
  if (text.size() > kConditionValueWidth)
    return Fail("Literal '", text, "' exceeds 50 characters. Can not process.");
  if (literal.figurative || literal.all) {
    const std::string once = text;
    while (!once.empty() && text.size() < node.length) text += once;
  } else if (text.find_last_not_of(' ') + 1 > node.length) {
    return Fail("Field ", field.name, " is too short for the literal value.");
  }
  text.resize(node.length, ' ');
  node.value = text;
  return true;
}

// The type by which a field is compared; 0 when it cannot be.
char ComparedType(const Field& field) {
  switch (field.usage) {
    case 'B':
      return mask_type::kBinary;
    case 'R':
      return mask_type::kFloat;
    case 'P':
    case 'S':
      return mask_type::kPacked;
    case 'D':
      if (field.sign_separate) return mask_type::kGroup;
      if (!field.is_signed) return mask_type::kUnsigned;
      return opt.sw_mbp != 0 ? mask_type::kMbpUnpacked : mask_type::kMfUnpacked;
    case 'C':
    case 'G':
      return mask_type::kGroup;
    default:
      return 0;
  }
}

bool StoreLiteral(const Field& field, const Literal& literal, ConditionNode& node) {
  switch (field.usage) {
    case 'B':
      return StoreBinary(field, literal, node);
    case 'R':
      return StoreFloat(literal, node);
    case 'D':
      return StoreUnpacked(field, literal, node);
    case 'P':
    case 'S':
      return StorePackedLiteral(field, literal, node);
    default:
      return StoreText(field, literal, node);
  }
}

bool IsCondition(const Expression& expression) {
  return expression.kind == Expression::Kind::kBinary;
}

std::unique_ptr<ConditionNode> SaveComparison(const Expression& comparison,
                                              const Expression*& wrong) {
  const bool is_comparison = comparison.op != Operator::kAnd && comparison.op != Operator::kOr;
  const bool has_subject = comparison.left->kind == Expression::Kind::kIdentifier &&
                           !comparison.left->identifier.field->IsStandalone();
  wrong = has_subject ? comparison.right.get() : comparison.left.get();
  if (!is_comparison || !has_subject || comparison.right->kind != Expression::Kind::kLiteral) {
    PrintError("Invalid condition supplied.\n");
    return nullptr;
  }
  wrong = comparison.left.get();
  const Field& field = *comparison.left->identifier.field;
  auto node = std::make_unique<ConditionNode>();
  FieldPlace place;
  if (getSubLoc(comparison.left->identifier, place) == 0) return nullptr;
  node->type = ComparedType(field);
  node->location = static_cast<std::size_t>(place.location);
  node->length = node->source_length = static_cast<std::size_t>(field.length);
  node->is_signed = field.is_signed;
  node->sign_leading = field.sign == copybook::SignPlace::kLeading && !field.sign_separate;
  node->op = RelationOf(copybook::OperatorName(comparison.op));
  if (node->type == 0 || node->length == 0) {
    PrintError("Unrecognized field type: %c\n", field.usage);
    return nullptr;
  }
  wrong = comparison.right.get();
  if (!StoreLiteral(field, comparison.right->literal, *node)) return nullptr;
  return node;
}

// Whether `right` goes on with the subject of what stands before it: A = 1 OR 2, and so A = 1 OR 2
// AND B = 3.
bool GoesOnWithSubject(const Expression& left, const Expression& right) {
  const Expression *last = &left, *first = &right;
  while (IsCondition(*last->right)) last = last->right.get();
  while (IsCondition(*first->left)) first = first->left.get();
  return first->left->place == last->left->place;
}

std::unique_ptr<ConditionNode> Save(const Expression& condition, const Expression*& wrong) {
  wrong = &condition;
  if (!IsCondition(condition)) {
    PrintError("Syntax error on ID IS statement.\n");
    return nullptr;
  }
  if (!IsCondition(*condition.left) && !IsCondition(*condition.right))
    return SaveComparison(condition, wrong);
  if (condition.op != Operator::kAnd && condition.op != Operator::kOr) {
    PrintError("Operator is not AND or OR.\n");
    return nullptr;
  }
  if (!IsCondition(*condition.left) || !IsCondition(*condition.right)) {
    PrintError("Syntax error on ID IS statement.\n");
    return nullptr;
  }
  auto left = Save(*condition.left, wrong);
  auto right = left != nullptr ? Save(*condition.right, wrong) : nullptr;
  if (right == nullptr) return nullptr;
  if (condition.op == Operator::kOr && GoesOnWithSubject(*condition.left, *condition.right)) {
    // A list of values: each is an alternative to those before it.
    ConditionNode* last = left.get();
    while (last->next != nullptr) last = last->next.get();
    last->next = std::move(right);
    return left;
  }
  if (condition.op == Operator::kOr)
    PrintWarning("OR between two full comparisons asks for both sides, as AND does.\n");
  auto pair = std::make_unique<ConditionNode>();
  pair->left = std::move(left);
  pair->right = std::move(right);
  return pair;
}

}  // namespace

int saveConditions(const Expression& condition, std::unique_ptr<ConditionNode>& tree,
                   const Expression*& wrong) {
  tree = Save(condition, wrong);
  return tree != nullptr ? 0 : -1;
}

int getSubLoc(const copybook::Identifier& identifier, FieldPlace& place) {
  const Field& field = *identifier.field;
  place = {field.offset, field.aux_offset};
  if (identifier.reference_modified) {
    PrintError("Reference Modification NOT supported.\n");
    return 0;
  }
  if (identifier.subscripts.empty()) return 1;
  std::vector<std::int64_t> subscripts;
  for (const copybook::Subscript& subscript : identifier.subscripts) {
    const std::string& text = subscript.literal.text;
    if (subscript.literal.kind != 'N' || text.find_first_not_of("0123456789") != text.npos) {
      PrintError("Subscripted items must contain a literal.\n");
      return 0;
    }
    subscripts.push_back(std::strtoll(text.c_str(), nullptr, 10));  // NOLINT
  }
  copybook::TableIndex index(field);
  if (!index.SetSubscripts(subscripts)) {
    PrintError("Could not determine address of subscripted item.\n");
    return 0;
  }
  place = {index.CalcIdxOffset(), index.CalcIdxAuxOffset()};
  return 1;
}

}  // namespace tolvane
