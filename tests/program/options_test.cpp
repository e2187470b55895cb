// The command line as a user meets it: help, refusals, exit status.

#include <gtest/gtest.h>

#include "support/program.h"
#include "support/temp_dir.h"

namespace tolvane::test {
namespace {

const char kBanner[] =
    "\nOmbrix (TM) - Moves data files between mainframes and the Zorva platform\n"
    "tolvane - Version 2023/01/01 2.5 R0 - 0440\n\n";

std::string AfterBanner(const std::string& text) {
  const auto at = text.find(kBanner);
  return at == std::string::npos ? "no banner in: " + text : text.substr(at + sizeof kBanner - 1);
}

class Options : public ::testing::Test {
 protected:
  ProgramResult Run(std::vector<std::string> arguments, const std::string& typed = "") {
    return RunTolvane(dir_.Path(), std::move(arguments), typed);
  }
  TempDir dir_;
};

TEST_F(Options, HelpComesInTwoPages) {
  const ProgramResult first = Run({"-h"}, "q\n");
  EXPECT_EQ(first.status, 0);
  const std::string page = AfterBanner(first.out);
  EXPECT_TRUE(page.starts_with("Usage: " + BuiltProgram("tolvane") +
                               " [-Gabcde,fi,fo,ghijkmqrstuvxyzBDCF,MF,MBP,O,RS,IPU]\n\n"
                               "Where: \n  -G <name> file containing grammar input"));
  EXPECT_TRUE(
      page.ends_with("  -r        restore -fi to -fo \n"
                     "\n Press return for more options.  Q to quit > "));
  const ProgramResult both = Run({"-?"}, "\n");
  EXPECT_EQ(both.status, 0);
  EXPECT_TRUE(both.out.ends_with("  -Ulocation:length:occurence of UnpPacked signed data \n"));
}

TEST_F(Options, ExitStatusTellsHelpFromRefusal) {
  const struct {
    std::vector<std::string> arguments;
    int status;
  } cases[] = {
      {{"-h"}, 0}, {{"-?"}, 0}, {{}, 0}, {{"word"}, 0}, {{"-w"}, kRejected}, {{"-B"}, kRejected},
  };
  for (const auto& c : cases) {
    ProgramRun run{.arguments = c.arguments, .directory = dir_.Path(), .closed_input = true};
    run.limit = std::chrono::seconds(10);
    const ProgramResult result = RunProgram(BuiltProgram("tolvane"), run);
    EXPECT_EQ(result.status, c.status) << ::testing::PrintToString(c.arguments);
    EXPECT_NE(result.out.find("Press return for more options"), std::string::npos);
    EXPECT_FALSE(result.timed_out);
  }
}

TEST_F(Options, RefusedOptionsSayWhy) {
  const std::string overrides = "\nWARNING: The copybook will override options B,I,P,U.\n";
  const std::string long_name(300, 'n');
  const struct {
    std::vector<std::string> arguments;
    std::string error;
  } cases[] = {
      {{"-C", "book", "-P1:2:1"}, overrides},
      {{"-C", "book", "-I1EQA"}, overrides},
      {{"-k1-0,10"}, "\nERROR: Invalid KEY specification, missing ':'"},
      {{"-k1:0,"}, "\nERROR: Invalid length for key #1\n"},
      {{"-k1:0"}, "\nERROR: Invalid length for key #1\n"},
      {{"-k0:0,8"}, "\nERROR: The key number of -k is a digit from 1 to 9: '0:0,8'\n"},
      {{"-Rbook"}, "\nERROR: INVALID syntax for -R option."},
      {{"-RSbook"}, "\nERROR: INVALID syntax for -R option."},
      {{"-I12EQ"},
       "\nERROR: Invalid syntax for option -I\n\nWARNING: -I takes a position, an operator and a "
       "text without blanks, not '12EQ'\n"},
      {{"-I12XXABC"},
       "\nERROR: Invalid syntax for option -I\n\nWARNING: -I takes a position, an operator and a "
       "text without blanks, not '12XXABC'\n"},
      {{"-Babc"},
       "\nERROR: Option -Babc: location, length or occurrence is out of range.\n"
       "\nERROR: Creating mask table item.\n"},
      {{"-P5:0"},
       "\nERROR: Option -P5:0: location, length or occurrence is out of range.\n"
       "\nERROR: Creating mask table item.\n"},
      {{"-B10:4", "-P12:2"},
       "\nERROR: Overlapping field definitions:\n\t<UNNAMED> (type B, offset 10, length 4, occurs "
       "1)\n\t<UNNAMED> (type P, offset 12, length 2, occurs 1)\n"},
      {{"-B-1:4"},
       "\nERROR: Option -B-1:4: location, length or occurrence is out of range.\n"
       "\nERROR: Creating mask table item.\n"},
      {{"-s9999999999"}, "\nERROR: The number of -s is out of range: '9999999999'\n"},
      {{"-fi" + long_name},
       "\nERROR: The argument of -f is longer than 200 characters: 'i" + std::string(39, 'n') +
           "...'\n"},
      {{"-B1:1", "-I0EQA"}, "\nERROR: Meaningless option -I0:1:1\n"},
  };
  for (const auto& c : cases) {
    const ProgramResult result = Run(c.arguments);
    EXPECT_EQ(result.err, c.error) << ::testing::PrintToString(c.arguments);
    EXPECT_EQ(result.status, kRejected) << ::testing::PrintToString(c.arguments);
  }
}

TEST_F(Options, ParsingStopsAtTheFirstWordAndSaysSo) {
  const ProgramResult result = Run({"-r", "-fi", "data.bak", "-c"});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.err.find("'data.bak' is no option: it and what follows it were not read."),
            std::string::npos);
}

TEST_F(Options, BootFileDecidesTheWarnings) {
  const ProgramResult none = Run({"-x", "-fox"});
  EXPECT_TRUE(
      none.out.starts_with("Could not access the boot file to check permissions.\n"
                           "WARNING!!! This means the permission settings may be incorrect\n"));
  std::string boot(480, '\0');
  boot.replace(28, 4, "\xEE\xEE\xEE\x7E");
  dir_.WriteFile("zorboot.sys", boot);
  ProgramRun run{.arguments = {"-h"}, .environment = {{"ZORROOT", dir_.Path()}}};
  const ProgramResult foreign = RunProgram(BuiltProgram("tolvane"), run);
  EXPECT_TRUE(foreign.out.starts_with("\nWARNING!!! Permission settings are incorrect for " +
                                      BuiltProgram("tolvane") + ".\n"));
}

TEST_F(Options, TraceAndLocaleFollowTheEnvironment) {
  ProgramRun run{.arguments = {"-d", "-q", "-fonothing"},
                 .environment = {{"DBUG", "t:d:o," + dir_.Path("trace")}, {"LANG", "xx_NOWHERE"}},
                 .directory = dir_.Path()};
  const ProgramResult result = RunProgram(BuiltProgram("tolvane"), run);
  EXPECT_NE(result.out.find("DBG compiled !! And using [t:d:o," + dir_.Path("trace") + "]\n"),
            std::string::npos);
  EXPECT_NE(result.out.find("WARNING - Failed setting \"locale\" to \"xx_NOWHERE\".\n"),
            std::string::npos);
  EXPECT_NE(dir_.ReadFile("trace").find(">ExecuteCommandLine ("), std::string::npos);
  EXPECT_NE(dir_.ReadFile("trace").find("<ExecuteCommandLine"), std::string::npos);
}

}  // namespace
}  // namespace tolvane::test
