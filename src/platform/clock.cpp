#include "platform/clock.h"

#include "platform/system_calls.h"

namespace tolvane {

std::tm LocalNow() {
  const std::time_t now = sys.time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return local;
}

std::string GetDateString() {
  const std::tm now = LocalNow();
  char text[32];
  std::strftime(text, sizeof text, "%Y/%m/%d %H:%M:%S", &now);
  return text;
}

}  // namespace tolvane
