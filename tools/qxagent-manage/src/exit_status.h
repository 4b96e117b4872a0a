// Exit statuses of the tool. The client library's result of -1 is returned unchanged; the shell
// sees 255.
#pragma once

namespace qx::manage {

enum ExitStatus : int {
    kSuccess = 0,
    kFailure = 1,
};

} // namespace qx::manage
