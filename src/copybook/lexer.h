// Tokens of grammar files and data descriptions. One lexer reads a file (`InitLex`), and whatever
// COPY brings in on top of it, token by token with one token of push-back:
//
//   Lexer lexer(open_text, diagnostics);
//   if (!lexer.InitLex("job.gra", Reading::kFree)) ...   // cannot be opened
//   while (lexer.GetToken().kind != TokenKind::kEnd) ... lexer.token().text ...
//
// UngetToken moves back to where the last token began, so that the same bytes can be read again in
// another way: as a path, a PICTURE, or as the beginning of a data description in its own format.
//
// The lexer opens no files itself: `OpenText` does, and answers false for what cannot be read. A
// literal without its closing quote is reported to the diagnostics, and ends with its line.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "copybook/diagnostics.h"
#include "copybook/source.h"

namespace tolvane::copybook {

// The letters of the literal kinds are those of conditions.
enum class TokenKind : char {
  kEnd = 'E',        // end of all text
  kWord = 'W',       // CUST-NO, PIC, KEY1; after GetPath a path, after GetPicture a picture
  kNumber = 'N',     // 12, 1.5, .5 -- without sign
  kString = 'S',     // "text" or 'text'; `text` holds what is between, doubled quotes as one
  kHexString = 'X',  // X"0A", digits as written
  kHexNumber = 'H',  // H"0A"
  kOctal = 'O',      // O"17"
  kNational = 'G',   // N"...", NX"...", G"..."
  kSign = 'P'        // ( ) . , ; : = < > <= >= <> + - * / and any other single character
};

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::string text;
  Span span;
  bool first_on_line = false;
  bool copied = false;  // stands in a text that COPY brought in

  // A word, in any case, or a sign.
  [[nodiscard]] bool Is(std::string_view word) const;
  [[nodiscard]] bool IsLiteral() const;
};

// Reads the text called `path`: a name, or LIBRARY/NAME for COPY ... OF library. May put the name
// of the file that was found into `path`.
using OpenText = std::function<bool(std::string& path, std::string& text)>;

// One pair of COPY ... REPLACING.
struct Replacement {
  enum class Where { kWords, kLeading, kTrailing };
  Where where = Where::kWords;
  std::string from, to;
};

class Lexer {
 public:
  Lexer(OpenText open, Diagnostics& diagnostics)
      : open_(std::move(open)), diagnostics_(diagnostics) {}

  // Begins with a file; false when it cannot be opened.
  [[nodiscard]] bool InitLex(const std::string& name, Reading reading);
  // Drops all text; the next token is the end.
  void CloseLex();
  // Whether data names may hold a placeholder (Settings::prefix).
  void AllowPlaceholders(bool allow) { placeholders_ = allow; }

  // Each moves on and returns token(), a place of the lexer's own that the next call overwrites. At
  // the end of a copied text the one around it goes on.
  const Token& GetToken();
  // The next word up to a blank, or the next string: paths and file names.
  const Token& GetPath();
  // The same without a full stop, comma or semicolon at its end: pictures, names in COPY.
  const Token& GetPicture();
  // Either ==pseudo-text== or one token with its quotes, as kWord; false at the end or when the
  // pseudo-text is not closed.
  [[nodiscard]] bool GetReplacingOperand();
  // Makes the current token the next one; it stays the current one too. Twice is once.
  void UngetToken();
  // Moves on if the next token is the word; puts it back if not.
  bool Accept(std::string_view word);
  // Whether the current token has been put back.
  [[nodiscard]] bool IsPutBack() const { return put_back_; }
  [[nodiscard]] const Token& token() const { return token_; }
  [[nodiscard]] std::uint32_t line() const { return token_.span.begin.line; }

  // From the next token on the file holds a data description, whose lines tell its format.
  void BeginDescription();

  // Reads another text before going on with this one.
  enum class CopyResult { kCopied, kNotFound, kWithinItself, kTooDeep, kTooLong };
  [[nodiscard]] CopyResult PushCopy(const std::string& name, const std::string& library,
                                    const std::vector<Replacement>& replacing);

  // Whether the text after the current token goes on with these characters, in any case; a blank
  // among them stands for any blanks.
  [[nodiscard]] bool FollowedBy(std::string_view text) const;
  [[nodiscard]] bool LastOnLine() const;
  // The word or number behind the current token, on its line or a later one of the same text; empty
  // when anything else follows.
  [[nodiscard]] std::string_view WordBehind() const;
  // The character right behind the current token; '\0' at the end of the text.
  [[nodiscard]] char CharBehind() const {
    return frames_.empty() ? '\0' : CharAt(frames_.back().at);
  }
  // Moves on past the next occurrence of a word or to the line's end; false at the end of the text.
  [[nodiscard]] bool SkipPast(std::string_view word);
  void SkipLine();

 private:
  struct Frame {
    std::shared_ptr<const SourceText> source;
    std::size_t at = 0;
    std::string path;
  };

  [[nodiscard]] const std::string& text() const { return frames_.back().source->text(); }
  [[nodiscard]] char CharAt(std::size_t at) const { return at < text().size() ? text()[at] : '\0'; }
  // Moves to the next character that is not blank and begins a token there; false at the end.
  bool BeginToken();
  const Token& EndToken(TokenKind kind, std::size_t end);
  const Token& TokenToBlank(bool picture);
  const Token& ReadNumber();
  const Token& ReadWord();
  const Token& ReadString(std::size_t quote_at, TokenKind kind);
  const Token& ReadSign();
  [[nodiscard]] std::size_t WordEnd(std::size_t at) const;
  [[nodiscard]] std::size_t PlaceholderEnd(std::size_t at) const;

  OpenText open_;
  Diagnostics& diagnostics_;
  bool placeholders_ = true;
  std::string raw_;  // of the file of InitLex
  std::vector<Frame> frames_;
  // Copied texts that ended before the current token, the innermost first. Putting it back brings
  // them back, so that a COPY at the end of a text is still seen to be within it.
  std::vector<Frame> ended_;
  std::size_t copied_ = 0;  // bytes brought in by COPY
  Token token_;
  std::size_t token_at_ = 0;  // in the frame on top
  bool put_back_ = false;
  Place unclosed_;  // the literal reported last; it may be read again
};

}  // namespace tolvane::copybook
