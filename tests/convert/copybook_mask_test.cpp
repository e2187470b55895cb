// Mask lists, keys and ID IS conditions from copybooks: which items come of which fields, and which
// records a condition holds for.

#include "convert/copybook_mask.h"

#include <gtest/gtest.h>

#include "convert/conditions.h"
#include "convert/mask.h"
#include "datarep/byte_order.h"
#include "state/options.h"
#include "state/run.h"
#include "support/temp_dir.h"

namespace tolvane {
namespace {

using test::FromHex;

// Switches that a row of a table sets.
using Switches = std::vector<Switch OptionSet::*>;

class CopybookMask : public ::testing::Test {
 protected:
  CopybookMask() { Reset({}); }
  ~CopybookMask() override { Reset({}); }

  void Reset(const Switches& switches) {
    opt = OptionSet{};
    lasting = {};
    run = {};
    sizes = {};
    mask_list.clear();
    copybooks = {};
    opt.copyfile = dir_.Path("book");
    for (const auto chosen : switches) opt.*chosen = 1;
  }
  // The mask list of a copybook; the messages when there is none.
  std::string Load(const std::string& book) {
    dir_.WriteFile("book", book);
    ::testing::internal::CaptureStderr();
    ::testing::internal::CaptureStdout();
    const int loaded = LoadMaskList();
    (void)::testing::internal::GetCapturedStdout();
    messages_ = ::testing::internal::GetCapturedStderr();
    return loaded == 0 ? messages_ : Dump();
  }
  // Type, location and length of each item; from and to of a condition.
  static std::string Dump() {
    std::string text;
    for (const MaskItem& item : mask_list) {
      if (!text.empty()) text += ' ';
      text += item.type;
      text += item.is_condition()
                  ? std::to_string(item.condition_start) + '-' + std::to_string(item.condition_end)
                  : std::to_string(item.location) + ':' + std::to_string(item.length);
    }
    return text;
  }
  // What `F <picture>` compared as `condition` says leads to: "yes" or "no" for the record, or the
  // message about the literal.
  std::string Match(const std::string& picture, const std::string& condition,
                    const std::string& hex, bool ascii = false) {
    const std::string loaded = Load("01 R. 05 F " + picture + ". 05 OTHER PIC X(60).\nID IS F " +
                                    condition + " USE OTHER.\n");
    const std::size_t tail = loaded.find("\nERROR: Saving conditions\n");
    if (tail != std::string::npos) {
      wrong_ = loaded.substr(tail);
      return loaded.substr(0, tail);
    }
    if (mask_list.empty()) return loaded;
    run.sw_a2e = ascii;
    MaskItem& item = mask_list.back();
    if (!ascii) ConvertIdIsConditionToEbcdic(item);
    const std::string record = FromHex(hex);
    return EvaluateMatchConditions(Bytes(record), item) ? "yes" : "no";
  }
  // What is said behind the message about a wrong ID IS statement.
  static std::string WrongIdIs(int line, int column, const std::string& word) {
    return "\nERROR: Loading 'ID IS' statement\n\nWARNING: Line " + std::to_string(line) +
           ", column " + std::to_string(column) + " of '" + opt.copyfile +
           "': the ID IS statement is wrong at '" + word + "'.\n";
  }
  static std::span<const Byte> Bytes(const std::string& record) {
    return {reinterpret_cast<const Byte*>(record.data()), record.size()};
  }
  test::TempDir dir_;
  std::string messages_;
  std::string wrong_;  // of Match, behind the message about the literal
};

// ---- items

TEST_F(CopybookMask, ItemsFollowUsage) {
  const std::string every =
      "01 R. 05 A PIC 9 COMP. 05 B PIC S9(3) COMP-3. 05 C PIC 9(4) COMP-6. 05 D COMP-1. 05 E "
      "COMP-2."
      " 05 F PIC 99. 05 G PIC S9. 05 H PIC X. 05 I PIC S9 SIGN TRAILING SEPARATE."
      " 05 FILLER PIC 9 COMP.";
  const std::string bits = "01 R. 05 A PIC 1(3) BIT. 05 B PIC 1(7) BIT. 05 C PIC 9 COMP-3.";
  const struct {
    std::string book;
    Switches switches;
    const char* items;
  } cases[] = {
      {every, {&OptionSet::sw_mf}, "B0:2 P2:2 P4:2 F6:4 F10:8 N18:2 U20:1"},
      {every, {&OptionSet::sw_mbp}, "B0:2 P2:2 P4:2 F6:4 F10:8 N18:2 M20:1"},
      {every, {&OptionSet::sw_mf, &OptionSet::sw_interchange}, "N18:2 U20:1"},
      {every,
       {},
       "\nERROR: COBOL compiler type unknown \n"
       "\nERROR: You must specify (MF or MBP) to convert signed numeric data.\n"
       "\nERROR: Processing mask list candidates\n"},
      {"01 R. 05 A PIC X(10). 05 B PIC S9(7) COMP-3 OCCURS 3.", {}, "P10:4 P14:4 P18:4"},
      {"01 R. 05 A OCCURS 2. 10 B PIC 9 COMP OCCURS 2. 10 C PIC X.", {}, "B0:2 B2:2 B5:2 B7:2"},
      {"01 R. 05 A PIC 9 COMP. 05 B REDEFINES A. 10 C PIC X. 10 D PIC 9 COMP-3. 05 E COMP-1.\n"
       "01 S. 05 G PIC 9 COMP.",
       {},
       "B0:2 F2:4"},
      {bits, {}, "B0:2 P2:1"},
      {bits, {&OptionSet::sw_1toX, &OptionSet::sw_automatic}, "10:1 10:2 P2:1"},
      {"01 R PIC X(9).", {}, ""},
      {"77 A PIC 9 COMP-3.\n01 R. 05 B PIC 9 COMP.\n77 C PIC 9 COMP-3.\n01 S PIC 9 COMP-3.",
       {},
       "B0:2"},
  };
  for (const auto& c : cases) {
    Reset(c.switches);
    EXPECT_EQ(Load(c.book), c.items) << c.book;
  }
}

TEST_F(CopybookMask, ItemsKnowTheirFields) {
  opt.sw_1toX = opt.sw_automatic = 1;
  Load("01 R. 05 A PIC 1(3) BIT. 05 B PIC 1(2) BIT. 05 C PIC S9(5) COMP-3 OCCURS 2.");
  ASSERT_EQ(Dump(), "10:1 10:1 P1:3 P4:3");
  EXPECT_EQ(mask_list[1].source_bit, 3);
  EXPECT_EQ(mask_list[1].digits, 2);
  EXPECT_EQ(mask_list[1].expanded_location, 3) << "a character for each bit";
  EXPECT_EQ(mask_list[2].usage, 'P');
  EXPECT_EQ(mask_list[3].usage, 0) << "further occurrences have none";
  EXPECT_EQ(mask_list[3].expanded_location, 11);
  EXPECT_EQ(mask_list[3].name, "C");
  EXPECT_TRUE(mask_list[3].is_signed);
}

TEST_F(CopybookMask, RawFieldsAreCopiedWhateverTheyAre) {
  const std::string book =
      "01 R. 05 A PIC S99. 05 T OCCURS 2. 10 B PIC X(3). 05 G. 10 C PIC X(4). 10 D PIC X(4).\n"
      "05 H REDEFINES G PIC X(7).\n77 W PIC X.";
  const struct {
    std::vector<std::string> raw;
    bool words;
    const char* items;
  } cases[] = {
      {{"a", "B"}, false, "B0:2 B2:3 B5:3"},
      {{"G", "A"}, false, "B0:2 B8:8"},
      {{"H", "A"}, true, "B0:2 B8:7"},
      {{"G", "A"}, true, "\nERROR: Can not handle raw fields longer than 7 bytes!!\n"},
      {{"W", "A"},
       false,
       "\nERROR: Can not find unique field W \nERROR: Adding RAW fields to the mask table\n"},
      {{"NONE", "A"},
       false,
       "\nERROR: Can not find unique field NONE \nERROR: Adding RAW fields to the mask table\n"},
  };
  for (const auto& c : cases) {
    Reset({});
    opt.sw_sdf = c.words ? 1 : 0;
    opt.rawfield = c.raw;
    EXPECT_EQ(Load(book), c.items) << c.raw.front();
  }
}

TEST_F(CopybookMask, RecordSizesAreCompared) {
  Load("77 W PIC X(9).\n01 R. 05 A PIC X(3).\n01 S. 05 B PIC X(7).\n77 X PIC X(9).");
  EXPECT_EQ(opt.gblRecSize, 7);
  Reset({&OptionSet::sw_automatic});
  opt.gblRecSize = 5;
  Load("01 R. 05 A PIC X(3).");
  EXPECT_EQ(messages_,
            "\nWARNING: Copy Book record size : (3)\nWARNING: Input record size     : (5)\n");
  EXPECT_EQ(opt.gblRecSize, 5);
  EXPECT_EQ(sizes.gblCpySize, 3);
}

TEST_F(CopybookMask, KeysTakePlaceAndLengthOfTheirFields) {
  const std::string book =
      "01 R. 05 A PIC X(4). 05 G. 10 B PIC 9(3) COMP-3. 10 C PIC X. 05 D.\n"
      "10 C PIC X.";
  for (std::size_t i = 0; const char* name : {"g", kKeyByPosition, "B", "", "NONE"})
    opt.keyDescr[i++].name = name;
  EXPECT_EQ(Load(book), "P4:2");
  EXPECT_EQ(opt.keyDescr[0].location, 4);
  EXPECT_EQ(opt.keyDescr[0].length, 3);
  EXPECT_EQ(opt.keyDescr[1].location, -1);
  EXPECT_EQ(opt.keyDescr[2].length, 2);
  EXPECT_EQ(opt.keyDescr[4].length, -1) << "beyond the first without a name";
  opt.keyDescr[3].name = "C";
  EXPECT_EQ(Load(book),
            "\nERROR: Can not find unique field C for key # 3\n"
            "ERROR: Validating key fields\n");
}

// ---- ID IS

const char kLayouts[] =
    "01 R. 05 K PIC X. 05 A. 10 A1 PIC 99. 10 A2 PIC S9 COMP-3.\n"
    "05 B REDEFINES A. 10 B1 PIC 99. 10 B2 PIC 9. 05 T PIC X OCCURS 3. 05 L PIC 9 OCCURS 2.\n";

TEST_F(CopybookMask, GroupsTakeOverWhatTheyHoldThemselves) {
  const struct {
    const char* statements;
    const char* items;
  } cases[] = {
      {"", "N1:2 P3:1 N7:1 N8:1"},
      {"ID IS K = 'A' USE A.\nID IS K = 'B' USE B1, B2.",
       "P3:1 N7:1 N8:1 I1-4 N1:2 P3:1 I1-3 N1:2 N3:1"},
      {"ID IS K = 'A' USE K. ID IS T(2) = 'B' USE L(2).", "N1:2 P3:1 N8:1 I0-1 I8-9 N7:1 N8:1"},
      {"ID IS RECORD NUMBER > 1 USE B1.", "P3:1 N7:1 N8:1 I1-3 N1:2"},
      {"ID IS K = 'A' USE B B1.",
       "\nERROR: Overlapping field definitions:\n\tB1 (type N, offset 1, length 2, occurs 1)\n\tB1 "
       "(type N, offset 1, length 2, occurs 1)\n\nERROR: Sorting mask list\n"},
  };
  for (const auto& c : cases) {
    Reset({});
    EXPECT_EQ(Load(std::string(kLayouts) + c.statements), c.items) << c.statements;
  }
}

TEST_F(CopybookMask, WrongIdIsStatementsAreNamed) {
  const struct {
    const char* statement;
    const char* message;
    int column;
    const char* word;
    int line = 3;
  } cases[] = {
      {"ID K = 'A' USE A.", "Unknown syntax: Expecting 'IS' after 'ID'", 4, "K"},
      {"ID IS RECORD 5 USE A.", "Unknown syntax: Expecting 'RECORD NUMBER'", 14, "5"},
      {"ID IS RECORD NUMBER IS 5 USE A.", "Unknown syntax: Expecting one of <,<=,>,>=,<>,= ", 21,
       "IS"},
      {"ID IS RECORD NUMBER = -5 USE A.",
       "Must supply numeric value for ID IS RECORD NUMBER statement.", 23, "-"},
      {"ID IS RECORD NUMBER = 1234567890 USE A.",
       "Numeric literal 1234567890 exceeds 9 digits. Can not process.", 23, "1234567890"},
      {"ID IS K = 'A'.", "Unknown syntax: Expecting 'USE' after 'ID IS'", 14, "."},
      {"ID IS K = 'A' USE A = 1.", "Expecting identifier(s), NOT an expression.", 19, "A"},
      {"ID IS K = 'A' USE .", "Expecting identifier(s), NOT an expression.", 19, "."},
      {"ID IS K = 'A' USE L(A1).", "Subscripted items must contain a literal.", 19, "L"},
      {"ID IS K = 'A' USE L(1.5).", "Subscripted items must contain a literal.", 19, "L"},
      {"ID IS K = 'A' USE L(3).", "Could not determine address of subscripted item.", 19, "L"},
      {"ID IS K = 'A' USE A(1:2).", "Reference Modification NOT supported.", 19, "A"},
      {"ID IS K = 'A' USE A", "Missing '.' as 'ID IS' terminator", 20, "end of text"},
      {"ID IS K = 'A'\nUSE A\nID IS K = 'B' USE A.", "Missing '.' as 'ID IS' terminator", 1, "ID",
       5},
      {"77 W PIC X.\nID IS W = 'A' USE A.",
       "Invalid condition supplied.\n\nERROR: Saving conditions", 7, "W", 4},
      {"ID IS K = 'A' USE A 5.", "Expecting identifier(s), NOT an expression.", 21, "5"},
      {"66 Z RENAMES A1.\nID IS K = 'A' USE Z.", "Expecting identifier(s), NOT an expression.", 19,
       "Z", 4},
      {"ID IS K = 'A' USE K, A(1:2).", "Reference Modification NOT supported.", 22, "A"},
      {"ID IS K = 'A' USE K L(3).", "Could not determine address of subscripted item.", 21, "L"},
  };
  for (const auto& c : cases) {
    Reset({});
    EXPECT_EQ(Load(std::string(kLayouts) + c.statement),
              std::string("\nERROR: ") + c.message + "\n" + WrongIdIs(c.line, c.column, c.word))
        << c.statement;
  }
  Reset({});
  // A literal without its closing quote ends with its line, but the statement does not stand.
  EXPECT_EQ(Load(std::string(kLayouts) + "ID IS K = 'A\nUSE A."),
            "\nERROR: " + opt.copyfile +
                ":3:11: error: expected a closing quote, found 'A'\n"
                "\nERROR: Loading 'ID IS' statement\n");
}

// Hexadecimal literals are those of the field's bytes as they stand in the copybook's character
// set: text is compared in the character set of the data.
TEST_F(CopybookMask, ComparisonsGoByTheKindOfTheField) {
  const struct {
    const char* picture;
    const char* condition;
    const char* yes[3];  // records, in EBCDIC
    const char* no[3];
  } cases[] = {
      {"PIC S9(4) COMP", "< 0", {"FFFF", "8000"}, {"0000", "0001"}},
      {"PIC 9(4) COMP", "> 32767", {"FFFF", "8000"}, {"7FFF"}},
      {"PIC S9(9) COMP", ">= -2", {"FFFFFFFE", "FFFFFFFF", "00000000"}, {"FFFFFFFD", "80000000"}},
      {"PIC S9(18) COMP", "= -5", {"FFFFFFFFFFFFFFFB"}, {"0000000000000005"}},
      {"PIC 9(18) COMP", "<= 5", {"0000000000000005"}, {"0000000100000000"}},
      {"PIC S99V99 COMP", "= 1.5", {"0096"}, {"0001", "000F"}},
      {"PIC 9(4) COMP", "= H'fF0f'", {"FF0F"}, {"0F0F"}},
      {"PIC S9(4) COMP", "= O'17'", {"000F"}, {"0011"}},
      {"PIC 9(4) COMP", "<> ZERO", {"0001"}, {"0000", "00"}},
      {"PIC S9(3) COMP-3", "= -123", {"123D"}, {"123C", "123B"}},
      {"PIC S9(3)V99 COMP-3", "= 12", {"01200C"}, {"00012C"}},
      {"PIC 9(3) COMP-3", "LESS 12", {"011F"}, {"012F", "013F"}},
      {"PIC 9(4) COMP-6", "= 12", {"0012"}, {"012F"}},
      {"PIC 99", ">= 12", {"F1F2", "F2F0"}, {"F1F1", "F0F9"}},
      {"PIC S99", "= -12", {"F1D2"}, {"F1C2", "F1F2"}},
      {"PIC S99 SIGN LEADING", "= -12", {"D1F2"}, {"C1F2", "F1D2"}},
      {"PIC S9(4) COMP", "= H'FFFF'", {"FFFF"}, {"0000"}},
      {"PIC S9(4) COMP-X", "< -1", {"FFFE", "8000"}, {"FFFF", "0001"}},
      {"PIC S99", "> -20", {"F1D9", "F0C0", "F9F9"}, {"F2D0", "F9D9"}},
      {"PIC S9V9", "= 1.2", {"F1C2", "F1F2"}, {"F1D2", "F0C1"}},
      {"PIC S99", "= 0", {"F0D0", "F0C0"}, {"F0C1"}},
      {"PIC S9 SIGN LEADING SEPARATE", "= -5", {"60F5"}, {"4EF5"}},
      {"COMP-1", "> 1.5", {"41200000", "42100000"}, {"41180000", "C1200000"}},
      {"COMP-2", "= 1.5E1", {"41F0000000000000"}, {"41F0000100000000"}},
      {"COMP-2", "= -.5", {"C080000000000000"}, {"4080000000000000", "C0800000"}},
      {"PIC X(4)", "= 'AB'", {"C1C24040"}, {"C1C2C340", "C1C2"}},
      {"PIC X(4)", "= SPACES", {"40404040"}, {"20202020"}},
      {"PIC X(3)", "= ALL 'AB'", {"C1C2C1"}, {"C1C240"}},
      {"PIC X(2)", "= LOW-VALUES OR HIGH-VALUES", {"0000", "FFFF"}, {"00FF"}},
      {"PIC X(2)", "= ZERO OR 12", {"F0F0", "F1F2"}, {"0000", "F0F1"}},
      {"PIC X(2)", "= X'4142'", {"C1C2"}, {"4142"}},
      {"PIC X(3)", "= X'41' & X'42' & 'C'", {"C1C2C3"}, {"C1C24B"}},
      {"PIC X(2)", "= 'A   '", {"C140"}, {"C1C1"}},
      {"PIC X", "> 'Z'", {"F1"}, {"E9", "C1"}},
      {"PIC X(4)", "< 'AB'", {"C1C1", "C1", ""}, {"C1C24040", "C1C3"}},
      {"PIC X", "> 'A' AND < 'D'", {"C2", "C3"}, {"C1", "C4"}},
      {"PIC X", "= 'A' OR 'B' OR 'C'", {"C1", "C2", "C3"}, {"C4"}},
      {"PIC X(2)", "= 'A' OR > 'B' AND < 'D'", {"C140", "C2C1", "C3C1"}, {"C1C1", "C440"}},
      {"PIC X", "= 'A' OR F = 'B'", {}, {"C1", "C2", "C3"}},
      {"PIC X", "> 'A' OR F > 'B'", {"C3"}, {"C1", "C2"}},
      {"PIC X", "= 'A' OR 'B' OR F > 'C'", {}, {"C1", "C2", "C4"}},
      {"PIC X", "NOT = 'A' AND NOT F = 'B'", {"C3"}, {"C1", "C2"}},
      {"OCCURS 3 PIC X", "(2) = 'B'", {"C1C2C1"}, {"C2C1C2"}},
  };
  for (const auto& c : cases) {
    for (const bool wanted : {true, false})
      for (const char* record : wanted ? c.yes : c.no)
        if (record != nullptr) {
          Reset({&OptionSet::sw_mf});
          EXPECT_EQ(Match(c.picture, c.condition, record), wanted ? "yes" : "no")
              << c.picture << " " << c.condition << " in " << record;
        }
  }
}

// The negative zone of MBP is met in ASCII only.
TEST_F(CopybookMask, SignsAreThoseOfTheCompiler) {
  const struct {
    Switch OptionSet::*compiler;
    bool ascii;
    const char* record;
    const char* condition;
    const char* holds;
  } cases[] = {
      {&OptionSet::sw_mf, true, "3172", "= -12", "yes"},
      {&OptionSet::sw_mf, true, "3142", "= -12", "no"},
      {&OptionSet::sw_mbp, true, "3142", "= -12", "yes"},
      {&OptionSet::sw_mbp, true, "3132", "= 12", "yes"},
      {&OptionSet::sw_mbp, false, "F1C2", "= 12", "yes"},
      {&OptionSet::sw_mbp, false, "F1D2", "= -12", "no"},
  };
  for (const auto& c : cases) {
    Reset({c.compiler});
    EXPECT_EQ(Match("PIC S99", c.condition, c.record, c.ascii), c.holds) << c.record << c.ascii;
  }
  Reset({});
  EXPECT_EQ(Match("PIC X(2)", "= 'AB'", "4142", true), "yes");
  Reset({&OptionSet::sw_mf});
  EXPECT_EQ(Match("PIC S99 SIGN LEADING", "= -12", "7132", true), "yes");
  run.sw_a2e = false;
  EXPECT_TRUE(EvaluateMatchConditions(Bytes(FromHex("7132")), mask_list.back()))
      << "ASCII, and it stays so";
  Reset({});
  EXPECT_EQ(Match("COMP-2", "= 2", "0000000000000040", true), "yes") << "a number of the machine";
}

TEST_F(CopybookMask, LiteralsThatDoNotSuitAreRefused) {
  const struct {
    const char* picture;
    std::string condition;
    const char* message;
    bool words = false;
    int column = 11;  // of the word that is wrong: the literal
  } cases[] = {
      {"PIC 9(4) COMP", "= 'A'", "incompatable literal for Binary field"},
      {"PIC 9(4) COMP", "= 1.5", "incompatable literal for Binary field F"},
      {"COMP-1", "= X'41'", "incompatable literal for Binary field"},
      {"PIC 9(9) COMP", "= H'123456789'",
       "Hexadecimal literal 123456789 exceeds 8 characters. Can not process."},
      {"PIC 9(9) COMP", "= O'12345670123'",
       "Octal literal 12345670123 exceeds 10 digits. Can not process."},
      {"PIC 9(9) COMP", "= 1234567890",
       "Numeric literal 1234567890 exceeds 9 digits. Can not process."},
      {"PIC 99 COMP-X", "= 1", "Unknown size of Binary for field F:1"},
      {"PIC 9(10) COMP", "= 1", "Can not process long literals; see manual.", true},
      {"PIC S9(4) COMP", "= 32768", "incompatable literal for Binary field F"},
      {"PIC 9(4) COMP", "= 65536", "incompatable literal for Binary field F"},
      {"PIC 9V9(3) COMP", "= 1.5E5", "incompatable literal for Binary field F"},
      {"PIC 9(4) COMP", "= -1", "incompatable literal for Binary field F"},
      {"PIC 9(4) COMP", "= H'10000'", "incompatable literal for Binary field F"},
      {"PIC 99", "= -1", "incompatible literal for Numeric unpacked field"},
      {"PIC 99 COMP-3", "= -1", "incompatible literal for Packed field"},
      {"PIC XX", "= -1", "Unsupported literal type 'N' for Group/Alpha Numeric field."},
      {"PIC XX", "= 'ABC'", "Field F is too short for the literal value."},
      {"PIC XX", "= H'414'", "Odd number of digits in Hex literal 414."},
      {"PIC 99", "= 'A'", "incompatible literal for Numeric unpacked field"},
      {"PIC 99", "= 123", "incompatible literal for Numeric unpacked field"},
      {"PIC 99 COMP-3", "= SPACES", "incompatible literal for Packed field"},
      {"PIC X", "= X'4142'", "Field F is too short for the Hex literal value."},
      {"PIC X", "= N'n'", "Unsupported literal type 'G' for Group/Alpha Numeric field."},
      {"PIC X(60)", "= '" + std::string(51, 'x') + "'",
       "Literal 'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx' exceeds 50 characters. Can "
       "not process."},
      {"PIC N", "= 'A'", "Unrecognized field type: W", false, 7},
      {"PIC X", "= OTHER", "Invalid condition supplied."},
      {"PIC X", "", "Syntax error on ID IS statement.", false, 7},
  };
  for (const auto& c : cases) {
    Reset({&OptionSet::sw_mf});
    opt.sw_sdf = c.words ? 1 : 0;
    opt.gblRecSize = c.words ? 68 : 0;
    EXPECT_EQ(Match(c.picture, c.condition, ""), std::string("\nERROR: ") + c.message + "\n")
        << c.picture << " " << c.condition;
    EXPECT_NE(wrong_.find("Line 2, column " + std::to_string(c.column) + " of "), wrong_.npos)
        << c.picture << " " << c.condition << wrong_;
  }
}

TEST_F(CopybookMask, OrBetweenFullComparisonsIsWarnedOf) {
  Match("PIC X", "= 'A' OR F = 'B'", "");
  EXPECT_EQ(messages_,
            "\nWARNING: OR between two full comparisons asks for both sides, as AND does.\n");
  Reset({});
  for (const char* list : {"= 'A' OR 'B'", "= 'A' OR 'B' AND NOT 'C'"}) {
    Match("PIC X", list, "");
    EXPECT_EQ(messages_, "") << list;
  }
}

// Beyond equality only the strict operators hold.
TEST_F(CopybookMask, RecordNumbersAreCompared) {
  const struct {
    const char* op;
    const char* holds;  // for records 4, 5 and 6
  } cases[] = {{"=", "010"},  {"<>", "101"}, {">", "001"},
               {">=", "010"}, {"<", "100"},  {"<=", "010"}};
  for (const auto& c : cases) {
    Reset({});
    Load(std::string("01 R. 05 A PIC X.\nID IS RECORD NUMBER ") + c.op + " 5 USE A.\n");
    ASSERT_EQ(mask_list.size(), 1U);
    EXPECT_EQ(mask_list[0].location, -5);
    std::string holds;
    for (run.nCurrInputRec = 4; run.nCurrInputRec <= 6; ++run.nCurrInputRec)
      holds += EvaluateMatchConditions({}, mask_list[0]) ? '1' : '0';
    EXPECT_EQ(holds, c.holds) << c.op;
  }
}

TEST_F(CopybookMask, TheLastConditionThatHoldsCounts) {
  Load(
      "01 R. 05 A PIC X. 05 B PIC 9 COMP. 05 C PIC 9 COMP.\n"
      "ID IS A > 'A' USE B. ID IS A > 'B' USE C. ID IS A = 'D' USE A.\n");
  for (MaskItem& item : mask_list)
    if (item.is_condition()) ConvertIdIsConditionToEbcdic(item);
  const auto matched = [](const char* hex) {
    const std::string record = FromHex(hex);
    const MaskItem* const item = GetMaskMatchCondition(Bytes(record));
    return item == nullptr ? "none" : item->name;
  };
  EXPECT_EQ(matched("C1"), "none");
  EXPECT_EQ(matched("C2"), "B");
  EXPECT_EQ(matched("C3"), "C");
  EXPECT_EQ(matched("C4"), "A");
}

}  // namespace
}  // namespace tolvane
