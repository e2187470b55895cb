#include <gtest/gtest.h>

#include "support.h"

namespace tolvane::copybook::test {
namespace {

struct LayoutCase {
  const char* name;
  const char* text;
  const char* layout;
};

void Check(const LayoutCase& test, const Settings& settings = {}) {
  const Compilation compilation(test.text, settings);
  EXPECT_EQ(compilation.messages, "") << test.name;
  EXPECT_EQ(compilation.Layout(), test.layout) << test.name;
}

TEST(Layout, GivesEveryUsageItsLetterAndLength) {
  Check({"usages", R"(
01 R.
   05 A1 PIC X(3). 05 A2 PIC A(2) JUST RIGHT. 05 A3 PIC ZZ9. 05 A4 PIC S9(3)V99.
   05 A5 PIC S9(3) SIGN LEADING SEPARATE. 05 A6 PIC S9(3) TRAILING.
   05 B1 PIC 9 COMP. 05 B2 PIC S9(4) BINARY. 05 B3 PIC 9(5) COMP-4. 05 B4 PIC 9(9) COMP-5.
   05 B5 PIC S9(10) USAGE IS COMPUTATIONAL. 05 B6 PIC 9(18) COMP.
   05 P1 PIC S9(5) COMP-3. 05 P2 PIC 9(4) PACKED-DECIMAL. 05 P3 PIC 9(5) COMP-6.
   05 P4 PIC S9(3)PP COMP-3.
   05 R1 COMP-1. 05 R2 COMP-2. 05 I1 INDEX. 05 I2 USAGE POINTER. 05 I3 PROCEDURE-POINTER.
   05 X1 PIC X(3) COMP-X. 05 X2 PIC 9(7) COMP-X. 05 N1 PIC N(4). 05 N2 PIC G(2) DISPLAY-1.
)",
         R"(RECORD R length 105
    0   105 G 01 R
    0     3 C   05 A1
    3     2 C   05 A2
    5     3 C   05 A3  digits 3
    8     5 D   05 A4  digits 5  decimals 2  signed
   13     4 D   05 A5  digits 3  signed leading separate
   17     3 D   05 A6  digits 3  signed
   20     2 B   05 B1  digits 1
   22     2 B   05 B2  digits 4  signed
   24     4 B   05 B3  digits 5
   28     4 B   05 B4  digits 9
   32     8 B   05 B5  digits 10  signed
   40     8 B   05 B6  digits 18
   48     3 P   05 P1  digits 5  signed
   51     3 S   05 P2  digits 4
   54     3 S   05 P3  digits 5
   57     2 P   05 P4  digits 3  decimals -2  signed
   59     4 R   05 R1
   63     8 R   05 R2
   71     4 B   05 I1  digits 9  signed
   75     4 B   05 I2
   79     8 B   05 I3
   87     3 B   05 X1
   90     3 B   05 X2  digits 7
   93     8 W   05 N1
  101     4 W   05 N2
)"});
}

TEST(Layout, FollowsGroupsTablesAndRedefinitions) {
  const LayoutCase cases[] = {
      {"usage and sign of a group", R"(
01 R COMP-3. 05 A PIC S9(3). 05 B. 10 C PIC 9(3).
01 S SIGN IS LEADING SEPARATE. 05 D PIC S9(3). 05 E PIC 9(3). 05 F PIC S9(3) TRAILING.)",
       R"(RECORD R length 4
    0     4 G 01 R
    0     2 P   05 A  digits 3  signed
    2     2 G   05 B
    2     2 S     10 C  digits 3
RECORD S length 10
    0    10 G 01 S leading separate
    0     4 D   05 D  digits 3  signed leading separate
    4     3 D   05 E  digits 3
    7     3 D   05 F  digits 3  signed
)"},
      {"a longer redefinition moves what follows", R"(
01 R. 05 A PIC X(2). 05 B REDEFINES A PIC X(5). 05 C REDEFINES A. 10 D PIC X. 05 E PIC X.)",
       R"(RECORD R length 6
    0     6 G 01 R
    0     2 C   05 A
    0     5 C   05 B  redefines A
    0     1 G   05 C  redefines A
    0     1 C     10 D
    5     1 C   05 E
)"},
      {"tables count at their largest", R"(
01 R. 05 N PIC 99. 05 T OCCURS 1 TO 4 TIMES DEPENDING ON N OF R ASCENDING KEY IS K OF T
   INDEXED BY I1, I2. 10 K PIC X(3). 10 U OCCURS 2 PIC 9(3) COMP-3. 05 Z PIC X.)",
       R"(RECORD R length 31
    0    31 G 01 R
    0     2 D   05 N  digits 2
    2     7 G   05 T  occurs 1-4 depending N of R
    2     3 C     10 K
    5     2 S     10 U  digits 3  occurs 2
   30     1 C   05 Z
)"},
      {"renaming", R"(
01 R. 05 A PIC X(2). 05 B. 10 C PIC S9(3) COMP-3. 10 D PIC X(4).
66 S RENAMES C. 66 T RENAMES A THRU C OF B.)",
       R"(RECORD R length 8
    0     8 G 01 R
    0     2 C   05 A
    2     6 G   05 B
    2     2 P     10 C  digits 3  signed
    4     4 C     10 D
    2     2 P 66 S  digits 3  signed
    0     4 G 66 T
)"},
  };
  for (const LayoutCase& test : cases) Check(test);
  // Level 77 and top levels without 01 are records too, each from offset 0.
  const Compilation records(
      "05 A PIC X. 05 B. 10 C PIC X(2).\n77 D PIC 9(4) COMP.\n1 E. 2 F PIC X.");
  EXPECT_EQ(records.Layout(),
            "RECORD A length 3\n    0     1 C 05 A\n    1     2 G 05 B\n    1     2 C   10 C\n"
            "RECORD D length 2\n    0     2 B 77 D  digits 4\n"
            "RECORD E length 1\n    0     1 G 01 E\n    0     1 C   02 F\n");
}

