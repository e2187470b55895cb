#include "copybook/picture.h"

#include <algorithm>
#include <vector>

#include "copybook/words.h"

namespace tolvane::copybook {
namespace {

// Roles that symbols play in a picture. A sign, a currency sign and P play one of several.
enum Role : unsigned {
  kNoRole = 0,
  kInsert = 1U << 0,        // B 0 / ,
  kPoint = 1U << 1,         // .
  kSignLeft = 1U << 2,      // one + or - at the left
  kSignRight = 1U << 3,     // one + or - at the right, CR, DB
  kCurrency = 1U << 4,      // one currency sign
  kSuppress = 1U << 5,      // Z * before the point
  kSuppressFrac = 1U << 6,  // Z * after it
  kFloatSign = 1U << 7,     // + or - more than once
  kFloatSignFrac = 1U << 8,
  kFloatCurrency = 1U << 9,
  kFloatCurrencyFrac = 1U << 10,
  kNine = 1U << 11,
  kText = 1U << 12,  // X A
  kS = 1U << 13,
  kV = 1U << 14,
  kScaleLeft = 1U << 15,  // P before the digits
  kScaleRight = 1U << 16,
  kBit = 1U << 17,    // 1
  kDouble = 1U << 18  // N G
};

constexpr unsigned kWhole = kSuppress | kFloatSign | kFloatCurrency | kNine;
constexpr unsigned kFloats =
    kFloatSign | kFloatSignFrac | kFloatCurrency | kFloatCurrencyFrac | kSuppress | kSuppressFrac;

struct Order {
  Role role;
  unsigned after;  // the roles that may stand anywhere to the left of it
};
constexpr Order kOrder[] = {
    {kInsert, ~(kSignRight | kS | kBit)},
    {kPoint, kInsert | kSignLeft | kCurrency | kWhole},
    {kSignLeft, 0},
    {kSignRight, kInsert | kPoint | kCurrency | kSuppress | kSuppressFrac | kFloatCurrency |
                     kFloatCurrencyFrac | kNine | kV | kScaleLeft | kScaleRight},
    {kCurrency, kSignLeft},
    {kSuppress, kInsert | kSignLeft | kCurrency | kSuppress},
    {kSuppressFrac, kInsert | kPoint | kSignLeft | kCurrency | kSuppress | kSuppressFrac | kV},
    {kFloatSign, kInsert | kCurrency | kFloatSign},
    {kFloatSignFrac, kInsert | kPoint | kCurrency | kFloatSign | kFloatSignFrac | kV},
    {kFloatCurrency, kInsert | kSignLeft | kFloatCurrency},
    {kFloatCurrencyFrac, kInsert | kPoint | kSignLeft | kFloatCurrency | kFloatCurrencyFrac | kV},
    {kNine, kInsert | kPoint | kSignLeft | kCurrency | kWhole | kText | kS | kV | kScaleLeft},
    {kText, kInsert | kNine | kText},
    {kS, 0},
    {kV, kInsert | kSignLeft | kCurrency | kWhole | kS | kScaleLeft | kScaleRight},
    {kScaleLeft, kSignLeft | kCurrency | kS | kV | kScaleLeft},
    {kScaleRight, kInsert | kSignLeft | kCurrency | kWhole | kS | kScaleRight},
    {kBit, kBit},
    {kDouble, kInsert | kDouble},
};

struct Symbol {
  char c = 0;  // upper case; 'C' for CR, 'D' for DB
  std::int64_t count = 1;
  std::size_t at = 0;
};

class Analysis {
 public:
  Analysis(std::string_view text, const Settings& settings, PictureError& error)
      : text_(ToUpper(text)), settings_(settings), error_(error) {}

  bool Run(Picture& picture) {
    return Read() && CheckOrder() && Classify(picture) && Measure(picture);
  }

 private:
  bool Fail(std::size_t at, std::string_view expected) {
    error_ = {at, expected};
    return false;
  }

