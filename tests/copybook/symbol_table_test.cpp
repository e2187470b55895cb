#include "copybook/symbol_table.h"

#include <gtest/gtest.h>

#include "copybook/table_index.h"
#include "support.h"

namespace tolvane::copybook::test {
namespace {

TEST(SymbolTable, FindsNamesWithTheirQualifiersInAnyCase) {
  const Compilation compilation(
      "01 R. 05 G. 10 Cust-No PIC X. 10 A PIC X. 05 H. 10 CUST-NO PIC X. 10 A PIC X.\n"
      "01 S. 05 G. 10 A PIC X.\n66 RN RENAMES A.\n");
  const SymbolTable& table = compilation.table;
  EXPECT_EQ(table.GetSymHashSubStr("NOPE").matches, 0U);
  // Two matches, one of them spelled as given.
  const Lookup spelled = table.GetSymHashSubStr("Cust-No");
  EXPECT_EQ(spelled.matches, 2U);
  ASSERT_NE(spelled.Unique(), nullptr);
  EXPECT_EQ(spelled.Unique()->parent->name, "G");
  EXPECT_EQ(table.GetSymHashSubStr("cust-no").Unique(), nullptr);
  EXPECT_EQ(table.GetSymHashSubStr({"cust-no", "h"}).Unique()->offset, 2);
  EXPECT_EQ(table.GetSymHashSubStr("A").matches, 3U);
  EXPECT_EQ(table.GetSymHashSubStr({"A", "G"}).matches, 2U);
  EXPECT_EQ(table.GetSymHashSubStr({"A", "G", "S"}).Unique()->offset, 0);
  EXPECT_EQ(table.GetSymHashSubStr({"A", "S"}).matches, 1U);
  EXPECT_EQ(table.GetSymHashSubStr({"A", "S", "G"}).matches, 0U);
  EXPECT_EQ(table.GetSymHashSubStr("RN").Unique()->level, 66);
  EXPECT_EQ(table.GetSymNum(table.size()), nullptr);
}

TEST(SymbolTable, CountsAFieldOnceBelowGroupsOfOneName) {
  const Compilation compilation(
      "01 R. 05 A PIC X. 05 G. 10 A PIC X. 10 G. 15 A PIC X. 05 A1. 10 A PIC X. 05 G.\n"
      "10 A PIC X. 66 G1 RENAMES A1.\n");
  const SymbolTable& table = compilation.table;
  EXPECT_EQ(table.GetSymHashSubStr("A").matches, 5U);
  EXPECT_EQ(table.GetSymHashSubStr({"A", "G"}).matches, 3U);
  EXPECT_EQ(table.GetSymHashSubStr({"A", "G", "G"}).Unique()->offset, 2);
  EXPECT_EQ(table.GetSymHashSubStr({"A", "A1"}).Unique()->offset, 3);
  EXPECT_EQ(table.GetSymHashSubStr({"G1", "R"}).Unique()->level, 66);
}

TEST(SymbolTable, WalksTheItemsInSourceOrder) {
  const Compilation compilation(
      "01 R. 05 G. 10 A PIC X. 05 B PIC X.\n66 N RENAMES A.\n77 C PIC X.");
  std::string names;
  for (const Field* field = compilation.table.First(); field != nullptr; field = field->next)
    names += field->name;
  EXPECT_EQ(names, "RGABC");  // the RENAMES item describes storage again
  EXPECT_EQ(compilation.Get("G").next_sibling->name, "B");
}

TEST(TableIndex, GivesEveryOccurrenceItsOffsets) {
  const Compilation compilation(
      "01 R. 05 H PIC X. 05 T OCCURS 2. 10 A PIC 9 COMP. 10 U PIC 9 COMP OCCURS 3. 05 Z PIC X.",
      Settings::For36BitData());
  TableIndex index(compilation.Get("U"));
  EXPECT_EQ(index.Count(), 6);
  std::string seen;
  do {
    seen += std::to_string(index.CalcIdxOffset()) + "/" + std::to_string(index.CalcIdxAuxOffset()) +
            " ";
  } while (index.CalcNextIdx());
  EXPECT_EQ(seen, "2/3 3/5 4/7 6/11 7/13 8/15 ");
  EXPECT_EQ(index.CalcIdxOffset(), 2);
  const std::int64_t right[] = {2, 2}, wrong[] = {2, 4};
  EXPECT_TRUE(index.SetSubscripts(right));
  EXPECT_FALSE(index.SetSubscripts(wrong));
  EXPECT_FALSE(index.SetSubscripts({}));
  EXPECT_EQ(index.CalcIdxOffset(), 7);
  TableIndex single(compilation.Get("Z"));
  EXPECT_EQ(single.CalcIdxOffset(), 9);
  EXPECT_FALSE(single.CalcNextIdx());
}

TEST(TableIndex, StepsBitFieldsByBits) {
  const char* text = "01 R. 05 F PIC 1. 05 B PIC 1(5) OCCURS 3.";
  const Compilation packed(text);
  TableIndex index(packed.Get("B"));
  ASSERT_TRUE(index.CalcNextIdx() && index.CalcNextIdx());
  EXPECT_EQ(index.CalcIdxOffset(), 1);  // bit 1 + 2 * 5 = 11
  EXPECT_EQ(index.Bit(), 3U);
  Settings settings = Settings::For36BitData();
  settings.bit_to_byte = false;
  const Compilation wide(text, settings);
  TableIndex characters(wide.Get("B"));
  ASSERT_TRUE(characters.CalcNextIdx() && characters.CalcNextIdx());
  EXPECT_EQ(characters.CalcIdxOffset(), 1);  // 9 bits a byte
  EXPECT_EQ(characters.Bit(), 2U);
  EXPECT_EQ(characters.CalcIdxAuxOffset(), 11);
}

constexpr const char* kSaved =
    "01 R. 05 N PIC 99 VALUE 5. 05 T OCCURS 1 TO 4 DEPENDING ON N. 10 K PIC S9(3)V9 COMP-3.\n"
    "88 LOW VALUES -1 THRU 5, 7. 05 Q PIC X(4). 05 P REDEFINES Q. 10 PIC S9(8) COMP SYNC.\n"
    "66 N2 RENAMES N THRU Q.\n77 S PIC S9 SIGN LEADING SEPARATE.\n";

TEST(SymbolTable, LoadsWhatItSaved) {
  const Compilation compilation(kSaved);
  ASSERT_TRUE(compilation.ok) << compilation.messages;
  const std::string saved = compilation.table.Save();
  SymbolTable loaded;
  ASSERT_TRUE(loaded.Load(saved));
  EXPECT_EQ(DumpLayout(loaded), compilation.Layout());
  EXPECT_EQ(loaded.Save(), saved);
  EXPECT_EQ(loaded.GetSymHashSubStr("T").Unique()->occurs.depending,
            loaded.GetSymHashSubStr("N").Unique());
  EXPECT_TRUE(loaded.IsConditionName("low"));
}

TEST(SymbolTable, RefusesWhatIsCutOrChanged) {
  const std::string saved = Compilation(kSaved).table.Save();
  SymbolTable loaded;
  for (std::size_t length = 0; length < saved.size(); length += 7)
    EXPECT_FALSE(loaded.Load(saved.substr(0, length))) << length;
  for (std::size_t at = 0; at < saved.size(); at += 5) {
    std::string changed = saved;
    changed[at] = changed[at] == '1' ? '2' : '1';
    EXPECT_FALSE(loaded.Load(changed)) << at;
    EXPECT_EQ(loaded.size(), 0U);
  }
}

// Values that a right check sum vouches for are refused or kept as they are.
TEST(SymbolTable, ChecksTheValuesThatItLoads) {
  const std::string saved = Compilation(kSaved).table.Save();
  const std::size_t begin = saved.find('\n') + 1, end = saved.rfind(' ') + 1;
  const std::string body = saved.substr(begin, end - begin);
  ASSERT_EQ(Seal(body), saved);
  SymbolTable loaded;
  std::size_t refused = 0;
  for (std::size_t at = 0; at < body.size(); ++at) {
    std::string changed = body;
    changed[at] = changed[at] == '9' ? '1' : '9';
    if (loaded.Load(Seal(changed)))
      EXPECT_EQ(loaded.Save(), Seal(changed)) << at;
    else
      ++refused;
  }
  EXPECT_GT(refused, body.size() / 2);
}

}  // namespace
}  // namespace tolvane::copybook::test