TEST(Layout, PutsSlackBytesBeforeSynchronizedItems) {
  // Every element of the table has a byte at its end, so that E is at a multiple of 4 in each.
  Check({"slack", R"(
01 R. 05 A PIC X. 05 B PIC 9(4) COMP SYNC. 05 C PIC X. 05 D PIC 9(18) COMP SYNC RIGHT.
   05 T OCCURS 2. 10 E PIC 9(9) COMP SYNC. 10 F PIC X(3). 05 G PIC X. 05 H COMP-2 SYNC.
   05 I PIC X SYNC. 05 J REDEFINES I PIC 9(4) COMP SYNC.)",
         R"(RECORD R length 50
    0    50 G 01 R
    0     1 C   05 A
    2     2 B   05 B  digits 4
    4     1 C   05 C
    8     8 B   05 D  digits 18
   16     8 G   05 T  occurs 2
   16     4 B     10 E  digits 9
   20     3 C     10 F
   32     1 C   05 G
   40     8 R   05 H
   48     1 C   05 I
   48     2 B   05 J  digits 4  redefines I
)"});
}

// Each of these is at odds with a compiler that pads relative to the group or before the last item.
TEST(Layout, AlignsWithinGroupsAndTables) {
  Check({"before the groups that begin with the item", R"(
01 R. 05 A PIC X(5). 05 B. 10 C. 15 D PIC 9(9) COMP SYNC. 15 E PIC X. 10 F PIC X.)",
         R"(RECORD R length 14
    0    14 G 01 R
    0     5 C   05 A
    8     6 G   05 B
    8     5 G     10 C
    8     4 B       15 D  digits 9
   12     1 C       15 E
   13     1 C     10 F
)"});
  Check({"a table whose item is in a group below it", R"(
01 R. 05 T OCCURS 3. 10 A PIC X. 10 G. 15 B PIC X. 15 C PIC 9 COMP SYNC. 15 D PIC X. 05 Z PIC X.)",
         R"(RECORD R length 19
    0    19 G 01 R
    0     6 G   05 T  occurs 3
    0     1 C     10 A
    1     4 G     10 G
    1     1 C       15 B
    2     2 B       15 C  digits 1
    4     1 C       15 D
   18     1 C   05 Z
)"});
  Check({"an item redefined, and the last of an element", R"(
01 R. 05 T OCCURS 2. 10 A PIC X. 10 B COMP-1 SYNC. 10 C REDEFINES B PIC X(6). 10 D PIC X(3).)",
         R"(RECORD R length 32
    0    32 G 01 R
    0    16 G   05 T  occurs 2
    0     1 C     10 A
    4     4 R     10 B
    4     6 C     10 C  redefines B
   10     3 C     10 D
)"});
}

