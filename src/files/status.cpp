#include "files/status.h"

#include <isam.h>

#include <cerrno>
#include <cstring>

#include "files/fileio.h"
#include "files/isam_file.h"
#include "platform/console.h"
#include "platform/paths.h"
#include "platform/trace.h"
#include "reports/side_reports.h"
#include "state/options.h"

namespace tolvane {
namespace {

void ShowKeys(int handle, int keys) {
  for (int number = 1; number <= keys; ++number) {
    keydesc key{};
    if (isindexinfo(handle, &key, number) != 0) return InterpretIsamError(iserrno, opt.outfile, {});
    PrintOutput("              KEY%d:", number);
    for (int part = 0; part < key.k_nparts; ++part)
      PrintOutput("%04d,%04d ", key.k_part[part].kp_start, key.k_part[part].kp_leng);
    PrintOutput((key.k_flags & ISDUPS) != 0 ? "Dups\n" : "\n");
  }
}

// A file that is there and yet not found lacks its other half.
void ExplainHalfFile(const std::string& name) {
  const std::string index = name + ".idx", data = name + ".dat";
  const bool has_index = FileExists(index), has_data = FileExists(data);
  if (has_index == (has_data || FileExists(name))) return;
  PrintOutput(
      "An indexed file is a pair: '%s' is there, '%s' is missing. Bring it back, or remove or "
      "rename the other one.\n",
      (has_index  ? index
       : has_data ? data
                  : name)
          .c_str(),
      (has_index ? data : index).c_str());
}

}  // namespace

void DisplayFileStatus() {
  TRACE_FRAME();
  if (VerifyZorFileName(opt.outfile) == 0) return;
  const IsamFile file(opt.outfile, ISINPUT | ISMANULOCK);
  if (!file.is_open()) {
    PrintError("Unable to open '%s' ", opt.outfile.c_str());
    return;
  }
  PrintOutput("FILE:%8s ", opt.outfile.c_str());
  dictinfo info{};
  if (isindexinfo(file.handle(), &info, 0) != 0)
    return InterpretIsamError(iserrno, opt.outfile, {});
  constexpr int kCountMask = 0x7FFF;  // the top bit tells variable-length records
  PrintOutput("Record size: %d  ", info.di_recsize);
  PrintOutput("Number recs: %d \n", info.di_nrecords);
  ShowKeys(file.handle(), info.di_nkeys & kCountMask);
  PrintOutput("\n");
}

void InterpretIsamError(int error, const std::string& name, std::span<const Byte> record) {
  TRACE_FRAME();
  const char* const file = name.c_str();
  switch (error) {
    case ENOENT:
      PrintError("No such file or directory '%s'\n", file);
      return ExplainHalfFile(name);
    case EEXIST:
      return PrintError("File already exists '%s'\n", file);
    case EDUPL:
      return FileDuplicate(record);
    case ETOOMANY:
      return PrintError("All file descriptors are used. '%s'\n", file);
    case EBADFILE:
      return PrintError("Could not open file '%s'\n", file);
    case ENOREC:
      return PrintError("No record found to match request in file '%s'\n", file);
    case EFLOCKED:
      return PrintError("File locked:'%s'\n", file);
    case EFNAME:
      return PrintError("File name too long '%s'\n", file);
    default:
      break;
  }
  if (error > 99) {
    PrintError("File %s generated error %d\n", file, error);
  } else {
    PrintError("File %s error %d; '%s'\n", file, error, std::strerror(error));
  }
}

}  // namespace tolvane
