#include "platform/trace.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/console.h"

namespace tolvane::trace {

bool calls_on = false;
bool lines_on = false;

namespace {

std::FILE* sink = stderr;
int depth = 0;

void OpenSink(const std::string& name) {
  std::FILE* file = std::fopen(name.c_str(), "w");
  if (file == nullptr) {
    PrintWarning("Could not open the trace file '%s'.\n", name.c_str());
    return;
  }
  std::setvbuf(file, nullptr, _IOLBF, 0);
  sink = file;
}

void TakeItem(std::string_view item) {
  if (item == "t") calls_on = true;
  if (item == "d") lines_on = true;
  if (item.starts_with("o,")) OpenSink(std::string(item.substr(2)));
}

}  // namespace

void Push(const char* control) {
  std::string_view rest = control;
  while (!rest.empty()) {
    const auto colon = rest.find(':');
    TakeItem(rest.substr(0, colon));
    if (colon == std::string_view::npos) break;
    rest.remove_prefix(colon + 1);
  }
}

void Line(const char* format, ...) {
  std::fprintf(sink, "%*s", depth * 2, "");
  va_list values;
  va_start(values, format);
  std::vfprintf(sink, format, values);
  va_end(values);
  const std::size_t length = std::strlen(format);
  if (length == 0 || format[length - 1] != '\n') std::fputc('\n', sink);
}

void Frame::Enter(const char* file, int line) {
  entered_ = true;
  std::fprintf(sink, "%*s>%s (%s:%d)\n", depth * 2, "", function_, file, line);
  ++depth;
}

void Frame::Leave() {
  --depth;
  std::fprintf(sink, "%*s<%s\n", depth * 2, "", function_);
}

}  // namespace tolvane::trace
