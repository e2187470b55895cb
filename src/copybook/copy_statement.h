// The COPY statement: COPY name [OF or IN library] [SUPPRESS] [REPLACING pairs] [full stop], with
// COPY as the lexer's current token. The text named is read next, before what follows. Reports its
// errors to the diagnostics and returns false after one.
#pragma once

#include "copybook/diagnostics.h"
#include "copybook/lexer.h"

namespace tolvane::copybook {

[[nodiscard]] bool CarryOutCopy(Lexer& lexer, Diagnostics& diagnostics);

}  // namespace tolvane::copybook