  // Symbols with their repeat counts.
  bool Read() {
    if (text_.size() > kMaxPictureText)
      return Fail(0, "expected a picture of at most 255 characters");
    for (std::size_t at = 0; at < text_.size();) {
      Symbol symbol{text_[at], 1, at};
      const bool pair = text_.compare(at, 2, "CR") == 0 || text_.compare(at, 2, "DB") == 0;
      if (!pair && (symbol.c == 'C' || symbol.c == 'D'))
        return Fail(at, "expected a picture symbol");
      at += pair ? 2 : 1;
      if (at < text_.size() && text_[at] == '(' && !ReadCount(at, symbol.count)) return false;
      symbols_.push_back(symbol);
    }
    return !symbols_.empty() || Fail(0, "expected a picture");
  }

  bool ReadCount(std::size_t& at, std::int64_t& count) {
    const std::size_t open = at++;
    count = 0;
    for (; at < text_.size() && IsDigit(text_[at]); ++at)
      count = std::min<std::int64_t>(count * 10 + (text_[at] - '0'), kMaxSize + 1);
    if (at >= text_.size() || text_[at] != ')' || at == open + 1)
      return Fail(open, "expected a repeat count in parentheses");
    ++at;
    if (count == 0) return Fail(open, "expected a repeat count above 0");
    return count <= kMaxSize || Fail(open, "expected an item of at most 2147483647 bytes");
  }

  std::int64_t Count(std::string_view any) const {
    std::int64_t sum = 0;
    for (const Symbol& symbol : symbols_)
      if (any.find(symbol.c) != std::string_view::npos) sum += symbol.count;
    return sum;
  }

  // The role of a symbol, given those to its left.
  Role RoleOf(char c, unsigned before) const {
    const bool fraction = (before & (kPoint | kV)) != 0;
    if (c == settings_.currency_sign) {
      if (Count(std::string_view(&c, 1)) == 1) return kCurrency;
      return fraction ? kFloatCurrencyFrac : kFloatCurrency;
    }
    switch (c) {
      case 'B':
      case '0':
      case '/':
      case ',':
        return kInsert;
      case '.':
        return kPoint;
      case 'C':
      case 'D':
        return kSignRight;
      case 'Z':
      case '*':
        return fraction ? kSuppressFrac : kSuppress;
      case '+':
      case '-':
        if (Count("+-") == 1) return (before & ~kCurrency) == 0 ? kSignLeft : kSignRight;
        return fraction ? kFloatSignFrac : kFloatSign;
      case '9':
        return kNine;
      case 'X':
      case 'A':
        return kText;
      case 'S':
        return kS;
      case 'V':
        return kV;
      case 'P':
        return (before & (kNine | kFloats)) == 0 ? kScaleLeft : kScaleRight;
      case '1':
        return settings_.support_pic1 ? kBit : kNoRole;
      case 'N':
      case 'G':
        return kDouble;
      default:
        return kNoRole;
    }
  }

  bool CheckOrder() {
    for (const Symbol& symbol : symbols_) {
      const Role role = RoleOf(symbol.c, roles_);
      if (role == kNoRole) return Fail(symbol.at, "expected a picture symbol");
      const auto* row = std::find_if(std::begin(kOrder), std::end(kOrder),
                                     [role](const Order& order) { return order.role == role; });
      if ((roles_ & ~row->after) != 0)
        return Fail(symbol.at, "expected a picture symbol that may follow those before it");
      roles_ |= role;
    }
    for (const std::string_view once : {"S", "V.", "CD+-", "Z*"}) {
      if (!OnlyOne(once)) return false;
    }
    return true;
  }

  // S, the decimal point and a fixed sign stand once; Z and *, and + and -, do not mix.
  bool OnlyOne(std::string_view symbols) {
    const bool repeats = symbols == "Z*" || (roles_ & (kFloatSign | kFloatSignFrac)) != 0;
    char seen = 0;
    std::int64_t count = 0;
    for (const Symbol& symbol : symbols_) {
      if (symbols.find(symbol.c) == std::string_view::npos) continue;
      count += symbol.count;
      const bool mixed = seen != 0 && seen != symbol.c;
      const bool again = count > 1 && !(repeats && (symbols == "Z*" || symbols == "CD+-"));
      if (mixed || again) return Fail(symbol.at, "expected this picture symbol only once");
      seen = symbol.c;
    }
    return true;
  }

