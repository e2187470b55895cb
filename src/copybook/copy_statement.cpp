#include "copybook/copy_statement.h"

#include "copybook/words.h"

namespace tolvane::copybook {
namespace {

std::string_view WhyNot(Lexer::CopyResult result) {
  switch (result) {
    case Lexer::CopyResult::kCopied:
      break;
    case Lexer::CopyResult::kNotFound:
      return "expected a text that can be opened after COPY";
    case Lexer::CopyResult::kWithinItself:
      return "expected no COPY of a text within itself";
    case Lexer::CopyResult::kTooDeep:
      return "expected at most 16 COPY statements within another";
    case Lexer::CopyResult::kTooLong:
      return "expected at most 64 MiB of text from COPY";
  }
  return {};
}

class CopyStatement {
 public:
  CopyStatement(Lexer& lexer, Diagnostics& diagnostics)
      : lexer_(lexer), diagnostics_(diagnostics) {}

  bool Run() {
    if (!ReadName(name_)) return false;
    const Token name = lexer_.token();
    lexer_.GetToken();
    if (lexer_.token().Is("OF") || lexer_.token().Is("IN")) {
      if (!ReadName(library_)) return false;
      lexer_.GetToken();
    }
    if (lexer_.token().Is("SUPPRESS")) lexer_.GetToken();
    if (lexer_.token().Is("REPLACING") && !ReadReplacing()) return false;
    if (!lexer_.token().Is(".")) lexer_.UngetToken();
    const Lexer::CopyResult result = lexer_.PushCopy(name_, library_, replacing_);
    if (result == Lexer::CopyResult::kCopied) return true;
    diagnostics_.Error(name.span.begin, WhyNot(result), name.text);
    return false;
  }

 private:
  bool Fail(std::string_view expected) {
    diagnostics_.Error(lexer_.token().span.begin, expected, lexer_.token().text);
    return false;
  }

  bool ReadName(std::string& name) {
    lexer_.GetPicture();
    const char first = lexer_.token().text.empty() ? ' ' : lexer_.token().text.front();
    if (first == '"' || first == '\'') {
      lexer_.UngetToken();
      lexer_.GetToken();
    }
    name = lexer_.token().text;
    const bool named =
        lexer_.token().kind == TokenKind::kWord || lexer_.token().kind == TokenKind::kString;
    return (named && !name.empty()) || Fail("expected the name of a text after COPY");
  }

  bool ReadReplacing() {
    lexer_.GetToken();
    do {
      Replacement pair;
      if (lexer_.token().Is("LEADING")) pair.where = Replacement::Where::kLeading;
      if (lexer_.token().Is("TRAILING")) pair.where = Replacement::Where::kTrailing;
      if (pair.where == Replacement::Where::kWords) lexer_.UngetToken();
      if (!lexer_.GetReplacingOperand()) return Fail("expected what COPY is to replace");
      pair.from = lexer_.token().text;
      if (!lexer_.GetToken().Is("BY")) return Fail("expected BY");
      if (!lexer_.GetReplacingOperand()) return Fail("expected what COPY is to replace it by");
      pair.to = lexer_.token().text;
      replacing_.push_back(std::move(pair));
      lexer_.GetToken();
      if (lexer_.token().Is(",")) lexer_.GetToken();
    } while (!lexer_.token().Is(".") && lexer_.token().kind != TokenKind::kEnd);
    return lexer_.token().Is(".") || Fail("expected a full stop after COPY ... REPLACING");
  }

  Lexer& lexer_;
  Diagnostics& diagnostics_;
  std::string name_, library_;
  std::vector<Replacement> replacing_;
};

}  // namespace

bool CarryOutCopy(Lexer& lexer, Diagnostics& diagnostics) {
  return CopyStatement(lexer, diagnostics).Run();
}

}  // namespace tolvane::copybook
