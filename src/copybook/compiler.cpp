#include "copybook/compiler.h"

#include <algorithm>

#include "copybook/copy_statement.h"
#include "copybook/layout.h"

namespace tolvane::copybook {
namespace {

constexpr int kHighestLevel = 49;
constexpr std::string_view kLevelExpected = "expected a level number (01 to 49, 66, 77, 78 or 88)";

// The level number that a token's text gives; 0 when it gives none.
int LevelOf(const Token& token) {
  if (token.kind != TokenKind::kNumber || token.text.size() > 2) return 0;
  int level = 0;
  for (const char c : token.text) {
    if (!IsDigit(c)) return 0;
    level = level * 10 + (c - '0');
  }
  const bool special = level == 66 || level == 77 || level == 78 || level == 88;
  return level <= kHighestLevel || special ? level : 0;
}

bool BeginsRecord(const Token& token) {
  const int level = LevelOf(token);
  return level == 1 || level == 77;
}

}  // namespace

const Token& Compiler::Next() {
  while (lexer_.GetToken().Is("COPY") && !diagnostics_.Full())
    if (!CarryOutCopy(lexer_, diagnostics_)) Recover();
  return token();
}

const Token& Compiler::NextAtEntry() {
  do Next();
  while (SkipIgnored());
  return token();
}

bool Compiler::SkipIgnored() {
  if (token().kind != TokenKind::kWord || !token().first_on_line) return false;
  for (const IgnoredStatement& statement : kIgnorePrecobWords) {
    if (!token().Is(statement.word) || !lexer_.FollowedBy(statement.next)) continue;
    if (statement.end == StatementEnd::kWord && !lexer_.LastOnLine() && !lexer_.FollowedBy("."))
      continue;
    SkipTo(statement);
    return true;
  }
  return false;
}

void Compiler::SkipTo(const IgnoredStatement& statement) {
  switch (statement.end) {
    case StatementEnd::kWord:
    case StatementEnd::kLine:
      lexer_.SkipLine();
      return;
    case StatementEnd::kPeriod:
      Recover();
      return;
    case StatementEnd::kEndExec:
      break;
  }
  const Place begin = token().span.begin;
  if (!lexer_.SkipPast("END-EXEC")) {
    diagnostics_.Error(begin, "expected END-EXEC after EXEC");
    return;
  }
  if (lexer_.FollowedBy(".")) lexer_.GetToken();
}

bool Compiler::Accept(std::string_view word) {
  if (Next().Is(word)) return true;
  lexer_.UngetToken();
  return false;
}

bool Compiler::AcceptAny(std::initializer_list<std::string_view> words) {
  Next();
  if (std::any_of(words.begin(), words.end(),
                  [this](std::string_view word) { return token().Is(word); }))
    return true;
  lexer_.UngetToken();
  return false;
}

bool Compiler::Fail(std::string_view expected) {
  const bool at_end = token().kind == TokenKind::kEnd;
  diagnostics_.Error(token().span.begin, expected, at_end ? "end of text" : token().text);
  return false;
}

bool Compiler::AtLevel() const { return token().first_on_line && LevelOf(token()) != 0; }

// Moves on past the next full stop, or to a level number at the beginning of a line.
void Compiler::Recover() {
  if (lexer_.IsPutBack()) lexer_.GetToken();
  while (token().kind != TokenKind::kEnd && !token().Is(".")) {
    if (AtLevel()) {
      lexer_.UngetToken();
      return;
    }
    lexer_.GetToken();
  }
}

bool Compiler::CompileRecords() {
  const std::size_t errors = diagnostics_.errors();
  do (void)ParseData();  // the count of errors tells
  while (BeginsRecord(token()) && !diagnostics_.Full());
  return Conclude(errors, !token().copied || token().Is("ID"));
}

bool Compiler::CompileFirstRecord() {
  const std::size_t errors = diagnostics_.errors();
  const auto& records = table_.records_;
  do (void)ParseData();  // the count of errors tells
  while (BeginsRecord(token()) && !records.empty() && records.back().first->IsStandalone() &&
         !diagnostics_.Full());
  return Conclude(errors, AtEnd() || BeginsRecord(token()));
}

bool Compiler::CompileFile() {
  const std::size_t errors = diagnostics_.errors();
  (void)CompileRecords();  // the count of errors tells
  return Conclude(errors, AtEnd());
}

// Where a file of its own has described all that it describes.
bool Compiler::AtEnd() const { return token().kind == TokenKind::kEnd || token().Is("ID"); }

// Whether nothing was wrong since there were so many errors: what follows no longer describes data.
bool Compiler::Conclude(std::size_t errors, bool at_end) {
  if (!at_end && diagnostics_.errors() == errors) return Fail(kLevelExpected);
  return diagnostics_.errors() == errors;
}

bool Compiler::ParseData() {
  const std::size_t errors = diagnostics_.errors();
  open_.clear();
  previous_ = nullptr;
  NextAtEntry();
  if (token().kind != TokenKind::kNumber) {
    lexer_.UngetToken();
    return Fail(kLevelExpected);
  }
  table_.records_.emplace_back();
  for (bool first = true; !diagnostics_.Full(); first = false) {
    const bool entry = token().kind == TokenKind::kNumber && (first || !BeginsRecord(token()));
    if (token().Is(".")) {
      diagnostics_.Warning(token().span.begin, "expected a level number", ".");
    } else if (entry) {
      ParseEntry();
    } else if (token().kind != TokenKind::kWord && token().kind != TokenKind::kEnd &&
               !BeginsRecord(token())) {
      Fail(kLevelExpected);
      Recover();
    } else {
      break;
    }
    NextAtEntry();
  }
  for (const BadWord& bad : kIgnoreBadWords)
    if (token().Is(bad.word)) Fail(bad.expected);
  lexer_.UngetToken();
  FinishRecord();
  return diagnostics_.errors() == errors;
}

void Compiler::FinishRecord() {
  table_.files_ = diagnostics_.files();
  RecordDescription& record = table_.records_.back();
  if (record.first == nullptr) {
    table_.records_.pop_back();
    return;
  }
  record.name = record.first->name;
  LayOut(record, settings_, diagnostics_);
  for (std::size_t i = record.first->number; i < table_.fields_.size() && !diagnostics_.Full();
       ++i) {
    Field& field = table_.fields_[i];
    if (field.level == 66 && field.redefines != nullptr) LayOutRenames(field, diagnostics_);
    if (!field.occurs.depending_on.empty()) ResolveDepending(field, record.first->number);
  }
}

// DEPENDING ON may name an item of another record, or of the program that the copybook is for.
void Compiler::ResolveDepending(Field& field, std::size_t record_begin) {
  const auto& depending_on = field.occurs.depending_on;
  const std::vector<std::string_view> names(depending_on.begin(), depending_on.end());
  Lookup found = table_.Find(names, record_begin);
  if (found.matches == 0) found = table_.Find(names, 0);
  field.occurs.depending = found.Unique();
  if (field.occurs.depending != nullptr) return;
  if (table_.names_.contains(ToUpper(names.front()))) {
    diagnostics_.Error(field.source.entry.begin, "expected one data item after DEPENDING ON",
                       names.front());
  } else {
    diagnostics_.Warning(field.source.entry.begin,
                         "expected a data item of this description after DEPENDING ON",
                         names.front());
  }
}

void Compiler::ParseEntry() {
  const int level = LevelOf(token());
  switch (level) {
    case 0:
      Fail(kLevelExpected);
      lexer_.GetToken();
      return Recover();
    case 66:
      return ParseRenames();
    case 78:
      return ParseConstant();
    case 88:
      return ParseCondition();
    default:
      return ParseItem(level);
  }
}

void Compiler::ParseItem(int level) {
  const Token level_token = token();
  const Field* const first = table_.records_.back().first;
  if (!BeginsRecord(token()) &&
      (first == nullptr ? !settings_.ignore_level_01 : first->level == 77))
    Fail("expected level 01");
  std::string name;
  Next();
  if (token().kind != TokenKind::kWord || IsClauseWord(token().text)) {
    lexer_.UngetToken();
  } else if (!token().Is("FILLER") && !ReadName(name)) {
    return Recover();
  }
  Field& field = AddField(level, std::move(name), level_token);
  field.incomplete = !ParseClauses(field);
  if (field.incomplete) Recover();
  field.source.entry.end = token().span.end;
}

bool Compiler::ReadName(std::string& name) {
  if (token().kind != TokenKind::kWord || IsClauseWord(token().text))
    return Fail("expected a data name");
  if (token().text.size() > kMaxName) return Fail("expected a name of at most 30 characters");
  name = token().text;
  return true;
}

bool Compiler::ReadPeriod() {
  if (Next().Is(".")) return true;
  Fail("expected a full stop");
  Recover();
  return false;
}

Field& Compiler::AddField(int level, std::string name, const Token& level_token) {
  RecordDescription& record = table_.records_.back();
  previous_ = nullptr;
  while (!open_.empty() && open_.back()->level >= level) {
    previous_ = open_.back();
    open_.pop_back();
  }
  const Place& place = level_token.span.begin;
  if (previous_ != nullptr && previous_->level != level && previous_->level != 77)
    diagnostics_.Warning(place, "expected the level of the item before at this depth",
                         level_token.text);
  Field* const parent = open_.empty() ? nullptr : open_.back();
  if (parent != nullptr && !parent->picture.empty())
    diagnostics_.Error(place, "expected no item below one that has a PICTURE", level_token.text);
  const auto same = table_.names_.find(ToUpper(name));
  if (same != table_.names_.end() && record.first != nullptr &&
      same->second.back()->parent == parent && same->second.back()->number >= record.first->number)
    diagnostics_.Warning(place, "expected a name that its group does not have yet", name);
  Field& field = table_.Add(level, std::move(name), parent, previous_);
  if (record.first == nullptr) record.first = &field;
  field.source.entry.begin = place;
  open_.push_back(&field);
  return field;
}

void Compiler::ParseCondition() {
  Condition condition;
  condition.place = token().span.begin;
  const bool has_item = !open_.empty() && table_.fields_.back().level != 66;
  if (!has_item) Fail("expected a data item before level 88");
  Next();
  if (!has_item) return Recover();
  if (!ReadName(condition.name)) return Recover();
  if (!AcceptAny({"VALUE", "VALUES"})) {
    Next();
    Fail("expected VALUE");
    return Recover();
  }
  if (!ReadValues(condition.values)) return Recover();
  for (const std::string_view noise : {"WHEN", "SET", "TO"}) (void)Accept(noise);
  if (Accept("FALSE")) {
    (void)Accept("IS");
    Next();
    if (!ReadLiteral(lexer_, diagnostics_, condition.when_false)) return Recover();
  }
  ++table_.conditions_[ToUpper(condition.name)];
  open_.back()->conditions.push_back(std::move(condition));
  ReadPeriod();
}

void Compiler::ParseRenames() {
  const Token level_token = token();
  std::string name;
  if (open_.empty()) Fail("expected a record before level 66");
  Next();
  if (open_.empty()) return Recover();
  if (!ReadName(name)) return Recover();
  Field& field = table_.Add(66, std::move(name), open_.front(), nullptr);
  field.source.entry.begin = level_token.span.begin;
  if (!Next().Is("RENAMES")) {
    Fail("expected RENAMES");
    return Recover();
  }
  if (!ReadRenamed(field.redefines)) return Recover();
  if (AcceptAny({"THRU", "THROUGH"}) && !ReadRenamed(field.renames_thru)) return Recover();
  ReadPeriod();
  field.source.entry.end = token().span.end;
}

bool Compiler::ReadRenamed(const Field*& renamed) {
  std::vector<std::string> names;
  Next();
  const Token first = token();
  if (!ReadQualifiedName(names)) return false;
  const std::vector<std::string_view> views(names.begin(), names.end());
  renamed = table_.Find(views, table_.records_.back().first->number).Unique();
  if (renamed != nullptr && renamed->level != 66) return true;
  renamed = nullptr;
  diagnostics_.Error(first.span.begin, "expected the name of one item of the record", first.text);
  return false;
}

void Compiler::ParseConstant() {
  std::string name;
  Next();
  if (!ReadName(name)) return Recover();
  if (!Next().Is("VALUE")) {
    Fail("expected VALUE");
    return Recover();
  }
  std::vector<ValueRange> values;
  if (!ReadValues(values)) return Recover();
  const Literal& value = values.front().from;
  const bool whole = value.kind == 'N' && value.sign != '-' && value.text.size() <= 10 &&
                     std::all_of(value.text.begin(), value.text.end(), IsDigit);
  if (whole) constants_[ToUpper(name)] = std::stoll(value.text);
  ReadPeriod();
}

bool Compiler::ParseClauses(Field& field) {
  for (unsigned seen = 0;;) {
    Next();
    if (token().Is(".")) return true;
    if (token().Is(",") || token().Is(";")) continue;
    if (token().kind == TokenKind::kEnd || AtLevel()) return Fail("expected a full stop");
    if (!ParseClause(field, seen)) return false;
  }
}

}  // namespace tolvane::copybook
