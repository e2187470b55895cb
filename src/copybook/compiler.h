// The data-description compiler: entries and clauses to field records.
//
//   SymbolTable table;
//   Diagnostics diagnostics(report);
//   Lexer lexer(open_text, diagnostics);
//   if (!lexer.InitLex("cust.cpy", Reading::kCopybook)) ...
//   Compiler compiler(lexer, table, diagnostics, settings);
//   if (!compiler.CompileFile()) ...
//
// The reader of a grammar file uses one lexer for its statements, the description and what follows:
//
//   lexer.InitLex("job.gra", Reading::kFree);
//   while (lexer.GetToken().kind == TokenKind::kWord) {
//     if (lexer.token().Is("INPUT")) {
//       path = lexer.GetPath().text;        // up to the next blank
//     } else if (lexer.token().Is("COPYBOOK") && lexer.GetToken().Is("IS")) {
//       lexer.BeginDescription();           // from here on as its lines are: fixed or free format
//       ... look at GetToken(), a number or COPY, and UngetToken() ...
//       if (!compiler.CompileRecords()) return false;
//     } else if (lexer.token().Is("ID") && lexer.GetToken().Is("IS")) {
//       condition = ExpressionParser(lexer, table, diagnostics).getExpr();
//     } else { ... lexer.GetToken() ... lexer.UngetToken() ... }
//   }
//
// After the description, and after an expression, the word that follows is the lexer's next token;
// it already is its current one too.
//
// Accepted: levels 01 to 49, 66, 77, 78, 88; the clauses of the table in clauses.cpp; COPY with
// REPLACING at any place; the statements of kIgnorePrecobWords between entries. docs/copybooks.md
// lists what is refused and why.
//
// Every error is reported with its place; compilation goes on with the next entry, and the result
// is false. A table of a compilation that failed is for listing only: its offsets may be wrong.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "copybook/diagnostics.h"
#include "copybook/lexer.h"
#include "copybook/settings.h"
#include "copybook/symbol_table.h"

namespace tolvane::copybook {

class Compiler {
 public:
  Compiler(Lexer& lexer, SymbolTable& table, Diagnostics& diagnostics, const Settings& settings)
      : lexer_(lexer), table_(table), diagnostics_(diagnostics), settings_(settings) {
    lexer_.AllowPlaceholders(settings.prefix);
  }

  // One record description: entries up to the next level 01 or 77, or to what is no entry. Its
  // offsets count from 0.
  [[nodiscard]] bool ParseData();
  // ParseData for as long as the next token is a record's level number. Texts that COPY brings in
  // hold nothing else but ID IS statements.
  [[nodiscard]] bool CompileRecords();
  // The first record, behind level 77 items, of a file of its own.
  [[nodiscard]] bool CompileFirstRecord();
  // CompileRecords on a file of its own, which may go on with ID IS statements only.
  [[nodiscard]] bool CompileFile();

 private:
  friend struct ClauseRow;

  // The clauses that one entry may hold once.
  enum Clause : unsigned {
    kPicture = 1U << 0,
    kUsage = 1U << 1,
    kSign = 1U << 2,
    kOccurs = 1U << 3,
    kRedefines = 1U << 4,
    kValue = 1U << 5,
    kSync = 1U << 6,
    kJustified = 1U << 7,
    kBlankWhenZero = 1U << 8,
    kExternal = 1U << 9,
    kGlobal = 1U << 10,
    kOther = 0  // may be repeated
  };

  // Tokens.
  const Token& token() const { return lexer_.token(); }
  const Token& Next();                 // the next token with COPY carried out
  const Token& NextAtEntry();          // and with ignored statements passed over
  bool Accept(std::string_view word);  // moves on if the next token is the word
  bool AcceptAny(std::initializer_list<std::string_view> words);
  bool Fail(std::string_view expected);
  bool Conclude(std::size_t errors, bool at_end);
  void Recover();
  bool SkipIgnored();
  void SkipTo(const IgnoredStatement& statement);
  bool AtLevel() const;
  bool AtEnd() const;
  bool AtValue() const;

  // Entries.
  void ParseEntry();
  void ParseItem(int level);
  void ParseCondition();
  void ParseRenames();
  void ParseConstant();
  bool ReadName(std::string& name);  // from the current token
  bool ReadPeriod();
  bool ReadRenamed(const Field*& renamed);
  Field& AddField(int level, std::string name, const Token& level_token);
  bool ParseClauses(Field& field);
  bool ParseClause(Field& field, unsigned& seen);
  static bool IsClauseWord(std::string_view word);
  void FinishRecord();
  void ResolveDepending(Field& field, std::size_t record_begin);

  // Clauses; each begins with its first word current and leaves its last token current.
  bool PictureClause(Field& field);
  bool UsageClause(Field& field);
  bool SignClause(Field& field);
  bool OccursClause(Field& field);
  bool RedefinesClause(Field& field);
  bool ValueClause(Field& field);
  bool SyncClause(Field& field);
  bool JustifiedClause(Field& field);
  bool BlankClause(Field& field);
  bool ExternalClause(Field& field);
  bool GlobalClause(Field& field);
  bool DateFormatClause(Field& field);
  bool NoiseWord(Field& field);

  bool ReadCount(std::int64_t& count);
  bool ReadValues(std::vector<ValueRange>& values);
  bool ReadQualifiedName(std::vector<std::string>& names);
  void ReadNames(std::vector<std::string>& names);

  Lexer& lexer_;
  SymbolTable& table_;
  Diagnostics& diagnostics_;
  Settings settings_;
  std::vector<Field*> open_;   // the last item and the groups above it, outermost first
  Field* previous_ = nullptr;  // the sibling before the item that is being read
  std::unordered_map<std::string, std::int64_t> constants_;  // level 78, upper case
};

}  // namespace tolvane::copybook