  bool Classify(Picture& picture) {
    const auto only = [this](unsigned roles) { return (roles_ & ~roles) == 0; };
    const bool text = (roles_ & kText) != 0;
    if (only(kBit)) {
      picture.category = Category::kBoolean;
    } else if ((roles_ & kDouble) != 0) {
      picture.category = Category::kNational;
    } else if (text) {
      picture.category = !only(kText | kNine)         ? Category::kAlphanumericEdited
                         : Count("A") == Count("AX9") ? Category::kAlphabetic
                                                      : Category::kAlphanumeric;
    } else if (only(kNine | kS | kV | kScaleLeft | kScaleRight)) {
      picture.category = Category::kNumeric;
    } else {
      picture.category = Category::kNumericEdited;
    }
    const bool numeric =
        picture.category == Category::kNumeric || picture.category == Category::kNumericEdited;
    if (numeric && (roles_ & (kNine | kFloats)) == 0)
      return Fail(0, "expected a picture with a digit position");
    picture.is_signed = (roles_ & (kS | kSignLeft | kSignRight | kFloatSign | kFloatSignFrac)) != 0;
    return true;
  }

  // Size, digits and decimals. The first floating symbol holds no digit.
  bool Measure(Picture& picture) {
    const bool numeric = picture.category == Category::kNumeric;
    std::int64_t digits = 0, decimals = 0, scale = 0;
    unsigned before = 0;
    bool float_seen = false;
    for (const Symbol& symbol : symbols_) {
      const Role role = RoleOf(symbol.c, before);
      const bool floats = (role & kFloats & ~(kSuppress | kSuppressFrac)) != 0;
      std::int64_t here = (role & (kNine | kFloats)) != 0 ? symbol.count : 0;
      if (floats && !float_seen) --here;
      float_seen = float_seen || floats;
      digits += here;
      if ((before & (kPoint | kV | kScaleLeft)) != 0) decimals += here;
      if (role == kScaleLeft) decimals += symbol.count;
      if (role == kScaleRight) scale += symbol.count;
      if ((role & (kS | kV | kScaleLeft | kScaleRight)) == 0) picture.size += symbol.count;
      if (symbol.c == 'C' || symbol.c == 'D') ++picture.size;
      before |= role;
    }
    if (picture.size > kMaxSize) return Fail(0, "expected an item of at most 2147483647 bytes");
    const bool counted = numeric || picture.category == Category::kNumericEdited;
    if (counted && (digits > kMaxDigits || decimals > kMaxDigits || scale > kMaxDigits))
      return Fail(0, "expected a picture of at most 31 digits");
    picture.digits = counted ? static_cast<int>(digits) : 0;
    picture.decimals = counted ? static_cast<int>(scale > 0 ? -scale : decimals) : 0;
    return true;
  }

  std::string text_;
  const Settings& settings_;
  PictureError& error_;
  std::vector<Symbol> symbols_;
  unsigned roles_ = 0;
};

// Whether a picture is that of a program with DECIMAL-POINT IS COMMA: its points group digits.
bool PointIsComma(std::string_view text) {
  const std::size_t point = text.find('.');
  return point != std::string_view::npos && text.find_first_of(".,", point + 1) != text.npos;
}

std::string ExchangePoint(std::string_view text) {
  std::string exchanged(text);
  for (char& c : exchanged)
    if (c == '.' || c == ',') c = c == '.' ? ',' : '.';
  return exchanged;
}

}  // namespace

bool AnalyzePicture(std::string_view text, const Settings& settings, Picture& picture,
                    PictureError& error) {
  picture = Picture();
  if (PointIsComma(text)) {
    PictureError other;
    if (Analysis(ExchangePoint(text), settings, other).Run(picture)) return true;
    picture = Picture();
  }
  return Analysis(text, settings, error).Run(picture);
}

}  // namespace tolvane::copybook
