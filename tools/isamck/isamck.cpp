// isamck: checks indexed files, and makes their indexes anew.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "check.h"
#include "isam/layout.h"
#include "key_option.h"
#include "locks.h"
#include "number.h"
#include "rebuild.h"
#include "report.h"

namespace {

using isamck::Report;
using isamck::Status;

constexpr const char* kHelp =
    "usage: isamck [--json] NAME...        check indexed files in full\n"
    "       isamck --rebuild NAME [--record-length N --key KEY... [--node-size N]]\n"
    "                                      make the index file anew from the data file\n"
    "NAME is the name of the file, with or without .idx or .dat.\n"
    "KEY is START,LENGTH[,TYPE][,desc] for each part, parts joined by +, then [,dups][,flags=N];\n"
    "TYPE is char, int, long, double, float, mint, mlong or string. --record-length and --key\n"
    "describe a file whose index file no longer tells what it was; the first key is the prime "
    "key.\n"
    "Exit status: 0 sound or rebuilt, 1 faulty (or keys that occur twice: nothing was replaced),\n"
    "2 unreadable.\n";

struct Arguments {
  bool json = false, rebuild = false, help = false;
  std::vector<std::string> names;
  isamck::RebuildDescription description;
};

bool TakeNumber(const char* text, std::size_t least, std::size_t most, std::size_t& number) {
  number = tolvane::NumberOf(text).value_or(0);
  return number >= least && number <= most;
}

// False when the arguments make no sense.
bool Parse(int argc, char** argv, Arguments& arguments) {
  std::size_t node_size = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const char* const value = i + 1 < argc ? argv[i + 1] : nullptr;
    if (word == "--help") {
      arguments.help = true;
    } else if (word == "--json") {
      arguments.json = true;
    } else if (word == "--rebuild") {
      arguments.rebuild = true;
    } else if (word == "--record-length" && value != nullptr) {
      if (!TakeNumber(argv[++i], 1, 32767, arguments.description.record_length)) return false;
    } else if (word == "--node-size" && value != nullptr) {
      using isam::layout::kNodeUnit;
      if (!TakeNumber(argv[++i], kNodeUnit, kNodeUnit * isam::layout::kMaxNodeUnits, node_size) ||
          node_size % kNodeUnit != 0)
        return false;
      arguments.description.node_size = node_size;
    } else if (word == "--key" && value != nullptr) {
      const auto key = isamck::ParseKeyOption(argv[++i]);
      if (!key) return false;
      arguments.description.keys.push_back(*key);
    } else if (word.starts_with("--")) {
      return false;
    } else {
      arguments.names.push_back(word);
    }
  }
  const auto& description = arguments.description;
  const bool described = !description.keys.empty();
  if ((node_size != 0 && !described) || (arguments.json && arguments.rebuild)) return false;
  for (const isamck::Key& key : description.keys)
    for (const isamck::KeyPart& part : key.parts)
      if (part.start + part.length > description.record_length) return false;
  return arguments.help ||
         (!arguments.names.empty() && described == (description.record_length > 0) &&
          (arguments.rebuild ? arguments.names.size() == 1 : !described));
}

Status Check(const std::string& name, bool json) {
  const isamck::FileNames names = isamck::FindFiles(name);
  Report report(names.base);
  isamck::ReadFile locked;
  if (locked.Open(names.index, true) && !isamck::LockForCheck(locked.fd())) {
    report.Unreadable("somebody has it open exclusively");
  } else {
    isamck::CheckFile(names, report);
  }
  if (json) {
    report.PrintJson();
  } else {
    report.PrintText();
  }
  return report.status();
}

}  // namespace

int main(int argc, char** argv) {
  Arguments arguments;
  if (!Parse(argc, argv, arguments)) {
    std::fputs(kHelp, stderr);
    return static_cast<int>(Status::kUnreadable);
  }
  if (arguments.help) {
    std::fputs(kHelp, stdout);
    return 0;
  }
  if (arguments.rebuild)
    return isamck::Rebuild(isamck::FindFiles(arguments.names[0]), arguments.description);
  int worst = 0;
  if (arguments.json) std::printf("[");
  for (std::size_t i = 0; i < arguments.names.size(); ++i) {
    if (arguments.json && i > 0) std::printf(",\n");
    worst = std::max(worst, static_cast<int>(Check(arguments.names[i], arguments.json)));
  }
  if (arguments.json) std::printf("]\n");
  return worst;
}
