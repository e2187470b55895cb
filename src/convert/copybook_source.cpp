#include "convert/copybook_source.h"

#include <algorithm>
#include <cctype>

#include "media/input_stream.h"
#include "platform/console.h"
#include "state/options.h"

namespace tolvane {

Copybooks copybooks;

namespace {

constexpr std::size_t kMostBytes = std::size_t{256} << 20;  // of one text

bool ReadWhole(const std::string& path, std::string& text) {
  InputStream file;
  if (!file.Open(path)) return false;
  const auto shown = file.Peek(kMostBytes + 1);
  if (file.error() != 0 || shown.size() > kMostBytes) return false;
  text.assign(shown.begin(), shown.end());
  return true;
}

void Show(const copybook::Diagnostic& found) {
  if (found.severity == copybook::Severity::kError) {
    PrintError("%s\n", found.Text().c_str());
  } else {
    PrintWarning("%s\n", found.Text().c_str());
  }
}

}  // namespace

bool OpenCopybook(std::string& path, std::string& text) {
  std::string lower = path;
  const std::size_t name = lower.rfind('/') + 1;  // 0 without a folder
  std::transform(lower.begin() + static_cast<std::ptrdiff_t>(name), lower.end(),
                 lower.begin() + static_cast<std::ptrdiff_t>(name),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  for (const std::string& spelled : {path, lower})
    for (const char* suffix : {"", ".cpy", ".CPY", ".cbl", ".CBL", ".cob", ".COB"})
      if (ReadWhole(spelled + suffix, text)) {
        path = spelled + suffix;
        return true;
      }
  return false;
}

CopybookReader::CopybookReader() : diagnostics(Show), lexer(OpenCopybook, diagnostics) {}

copybook::Settings CopybookSettings() {
  copybook::Settings settings =
      IsWordData() ? copybook::Settings::For36BitData() : copybook::Settings{};
  settings.bit_to_byte = opt.sw_1toX == 0;
  settings.truncate_bits = opt.sw_1toX != 0 && opt.sw_truncate1 != 0;
  return settings;
}

CopybookBasis CurrentBasis() {
  return {opt.rawfield, opt.sw_sdf,  lasting.bCopyGFlag, opt.sw_interchange, opt.sw_mf,
          opt.sw_mbp,   opt.sw_1toX, opt.sw_truncate1,   opt.gblRecSize};
}

const char* CopybookOutdatedBy() {
  constexpr struct {
    Switch CopybookBasis::*given;
    const char* option;
  } kOptions[] = {{&CopybookBasis::sw_interchange, "-O"},
                  {&CopybookBasis::sw_mf, "-MF"},
                  {&CopybookBasis::sw_mbp, "-MBP"},
                  {&CopybookBasis::sw_1toX, "-1 or -X"},
                  {&CopybookBasis::sw_truncate1, "-1 or -X"}};
  if (!copybooks.basis) return nullptr;
  CopybookBasis before = *copybooks.basis;
  const CopybookBasis now = CurrentBasis();
  // A copybook that was read without a compiler has no field that one decides on.
  if (before.sw_mf == 0 && before.sw_mbp == 0) {
    before.sw_mf = now.sw_mf;
    before.sw_mbp = now.sw_mbp;
  }
  for (const auto& row : kOptions)
    if (now.*row.given != before.*row.given) return row.option;
  return now.record_size != before.record_size ? "-s" : nullptr;
}

}  // namespace tolvane
