// The reader behind ParseOptionsFile: one handler for each statement, in a table by its word.
#pragma once

#include <cstdint>
#include <string>

#include "convert/copybook_source.h"
#include "dates/date_statements.h"
#include "state/options.h"

namespace tolvane {

class Grammar {
 public:
  explicit Grammar(std::string name) : name_(std::move(name)) {}
  int ParseOptionsFile();

 private:
  // What a statement means for the reading.
  enum class Outcome { kNext, kStop, kReject };
  using Handler = Outcome (Grammar::*)();
  struct Statement {
    const char* word;
    Handler handler;
  };
  static const Statement kStatements[];

  Outcome ReadStatement();
  int EndOfReading();
  int ResolveDates();

  // Tokens.
  const copybook::Token& token() const { return reader_.lexer.token(); }
  const copybook::Token& Next() { return reader_.lexer.GetToken(); }
  void PutBack() { reader_.lexer.UngetToken(); }
  bool Accept(const char* word);
  void ProcessIsEqual();
  const copybook::Token& NextValue();
  std::string NextPath();
  // Print an error; the result says what it means.
  [[gnu::format(printf, 1, 2)]] static Outcome Stop(const char* format, ...);
  [[gnu::format(printf, 1, 2)]] static Outcome Reject(const char* format, ...);

  // Statements (grammar.cpp).
  Outcome Create(), Delete(), Restore(), Backup(), Input(), Output(), Key(), Zorva();
  Outcome CompilerIs(), Translate(), Record(), Block(), Process(), Skip(), Add(), Read();
  Outcome Dups(), Raw(), Relaxed(), Maskfile(), Label(), Vol(), Lbl(), Case(), Define();
  Outcome Match(), Automatic(), Validate(), Explode(), Analyze(), Copybook();
  // Their parts.
  Outcome BackupFile();
  Outcome LoadInputOutputOptions(std::string& path);
  Outcome processRecBlock(bool record);
  Outcome KeyByPosition(KeyEntry& key);
  Outcome KeyAttributes(KeyEntry& key, std::int32_t number);
  Outcome CompileCopybook(const std::string& which);
  Outcome KeepTable(const std::string& which, std::unique_ptr<copybook::SymbolTable> table);

  // Statements about dates (grammar_dates.cpp).
  Outcome Field(), DateIs(), Age(), TestDate(), FileDate();
  Outcome ReadWindow(DateIsStatement& statement);
  Outcome ReadWindowTest(DateWindow& window);
  Outcome ReadYear(DateWindow& window);
  Outcome ReadCharacter(DateWindow& window);
  Outcome ReadCentury(bool of_year, std::string& century);
  Outcome ReadYearCentury(std::string& century);
  struct DateText {
    std::string month, day, year;
  };
  bool ReadDate(DateText& date);
  Outcome ReadRunDate(const char* statement, std::int64_t& date, Switch& given);
  Outcome AgeDates(AgeEntry& entry);
  bool ParseDateAndGetTimeNo(const DateText& date, std::int64_t& seconds) const;

  std::string name_;
  CopybookReader reader_;
  bool at_end_ = false;  // the file ended where a statement could begin
};

}  // namespace tolvane
