#include "copybook/literal.h"

#include <algorithm>

#include "copybook/words.h"

namespace tolvane::copybook {
namespace {

bool IsAlpha(const Token& token) { return token.IsLiteral() && token.kind != TokenKind::kNumber; }

bool CheckDigits(const Token& token, Diagnostics& diagnostics) {
  if (token.kind == TokenKind::kHexString && token.text.size() % 2 != 0) {
    diagnostics.Error(token.span.begin, "expected an even number of hexadecimal digits",
                      token.text);
    return false;
  }
  const auto all = [&](auto&& fits) {
    return std::all_of(token.text.begin(), token.text.end(), fits);
  };
  if (token.kind == TokenKind::kHexString || token.kind == TokenKind::kHexNumber) {
    if (all([](char c) {
          return IsDigit(c) || std::string_view("abcdefABCDEF").find(c) != std::string_view::npos;
        }))
      return true;
    diagnostics.Error(token.span.begin, "expected hexadecimal digits", token.text);
    return false;
  }
  if (token.kind != TokenKind::kOctal || all([](char c) { return c >= '0' && c <= '7'; }))
    return true;
  diagnostics.Error(token.span.begin, "expected octal digits", token.text);
  return false;
}

bool IsText(char kind) {
  return kind == static_cast<char>(TokenKind::kString) ||
         kind == static_cast<char>(TokenKind::kHexString);
}

// Adds what stands behind '&'.
bool Join(const Token& token, Diagnostics& diagnostics, Literal& literal) {
  const char kind = static_cast<char>(token.kind);
  if (kind == literal.kind) {
    literal.text += token.text;
    return true;
  }
  if (!IsText(kind) || !IsText(literal.kind)) {
    diagnostics.Error(token.span.begin, "expected a literal of the same kind after '&'",
                      token.text);
    return false;
  }
  constexpr char kString = static_cast<char>(TokenKind::kString);
  if (literal.kind != kString) literal.text = HexBytes(literal.text);
  literal.text += kind == kString ? token.text : HexBytes(token.text);
  literal.kind = kString;
  return true;
}

// All that '&' joins to the literal that is the current token.
bool JoinParts(Lexer& lexer, Diagnostics& diagnostics, Literal& literal) {
  while (lexer.FollowedBy("&")) {
    lexer.GetToken();
    const Token& part = lexer.GetToken();
    if (!IsAlpha(part)) {
      diagnostics.Error(part.span.begin, "expected a literal after '&'", part.text);
      return false;
    }
    if (!CheckDigits(part, diagnostics) || !Join(part, diagnostics, literal)) return false;
  }
  return true;
}

// The character of a figurative constant; empty when the token is none.
std::string_view FigurativeOf(const Token& token) {
  return token.kind == TokenKind::kWord ? FigurativeConstant(token.text) : std::string_view();
}

}  // namespace

std::string HexBytes(std::string_view digits) {
  const auto value = [](char c) { return IsDigit(c) ? c - '0' : (c | 0x20) - 'a' + 10; };
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
    bytes += static_cast<char>(value(digits[i]) << 4 | value(digits[i + 1]));
  return bytes;
}

bool AtLiteral(const Lexer& lexer) {
  const Token& token = lexer.token();
  return token.IsLiteral() || token.Is("+") || token.Is("-") || token.Is("ALL") ||
         !FigurativeOf(token).empty();
}

bool ReadLiteral(Lexer& lexer, Diagnostics& diagnostics, Literal& literal) {
  literal = Literal();
  literal.place = lexer.token().span.begin;
  if (lexer.token().Is("+") || lexer.token().Is("-")) {
    literal.sign = lexer.token().text[0];
    if (lexer.GetToken().kind != TokenKind::kNumber) {
      diagnostics.Error(lexer.token().span.begin, "expected a number", lexer.token().text);
      return false;
    }
  }
  if (lexer.token().Is("ALL")) {
    literal.all = true;
    lexer.GetToken();
  }
  const Token& token = lexer.token();
  if (const std::string_view character = FigurativeOf(token); !character.empty()) {
    literal.kind = character == "0" ? 'N' : 'S';
    literal.all = literal.figurative = true;
    literal.text = character;
    return true;
  }
  if (!token.IsLiteral()) {
    diagnostics.Error(token.span.begin, "expected a literal", token.text);
    return false;
  }
  if (!CheckDigits(token, diagnostics)) return false;
  literal.kind = static_cast<char>(token.kind);
  literal.text = token.text;
  return JoinParts(lexer, diagnostics, literal);
}

}  // namespace tolvane::copybook
