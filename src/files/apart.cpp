#include "files/apart.h"

#include <vector>

#include "convert/copybook_source.h"
#include "isam/issystem.h"
#include "media/drive.h"
#include "platform/console.h"
#include "platform/paths.h"
#include "reports/side_reports.h"
#include "state/options.h"

namespace tolvane {
namespace {

using Paths = std::vector<std::string>;

Paths operator+(Paths a, const Paths& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// The files behind a platform file's name; the halves of an indexed one may be elsewhere.
Paths FilesOf(const std::string& name) {
  Paths paths{name};
  std::string base;
  if (IsIndexedFile() && isam::makename(base, name, isam::NameKind::kBase) == 0)
    paths = paths + Paths{base, base + ".dat", base + ".idx"};
  return paths;
}

// The copybooks and grammar files that were read.
Paths Texts() {
  Paths paths{opt.copyfile, opt.optFileName};
  for (const auto* table : {&copybooks.csid, &copybooks.csin_, &copybooks.csout})
    if (*table != nullptr) paths = paths + (*table)->files();
  return paths;
}

int CheckApart(const Paths& read, const Paths& written) {
  for (const std::string& from : read)
    for (const std::string& to : written)
      if (IsSameFile(from, to)) {
        PrintError("Input and output are the same file: '%s'\n", to.c_str());
        return 0;
      }
  return 1;
}

}  // namespace

int CheckRestoreApart(const std::string& volume, const std::string& name) {
  const Paths reports{name + kDuplicatesReport, name + kBinaryReport, name + kNonMatchingReport};
  return CheckApart(FilesOfVolume(volume, DriveUse::kRead) + Texts(), FilesOf(name) + reports);
}

int CheckBackupApart(const std::string& name, const std::string& volume) {
  return CheckApart(FilesOf(name) + Texts(), FilesOfVolume(volume, DriveUse::kWrite));
}

int CheckDeletionApart() {
  return CheckApart(FilesOfVolume(opt.infile, DriveUse::kRead) + FilesOf(opt.infile) + Texts(),
                    FilesOf(opt.outfile));
}

int CheckTextApart(const std::string& path) {
  return CheckApart(FilesOfVolume(opt.infile, DriveUse::kRead) + FilesOf(opt.infile) + Texts(),
                    {path});
}

int CheckNoIndexedFile(const std::string& path) {
  Paths bases{path};
  for (const char* const suffix : {".dat", ".idx"})
    if (path.ends_with(suffix)) bases.push_back(path.substr(0, path.size() - 4));
  for (const std::string& base : bases) {
    const std::string index = base + ".idx";
    const std::string data = FileExists(base + ".dat") ? base + ".dat" : base;
    if (!FileExists(index) || !FileExists(data)) continue;
    if (!IsSameFile(path, data) && !IsSameFile(path, index)) continue;
    PrintError(
        "'%s' is the data of an indexed file; name another output, or delete it with -d -i.\n",
        path.c_str());
    return 0;
  }
  return 1;
}

}  // namespace tolvane
