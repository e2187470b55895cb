#include "copybook/lexer.h"

#include <algorithm>

#include "copybook/replacing.h"
#include "copybook/settings.h"
#include "copybook/words.h"

namespace tolvane::copybook {
namespace {

struct LiteralPrefix {
  std::string_view prefix;
  TokenKind kind;
};
constexpr LiteralPrefix kLiteralPrefixes[] = {
    {"X", TokenKind::kHexString}, {"H", TokenKind::kHexNumber}, {"O", TokenKind::kOctal},
    {"N", TokenKind::kNational},  {"G", TokenKind::kNational},  {"NX", TokenKind::kNational},
    {"Z", TokenKind::kString},    {"B", TokenKind::kString},
};

constexpr std::string_view kLongSigns[] = {"<=", ">=", "<>", "=="};

bool IsQuote(char c) { return c == '"' || c == '\''; }

}  // namespace

bool Token::Is(std::string_view word) const {
  if (kind == TokenKind::kSign) return text == word;
  return kind == TokenKind::kWord && EqualsIgnoreCase(text, word);
}

bool Token::IsLiteral() const {
  return kind != TokenKind::kEnd && kind != TokenKind::kWord && kind != TokenKind::kSign;
}

bool Lexer::InitLex(const std::string& name, Reading reading) {
  CloseLex();
  std::string raw, path = name;
  if (!open_(path, raw)) return false;
  raw_ = std::move(raw);
  const Place start{diagnostics_.AddFile(path), 1, 1};
  frames_.push_back({std::make_shared<SourceText>(raw_, 0, start, reading), 0, path});
  return true;
}

void Lexer::CloseLex() {
  frames_.clear();
  ended_.clear();
  raw_.clear();
  copied_ = 0;
  token_ = Token();
}

bool Lexer::BeginToken() {
  const bool was_first = put_back_ && token_.first_on_line;
  token_ = Token();
  put_back_ = false;
  ended_.clear();
  while (!frames_.empty()) {
    Frame& frame = frames_.back();
    const std::string& bytes = text();
    token_.first_on_line = was_first || frame.at == 0;
    while (frame.at < bytes.size() && IsBlank(bytes[frame.at])) {
      token_.first_on_line = token_.first_on_line || bytes[frame.at] == '\n';
      ++frame.at;
    }
    token_at_ = frame.at;
    token_.span.begin = token_.span.end = frame.source->PlaceAt(frame.at);
    token_.copied = frames_.size() > 1;
    if (frame.at < bytes.size()) return true;
    if (frames_.size() == 1) return false;
    ended_.push_back(std::move(frames_.back()));
    frames_.pop_back();
  }
  return false;
}

const Token& Lexer::EndToken(TokenKind kind, std::size_t end) {
  token_.kind = kind;
  if (token_.text.empty() &&
      (kind == TokenKind::kWord || kind == TokenKind::kNumber || kind == TokenKind::kSign))
    token_.text = text().substr(token_at_, end - token_at_);
  Frame& frame = frames_.back();
  // The end's place is taken from the last byte: the one after it may be on another line.
  token_.span.end = frame.source->PlaceAt(end - 1);
  ++token_.span.end.column;
  frame.at = end;
  return token_;
}

const Token& Lexer::GetToken() {
  if (!BeginToken()) return token_;
  const char c = CharAt(token_at_);
  if (IsQuote(c)) return ReadString(token_at_, TokenKind::kString);
  if (IsDigit(c) || (c == '.' && IsDigit(CharAt(token_at_ + 1)))) return ReadNumber();
  if (IsLetter(c))
    for (const auto& [prefix, kind] : kLiteralPrefixes)
      if (IsQuote(CharAt(token_at_ + prefix.size())) &&
          EqualsIgnoreCase(std::string_view(text()).substr(token_at_, prefix.size()), prefix))
        return ReadString(token_at_ + prefix.size(), kind);
  return WordEnd(token_at_) > token_at_ && c != '-' ? ReadWord() : ReadSign();
}

// Where the placeholder that begins here, as in :TAG:-NAME, ends; `at` when none does.
std::size_t Lexer::PlaceholderEnd(std::size_t at) const {
  if (!placeholders_ || CharAt(at) != ':') return at;
  std::size_t end = at + 1;
  while (IsWordCharacter(CharAt(end))) ++end;
  return end > at + 1 && CharAt(end) == ':' ? end + 1 : at;
}

std::size_t Lexer::WordEnd(std::size_t at) const {
  for (;;) {
    const std::size_t end = IsWordCharacter(CharAt(at)) ? at + 1 : PlaceholderEnd(at);
    if (end == at) return at;
    at = end;
  }
}

const Token& Lexer::ReadWord() { return EndToken(TokenKind::kWord, WordEnd(token_at_)); }

// Digits that a letter follows are a word, such as 1ST-NAME; "0-10" is two numbers and a sign.
const Token& Lexer::ReadNumber() {
  const std::size_t word_end = WordEnd(token_at_);
  if (std::any_of(text().begin() + static_cast<std::ptrdiff_t>(token_at_),
                  text().begin() + static_cast<std::ptrdiff_t>(word_end), IsLetter))
    return ReadWord();
  std::size_t end = token_at_;
  const auto digits = [&] {
    while (IsDigit(CharAt(end))) ++end;
  };
  digits();
  if (CharAt(end) == '.' && IsDigit(CharAt(end + 1))) {
    ++end;
    digits();
    const bool sign = CharAt(end + 1) == '-' || CharAt(end + 1) == '+';
    if ((CharAt(end) == 'E' || CharAt(end) == 'e') && IsDigit(CharAt(end + (sign ? 2U : 1U)))) {
      end += sign ? 2 : 1;
      digits();
    }
  }
  return EndToken(TokenKind::kNumber, end);
}

const Token& Lexer::ReadString(std::size_t quote_at, TokenKind kind) {
  const std::string& bytes = text();
  const char quote = bytes[quote_at];
  std::size_t at = quote_at + 1;
  for (; at < bytes.size() && bytes[at] != '\n'; ++at) {
    if (bytes[at] == quote && CharAt(at + 1) != quote) return EndToken(kind, at + 1);
    if (bytes[at] == quote) ++at;
    token_.text += bytes[at];
  }
  if (token_.span.begin != unclosed_)
    diagnostics_.Error(token_.span.begin, "expected a closing quote", token_.text);
  unclosed_ = token_.span.begin;
  return EndToken(kind, at);
}

const Token& Lexer::ReadSign() {
  const std::string_view here = std::string_view(text()).substr(token_at_, 2);
  const bool is_long =
      std::find(std::begin(kLongSigns), std::end(kLongSigns), here) != std::end(kLongSigns);
  return EndToken(TokenKind::kSign, token_at_ + (is_long ? 2U : 1U));
}

const Token& Lexer::TokenToBlank(bool picture) {
  if (!BeginToken()) return token_;
  if (!picture && IsQuote(CharAt(token_at_))) return ReadString(token_at_, TokenKind::kString);
  std::size_t end = token_at_;
  while (end < text().size() && !IsBlank(text()[end])) ++end;
  if (picture && std::string_view(".,;").find(text()[end - 1]) != std::string_view::npos) --end;
  return end > token_at_ ? EndToken(TokenKind::kWord, end) : ReadSign();
}

const Token& Lexer::GetPath() { return TokenToBlank(false); }

const Token& Lexer::GetPicture() { return TokenToBlank(true); }

bool Lexer::GetReplacingOperand() {
  GetToken();
  if (!token_.Is("==")) {
    if (token_.kind == TokenKind::kEnd) return false;
    const std::size_t end = frames_.back().at;
    token_.text.clear();
    EndToken(TokenKind::kWord, end);
    return true;
  }
  const std::size_t begin = token_at_ + 2;
  const std::size_t end = text().find("==", begin);
  if (end == std::string::npos) return false;
  std::string pseudo = text().substr(begin, end - begin);
  EndToken(TokenKind::kWord, end + 2);
  token_.text = std::move(pseudo);
  return true;
}

bool Lexer::Accept(std::string_view word) {
  if (GetToken().Is(word)) return true;
  UngetToken();
  return false;
}

void Lexer::UngetToken() {
  if (put_back_) return;
  put_back_ = true;
  if (!frames_.empty()) frames_.back().at = token_at_;
  for (; !ended_.empty(); ended_.pop_back()) frames_.push_back(std::move(ended_.back()));
}

void Lexer::BeginDescription() {
  if (frames_.size() != 1 || !BeginToken()) return;
  const Place start = token_.span.begin;
  std::size_t line_at = 0;
  for (std::uint32_t line = 1; line < start.line; ++line) line_at = raw_.find('\n', line_at) + 1;
  // Where the description begins with its line, its columns count from the line's beginning.
  std::size_t begin = line_at + start.column - 1;
  Place place = start;
  if (token_.first_on_line) {
    begin = line_at;
    place.column = 1;
  }
  frames_.back().source = std::make_shared<SourceText>(raw_, begin, place, Reading::kInline);
  frames_.back().at = token_at_ = 0;
}

Lexer::CopyResult Lexer::PushCopy(const std::string& name, const std::string& library,
                                  const std::vector<Replacement>& replacing) {
  std::string raw, path = library.empty() ? name : library + "/" + name;
  if (frames_.size() > kMaxCopyDepth) return CopyResult::kTooDeep;
  if (!open_(path, raw)) return CopyResult::kNotFound;
  if (std::any_of(frames_.begin(), frames_.end(),
                  [&](const Frame& frame) { return frame.path == path; }))
    return CopyResult::kWithinItself;
  copied_ += raw.size();
  if (copied_ > kMaxCopiedText) return CopyResult::kTooLong;
  const Place start{diagnostics_.AddFile(path), 1, 1};
  auto source = std::make_shared<SourceText>(raw, 0, start, Reading::kCopybook);
  if (!replacing.empty()) {
    if (!ReplaceWords(*source, replacing, kMaxCopiedText - copied_)) return CopyResult::kTooLong;
    copied_ += source->text().size();
  }
  frames_.push_back({std::move(source), 0, path});
  return CopyResult::kCopied;
}

bool Lexer::FollowedBy(std::string_view wanted) const {
  if (frames_.empty()) return false;
  std::size_t at = frames_.back().at;
  while (CharAt(at) == ' ' || CharAt(at) == '\t') ++at;
  for (const char c : wanted) {
    if (c == ' ') {
      if (!IsBlank(CharAt(at))) return false;
      while (IsBlank(CharAt(at))) ++at;
    } else if (!EqualsIgnoreCase({&c, 1}, text().substr(std::min(at++, text().size()), 1))) {
      return false;
    }
  }
  return true;
}

bool Lexer::LastOnLine() const {
  if (frames_.empty()) return true;
  const std::size_t next = text().find_first_not_of(" \t", frames_.back().at);
  return next == std::string::npos || text()[next] == '\n';
}

std::string_view Lexer::WordBehind() const {
  if (frames_.empty()) return {};
  std::size_t at = frames_.back().at;
  while (IsBlank(CharAt(at))) ++at;
  const std::size_t end = WordEnd(at);
  return IsQuote(CharAt(end)) ? std::string_view() : std::string_view(text()).substr(at, end - at);
}

bool Lexer::SkipPast(std::string_view word) {
  while (GetPicture().kind != TokenKind::kEnd)
    if (token_.Is(word)) return true;
  return false;
}

void Lexer::SkipLine() {
  if (frames_.empty()) return;
  frames_.back().at = std::min(text().find('\n', frames_.back().at), text().size());
}

}  // namespace tolvane::copybook
