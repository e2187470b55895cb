#include "driver/mask_file.h"

#include <cstdio>
#include <string>

#include "convert/copybook_source.h"
#include "convert/mask.h"
#include "files/apart.h"
#include "platform/console.h"
#include "platform/trace.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {
namespace {

constexpr int kItemsOnLine = 9;

void WriteKeys(std::FILE* file) {
  for (std::size_t i = 0; i < opt.keyDescr.size(); ++i) {
    const KeyEntry& key = opt.keyDescr[i];
    if (key.length > 0) std::fprintf(file, "\n -k%zu:%d,%d \\", i + 1, key.location, key.length);
  }
  std::fprintf(file, "\n");
}

// Deliberate: items that no option can express are written too.
void WriteItems(std::FILE* file) {
  int count = 1;
  for (const MaskItem& item : mask_list) {
    if (item.is_condition()) {
      const std::string value = item.value < "  " ? std::string(49, ' ') : item.value;
      std::fprintf(file, " \\\n -I%d%2s%s", static_cast<int>(item.condition_start),
                   item.op != nullptr ? item.op->name : "", value.c_str());
      count = 1;
      continue;
    }
    std::fprintf(file, " -%c%d:%d", item.type, item.location, static_cast<int>(item.length));
    if (item.occurs >= 2) std::fprintf(file, ":%d", item.occurs);
    if (count++ % kItemsOnLine == 0) std::fprintf(file, " \\\n");
  }
  std::fprintf(file, "\n");
}

// The file that the description stands in.
const char* CopybookName() {
  const copybook::Field* const first =
      copybooks.csid != nullptr ? copybooks.csid->First() : nullptr;
  if (!opt.copyfile.empty() || first == nullptr) return opt.copyfile.c_str();
  return copybooks.csid->files().at(first->source.entry.begin.file).c_str();
}

}  // namespace

int WriteMaskFile() {
  TRACE_FRAME();
  if (CheckTextApart(opt.maskfile) == 0) return 0;
  std::FILE* const file = std::fopen(opt.maskfile.c_str(), "w");
  if (file == nullptr) {
    PrintWarning("Could not write the mask file '%s'.\n", opt.maskfile.c_str());
    return 1;
  }
  std::fprintf(file, "# use the following for input to %s\n", progName);
  std::fprintf(file, "# created from copybook %s\n", CopybookName());
  std::fprintf(file, "# Record size appears to be %d\n#\n", sizes.gblCpySize);
  std::fprintf(file, "%s -? -fi??? -fo??? -s%d \\", progName, opt.gblRecSize);
  WriteKeys(file);
  if (mask_list.empty()) {
    std::fprintf(file, "\n");
  } else {
    WriteItems(file);
  }
  const bool failed = std::ferror(file) != 0;
  if (std::fclose(file) != 0 || failed)
    PrintWarning("Could not write the mask file '%s'.\n", opt.maskfile.c_str());
  return 1;
}

}  // namespace tolvane
