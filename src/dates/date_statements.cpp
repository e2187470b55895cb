#include "dates/date_statements.h"

namespace tolvane {

DateStatements date_statements;

}  // namespace tolvane
