// The clauses of a data description entry, a row each.
#include <algorithm>
#include <array>

#include "copybook/compiler.h"

namespace tolvane::copybook {

struct ClauseRow {
  using Parse = bool (Compiler::*)(Field&);
  std::string_view word;
  unsigned clause;  // may be given once; 0: any number of times
  Parse parse;

  static const ClauseRow* Find(std::string_view word);
};

const ClauseRow* ClauseRow::Find(std::string_view word) {
  static constexpr std::array kRows{
      ClauseRow{"PIC", Compiler::kPicture, &Compiler::PictureClause},
      ClauseRow{"PICTURE", Compiler::kPicture, &Compiler::PictureClause},
      ClauseRow{"USAGE", Compiler::kUsage, &Compiler::UsageClause},
      ClauseRow{"REDEFINES", Compiler::kRedefines, &Compiler::RedefinesClause},
      ClauseRow{"OCCURS", Compiler::kOccurs, &Compiler::OccursClause},
      ClauseRow{"VALUE", Compiler::kValue, &Compiler::ValueClause},
      ClauseRow{"VALUES", Compiler::kValue, &Compiler::ValueClause},
      ClauseRow{"SIGN", Compiler::kSign, &Compiler::SignClause},
      ClauseRow{"LEADING", Compiler::kSign, &Compiler::SignClause},
      ClauseRow{"TRAILING", Compiler::kSign, &Compiler::SignClause},
      ClauseRow{"SYNC", Compiler::kSync, &Compiler::SyncClause},
      ClauseRow{"SYNCHRONIZED", Compiler::kSync, &Compiler::SyncClause},
      ClauseRow{"JUST", Compiler::kJustified, &Compiler::JustifiedClause},
      ClauseRow{"JUSTIFIED", Compiler::kJustified, &Compiler::JustifiedClause},
      ClauseRow{"BLANK", Compiler::kBlankWhenZero, &Compiler::BlankClause},
      ClauseRow{"EXTERNAL", Compiler::kExternal, &Compiler::ExternalClause},
      ClauseRow{"GLOBAL", Compiler::kGlobal, &Compiler::GlobalClause},
      ClauseRow{"DATE", Compiler::kOther, &Compiler::DateFormatClause},
      ClauseRow{"IS", Compiler::kOther, &Compiler::NoiseWord},
      ClauseRow{"VOLATILE", Compiler::kOther, &Compiler::NoiseWord},
  };
  const auto* row = std::find_if(kRows.begin(), kRows.end(), [word](const ClauseRow& candidate) {
    return EqualsIgnoreCase(candidate.word, word);
  });
  return row == kRows.end() ? nullptr : row;
}

bool Compiler::IsClauseWord(std::string_view word) {
  // A data item may well be called DATE or INDEX; the clauses need their other words.
  return (ClauseRow::Find(word) != nullptr && !EqualsIgnoreCase(word, "DATE")) ||
         EqualsIgnoreCase(word, "RENAMES") || EqualsIgnoreCase(word, "COPY") ||
         UsageOfWord(word) != Usage::kNone;
}

bool Compiler::ParseClause(Field& field, unsigned& seen) {
  const ClauseRow* row = ClauseRow::Find(token().text);
  if (token().kind != TokenKind::kWord ||
      (row == nullptr && UsageOfWord(token().text) == Usage::kNone))
    return Fail("expected a clause or a full stop");
  const unsigned clause = row != nullptr ? row->clause : static_cast<unsigned>(kUsage);
  if ((seen & clause) != 0) return Fail("expected each clause once");
  seen |= clause;
  return row != nullptr ? (this->*row->parse)(field) : UsageClause(field);
}

bool Compiler::PictureClause(Field& field) {
  field.source.picture_clause.begin = token().span.begin;
  if (lexer_.GetPicture().Is("IS")) lexer_.GetPicture();
  if (token().kind != TokenKind::kWord) return Fail("expected a picture");
  field.picture = token().text;
  field.source.picture = token().span;
  field.source.picture_clause.end = token().span.end;
  return true;
}

bool Compiler::UsageClause(Field& field) {
  field.source.usage.begin = token().span.begin;
  if (token().Is("USAGE")) {
    (void)Accept("IS");
    Next();
  }
  field.kind = UsageOfWord(token().text);
  if (field.kind == Usage::kNone || (field.kind == Usage::kCompX && !settings_.support_comp_x))
    return Fail("expected a usage");
  field.source.usage.end = token().span.end;
  return true;
}

bool Compiler::SignClause(Field& field) {
  field.source.sign.begin = token().span.begin;
  if (token().Is("SIGN")) {
    (void)Accept("IS");
    Next();
  }
  if (!token().Is("LEADING") && !token().Is("TRAILING"))
    return Fail("expected LEADING or TRAILING");
  field.sign = token().Is("LEADING") ? SignPlace::kLeading : SignPlace::kTrailing;
  field.source.sign.end = token().span.end;
  if (Accept("SEPARATE")) {
    field.sign_separate = true;
    field.source.sign.end = token().span.end;
    if (Accept("CHARACTER")) field.source.sign.end = token().span.end;
  }
  return true;
}

bool Compiler::ReadCount(std::int64_t& count) {
  Next();
  const auto constant = constants_.find(ToUpper(token().text));
  if (constant != constants_.end()) {
    count = constant->second;
  } else {
    const bool whole = token().kind == TokenKind::kNumber &&
                       std::all_of(token().text.begin(), token().text.end(), IsDigit);
    if (!whole) return Fail("expected a number of occurrences");
    count = token().text.size() > 18 ? kMaxSize + 1 : std::stoll(token().text);
  }
  return count <= kMaxSize || Fail("expected at most 2147483647 occurrences");
}

bool Compiler::OccursClause(Field& field) {
  if (field.level == 1 || field.level == 77) return Fail("expected no OCCURS at level 01 or 77");
  Occurs& occurs = field.occurs;
  occurs.clause = true;
  std::int64_t min = 0;
  if (!ReadCount(min)) return false;
  std::int64_t max = min;
  if (Accept("TO") && !ReadCount(max)) return false;
  if (max < 1 || max < min) return Fail("expected more occurrences");
  occurs.min = min;
  occurs.max = max;
  (void)Accept("TIMES");
  for (;;) {
    if (Accept("DEPENDING")) {
      (void)Accept("ON");
      Next();
      if (!ReadQualifiedName(occurs.depending_on)) return false;
    } else if (AcceptAny({"ASCENDING", "DESCENDING"})) {
      (void)Accept("KEY");
      (void)Accept("IS");
      ReadNames(occurs.keys);
    } else if (Accept("INDEXED")) {
      (void)Accept("BY");
      ReadNames(occurs.indexes);
    } else {
      return true;
    }
  }
}

// The current token and its qualifiers.
bool Compiler::ReadQualifiedName(std::vector<std::string>& names) {
  std::string name;
  if (!ReadName(name)) return false;
  names.push_back(std::move(name));
  while (AcceptAny({"OF", "IN"})) {
    Next();
    if (!ReadName(name)) return false;
    names.push_back(std::move(name));
  }
  return true;
}

// Names up to the next word that cannot be one; qualifiers are read over.
void Compiler::ReadNames(std::vector<std::string>& names) {
  for (;;) {
    Next();
    if (token().Is(",")) continue;
    if (token().Is("OF") || token().Is("IN")) {
      Next();
      continue;
    }
    const bool clause = IsClauseWord(token().text) || token().Is("DATE") ||
                        token().Is("ASCENDING") || token().Is("DESCENDING") ||
                        token().Is("INDEXED") || token().Is("DEPENDING");
    if (token().kind != TokenKind::kWord || clause) break;
    names.push_back(token().text);
  }
  lexer_.UngetToken();
}

bool Compiler::RedefinesClause(Field& field) {
  Next();
  if (token().kind != TokenKind::kWord) return Fail("expected a data name");
  const Field* target = previous_;
  if (field.level == 1 && table_.records_.size() > 1)
    target = table_.records_[table_.records_.size() - 2].first;
  const bool other =
      target != nullptr && !EqualsIgnoreCase(target->name, token().text) && target->redefines;
  if (other) target = target->redefines;
  if (target == nullptr || target->level != field.level ||
      !EqualsIgnoreCase(target->name, token().text))
    return Fail("expected the name of the item before at this level");
  field.redefines = target->redefines != nullptr ? target->redefines : target;
  return true;
}

// Whether a list of values goes on. A level number at the beginning of a line does not: it is told
// from a value by the word behind it, which is none that can stand behind a value.
bool Compiler::AtValue() const {
  if (!AtLiteral(lexer_)) return false;
  constexpr std::string_view kBehindValues[] = {"THRU", "THROUGH", "WHEN", "SET", "TO", "FALSE"};
  const std::string_view word = lexer_.WordBehind();
  return !AtLevel() || std::none_of(word.begin(), word.end(), IsLetter) ||
         !FigurativeConstant(word).empty() || EqualsIgnoreCase(word, "ALL") ||
         std::any_of(std::begin(kBehindValues), std::end(kBehindValues),
                     [word](std::string_view other) { return EqualsIgnoreCase(word, other); });
}

bool Compiler::ReadValues(std::vector<ValueRange>& values) {
  (void)AcceptAny({"IS", "ARE"});
  for (;;) {
    ValueRange range;
    Next();
    if (!ReadLiteral(lexer_, diagnostics_, range.from)) return false;
    if (AcceptAny({"THRU", "THROUGH"})) {
      Next();
      if (!ReadLiteral(lexer_, diagnostics_, range.thru)) return false;
    }
    values.push_back(std::move(range));
    const bool comma = Accept(",");
    Next();
    const bool more = comma ? AtLiteral(lexer_) : AtValue();
    lexer_.UngetToken();
    if (!more) return true;
  }
}

bool Compiler::ValueClause(Field& field) { return ReadValues(field.values); }

bool Compiler::SyncClause(Field& field) {
  field.synchronized = true;
  field.source.sync = token().span;
  if (AcceptAny({"LEFT", "RIGHT"})) field.source.sync.end = token().span.end;
  return true;
}

bool Compiler::JustifiedClause(Field& field) {
  field.justified = true;
  (void)Accept("RIGHT");
  return true;
}

bool Compiler::BlankClause(Field& field) {
  field.blank_when_zero = true;
  (void)Accept("WHEN");
  return AcceptAny({"ZERO", "ZEROS", "ZEROES"}) || (Next(), Fail("expected ZERO"));
}

bool Compiler::ExternalClause(Field& field) {
  field.external = true;
  if (Accept("AS") && Next().kind != TokenKind::kString) return Fail("expected a name in quotes");
  return true;
}

bool Compiler::GlobalClause(Field& field) {
  field.global = true;
  return true;
}

// DATE FORMAT says what the digits mean; the item's layout is that of its picture.
bool Compiler::DateFormatClause(Field& /*field*/) {
  if (!Next().Is("FORMAT")) return Fail("expected FORMAT");
  (void)Accept("IS");
  return lexer_.GetPicture().kind == TokenKind::kWord || Fail("expected a date format");
}

bool Compiler::NoiseWord(Field& /*field*/) { return true; }

}  // namespace tolvane::copybook
