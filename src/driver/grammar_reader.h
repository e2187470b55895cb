// The reader behind ParseOptionsFile: one handler for each statement, in a table by its word;
// statements that only set a switch are rows of a table of their own.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "convert/copybook_source.h"
#include "dates/date_statements.h"
#include "state/options.h"

namespace tolvane {

// Leading digits of a text; nothing when there are none.
[[nodiscard]] std::optional<std::int64_t> LeadingNumber(const std::string& text);

// The same for sizes and places: nothing beyond 2147483647 either.
[[nodiscard]] std::optional<std::int32_t> LeadingSize(const std::string& text);

// Whether a word begins with some letters, in any case.
[[nodiscard]] bool Begins(const std::string& word, std::string_view letters);

// A word that a statement takes, and the switch that it sets; null: none.
struct Choice {
  const char* word;
  Switch OptionSet::*target;
};
// Null when the token is none of them.
[[nodiscard]] const Choice* FindChoice(std::span<const Choice> choices,
                                       const copybook::Token& token);

class Grammar {
 public:
  explicit Grammar(std::string name) : name_(std::move(name)) {}
  // As the function of that name does; once.
  int ParseOptionsFile();

 private:
  // What a statement means for the reading.
  enum class Outcome { kNext, kStop, kReject };
  using Handler = Outcome (Grammar::*)();
  struct Statement {
    std::string_view word;
    Handler handler;
    bool numbered = false;  // digits may follow in the same word
  };
  static const Statement kStatements[];
  // A statement that sets a switch and no more.
  struct SwitchStatement {
    const char* word;
    Switch OptionSet::*target;
    const char* noise = nullptr;  // a word that may follow; null: none
  };
  static const SwitchStatement kSwitchStatements[];

  // The statement that the current token begins.
  Outcome ReadStatement();
  // What can only be judged when the file has been read, or what there is of it. 1, or 0 after a
  // message.
  int EndOfReading();
  // Looks up the fields that dates are read of. 1, or 0 after a message.
  int ResolveDates();

  // Tokens.
  const copybook::Token& token() const { return reader_.lexer.token(); }
  const copybook::Token& Next() { return reader_.lexer.GetToken(); }
  void PutBack() { reader_.lexer.UngetToken(); }
  // Takes the next token if it is the word ...
  bool Accept(const char* word) { return reader_.lexer.Accept(word); }
  // ... and a path cannot go on with it: FILE, but not FILE.dat.
  bool AcceptBeforePath(const char* word);
  // Passes over an optional IS and an optional =; NextValue takes the token behind them.
  void ProcessIsEqual();
  const copybook::Token& NextValue();
  // The text up to the next blank, for names and paths; the same behind an optional IS and =. Empty
  // at the end of the file.
  std::string NextPath();
  std::string NextPathValue();
  // Print an error; the result says what it means.
  [[gnu::format(printf, 1, 2)]] static Outcome Stop(const char* format, ...);
  [[gnu::format(printf, 2, 3)]] Outcome Reject(const char* format, ...);
  // The file that a place of a token is in.
  std::string FileOf(const copybook::Place& place) const {
    return reader_.diagnostics.FileOf(place);
  }
  // Stops at the current token.
  Outcome Invalid();

  // Statements about files (grammar_files.cpp) ...
  Outcome Backup(), Input(), Output(), Zorva(), Key(), Dups();
  Outcome Label(), Vol(), Lbl(), Case(), Add(), Read(), Define();
  Outcome BackupFile();
  Outcome LoadInputOutputOptions(std::string& path);
  Outcome KeyByPosition(KeyEntry& key);
  Outcome KeyAttributes(KeyEntry& key, std::int32_t number);

  // ... about the data (grammar_data.cpp) ...
  Outcome CompilerIs(), Translate(), Record(), Block(), Process(), Skip(), Raw(), Relaxed();
  Outcome Validate(), Explode(), Analyze(), Maskfile(), Copybook();
  Outcome processRecBlock(const char* what, std::int32_t& size);
  Outcome ReadCount(std::int64_t& count);
  Outcome CompileCopybook(const std::string& which);
  Outcome KeepTable(const std::string& which, std::unique_ptr<copybook::SymbolTable> table);

  // ... and about dates (grammar_dates.cpp).
  Outcome Field(), DateIs(), Age(), TestDate(), FileDate();
  Outcome ReadWindow(DateIsStatement& statement);
  Outcome ReadWindowTest(DateWindow& window);
  struct YearTexts;
  struct CharacterTexts;
  static const YearTexts kBoundOfYear, kCenturyOfYear;
  static const CharacterTexts kBoundOfAll, kCenturyOfAll;
  Outcome ReadYearValue(const YearTexts& texts, std::string& value);
  Outcome ReadCharacter(const CharacterTexts& texts, std::string& value);
  Outcome ReadCentury(DateWindow::Test test, std::string& century);
  struct DateText {
    std::string month, day, year;
  };
  bool ReadDate(DateText& date);
  Outcome ReadRunDate(const char* statement, std::int64_t& date, Switch& given);
  Outcome AgeDates(AgeEntry& entry);
  bool ParseDateAndGetTimeNo(const DateText& date, std::int64_t& seconds) const;

  std::string name_;
  CopybookReader reader_;
  copybook::Place statement_;  // where the one that is being read begins
  copybook::Place run_date_;   // where the last TEST DATE or FILE DATE does
  bool at_end_ = false;        // the file ended where a statement could begin
};

}  // namespace tolvane
