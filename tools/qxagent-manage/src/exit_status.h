// The exit statuses that the tool itself gives. A client-library result of -1 is passed on as it is
// and reaches the shell as 255.
#pragma once

namespace qx::manage {

enum ExitStatus : int {
    kSuccess = 0,
    kFailure = 1,
};

} // namespace qx::manage
