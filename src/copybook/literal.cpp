#include "copybook/literal.h"

#include <algorithm>

#include "copybook/words.h"

namespace tolvane::copybook {
namespace {

bool IsAlpha(const Token& token) { return token.IsLiteral() && token.kind != TokenKind::kNumber; }

bool CheckDigits(const Token& token, Diagnostics& diagnostics) {
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

}  // namespace

bool AtLiteral(const Lexer& lexer) {
  const Token& token = lexer.token();
  return token.IsLiteral() || token.Is("+") || token.Is("-") || token.Is("ALL") ||
         (token.kind == TokenKind::kWord && !FigurativeConstant(token.text).empty());
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
  const std::string_view character =
      token.kind == TokenKind::kWord ? FigurativeConstant(token.text) : std::string_view();
  if (!character.empty()) {
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
  while (lexer.FollowedBy("&")) {
    lexer.GetToken();
    if (!IsAlpha(lexer.GetToken())) {
      diagnostics.Error(token.span.begin, "expected a literal after '&'", token.text);
      return false;
    }
    literal.text += token.text;
  }
  return true;
}

}  // namespace tolvane::copybook
