// Runs of the program on a grammar file, in a folder of their own.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/program.h"
#include "support/temp_dir.h"

namespace tolvane::test {

class GrammarFile : public ::testing::Test {
 protected:
  ProgramResult RunArguments(std::vector<std::string> arguments, const std::string& typed = "") {
    return RunProgram(BuiltProgram("tolvane"),
                      {.arguments = std::move(arguments),
                       .typed = typed,
                       .environment = {{"DATA", dir_.Path("data")}, {"ZORROOT", dir_.Path("root")}},
                       .directory = dir_.Path()});
  }
  ProgramResult RunGrammar(const std::string& text, const std::string& typed = "") {
    dir_.WriteFile("job.gra", text);
    return RunArguments({"-G", "job.gra"}, typed);
  }
  // Restores `in` (hexadecimal) with the statements behind the operations; the output is new.
  ProgramResult Restore(const std::string& statements, const std::string& in) {
    for (const char* name : {"out", "out.dat", "out.idx", "out.dups"})
      std::remove(dir_.Path(name).c_str());
    dir_.WriteFile("in", FromHex(in));
    return RunGrammar("RESTORE CREATE INPUT in OUTPUT out\n" + statements);
  }
  std::string Output() { return dir_.Exists("out") ? ToHex(dir_.ReadFile("out")) : "none"; }
  static std::string Hex(const std::string& loose) { return ToHex(FromHex(loose)); }
  // The folders and files of the platform, with the program itself.
  void MakePlatform() {
    for (const char* name : {"root", "root/zorfiles"})
      ASSERT_EQ(mkdir(dir_.Path(name).c_str(), 0700), 0);
    RunArguments({"-c", "-i", "-s512", "-k1:0,11", "-foroot/zorfiles/zorsys"});
    RunArguments({"-c", "-i", "-s512", "-k1:0,26", "-foroot/zorfiles/zorsec"});
    RunArguments({"-c", "-i", "-s200", "-k1:0,50", "-foroot/zorfiles/zorcatlg"});
  }
  TempDir dir_;
};

}  // namespace tolvane::test
