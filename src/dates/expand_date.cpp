#include "dates/expand_date.h"

#include <algorithm>

#include "dates/layout.h"

namespace tolvane {

std::size_t ExpandDateField(std::span<const Byte> date, char layout, std::string_view century,
                            Byte* to) {
  const DateLayout* const found = FindLayout(layout);
  if (found == nullptr || found->year.width == 0 || found->year.width > 2 || century.empty() ||
      date.size() < found->length())
    return 0;
  const std::size_t wanted = 4U - found->year.width;  // characters before the year
  Byte* out = std::copy_n(date.begin(), found->year.at, to);
  for (std::size_t i = 0; i < wanted; ++i)
    *out++ = static_cast<Byte>(century[std::min(i, century.size() - 1)]);
  const auto rest = date.subspan(found->year.at, found->length() - found->year.at);
  out = std::copy(rest.begin(), rest.end(), out);
  return static_cast<std::size_t>(out - to);
}

}  // namespace tolvane
