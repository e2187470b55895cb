// COPY ... REPLACING: exchanges words of a text before its tokens are read.
//
// Text is compared word by word, without regard to case and to the blanks between words. Blanks,
// parentheses, colons, quotes and separating commas, semicolons and full stops part words, so that
// ==:TAG:== is found in :TAG:-NAME and what replaces it joins the rest of the name. The exchanged
// words stand at the place of the first word that they replace.
#pragma once

#include <cstddef>
#include <vector>

#include "copybook/lexer.h"
#include "copybook/source.h"

namespace tolvane::copybook {

// False when the text would grow beyond `limit` bytes; it is then left as it was.
[[nodiscard]] bool ReplaceWords(SourceText& source, const std::vector<Replacement>& replacing,
                                std::size_t limit);

}  // namespace tolvane::copybook