TEST(Layout, KeepsTwoLocationsOf36BitData) {
  // Lengths by the table of quarter-words, auxiliary lengths 2, 4 and 8.
  Check({"binary", R"(
01 R. 05 A PIC 9(2) COMP. 05 B PIC 9(5) COMP. 05 C PIC 9(7) COMP. 05 D PIC S9(10) COMP.
   05 E PIC 9(18) COMP. 05 F PIC X. 05 G COMP-2. 05 T OCCURS 2. 10 H PIC 9 COMP. 05 Z PIC X.)",
         R"(RECORD R length 29 aux 40
    0    29 G 01 R  aux 0 40
    0     1 B   05 A  digits 2  aux 0 2
    1     2 B   05 B  digits 5  aux 2 4
    3     3 B   05 C  digits 7  aux 6 4
    6     4 B   05 D  digits 10  signed  aux 10 8
   10     7 B   05 E  digits 18  aux 18 8
   17     1 C   05 F  aux 26 1
   18     8 R   05 G  aux 27 8
   26     1 G   05 T  aux 35 2  occurs 2
   26     1 B     10 H  digits 1  aux 35 2
   28     1 C   05 Z  aux 39 1
)"},
        Settings::For36BitData());
}

constexpr const char* kBitText =
    "01 R. 05 A PIC 1(3). 05 B PIC 1 BIT OCCURS 7. 05 C PIC X. 05 D PIC 1(9). 05 E PIC 1 SYNC.";

TEST(Layout, PacksBitFields) {
  Check({"8 bits a byte", kBitText, R"(RECORD R length 6
    0     6 G 01 R
    0     1 1   05 A  digits 3  bit 0
    0     1 1   05 B  digits 1  bit 3  occurs 7
    2     1 C   05 C
    3     2 1   05 D  digits 9  bit 0
    5     1 1   05 E  digits 1  bit 0
)"});
  Check({"9 bits a byte", kBitText, R"(RECORD R length 5 aux 6
    0     5 G 01 R  aux 0 6
    0     1 1   05 A  digits 3  bit 0
    0     1 1   05 B  digits 1  bit 3  occurs 7
    2     1 C   05 C
    3     1 1   05 D  digits 9  bit 0  aux 3 2 bit 0
    4     1 1   05 E  digits 1  bit 0  aux 5 1 bit 0
)"},
        Settings::For36BitData());
  Settings characters;
  characters.bit_to_byte = false;
  // The unused bits are 6 in byte 1, 7 in byte 4, 7 in byte 5.
  Check({"a character for each bit", kBitText, R"(RECORD R length 6 aux 41
    0     6 G 01 R  aux 0 41
    0     1 1   05 A  digits 3  bit 0  aux 0 3 bit 0
    0     1 1   05 B  digits 1  bit 3  aux 3 1 bit 0  occurs 7
    2     1 C   05 C  aux 16 1
    3     2 1   05 D  digits 9  bit 0  aux 17 9 bit 0
    5     1 1   05 E  digits 1  bit 0  aux 33 1 bit 0
)"},
        characters);
  characters.truncate_bits = true;
  EXPECT_EQ(Compilation(kBitText, characters).table.records()[0].aux_length, 3 + 7 + 1 + 9 + 1);
}

}  // namespace
}  // namespace tolvane::copybook::test
