// Exit statuses of the tool. Operations that return the client library's -1 unchanged end with the
// status 255.
#pragma once

namespace qx::manage {

enum ExitStatus : int {
    kSuccess = 0,
    kFailure = 1,
};

} // namespace qx::manage
