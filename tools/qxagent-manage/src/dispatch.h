// From the chosen operation to the work that it does.
#pragma once

#include "command_line.h"

namespace qx::manage {

/// Runs the operation that `options` chose, with the services running, and returns the program's
/// exit status; a library result of -1 is passed on.
int run_operation(const CommandLine& options);

} // namespace qx::manage
