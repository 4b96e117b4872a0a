// Retry of system calls that a signal interrupts.
#pragma once

#include <cerrno>

namespace qx::io {

/// Calls `call`, which makes a system call and returns its result, and retries it on EINTR. Returns
/// the final result, with errno from the system call. Safe to call from any thread.
template <typename Call>
auto uninterrupted(const Call& call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace qx::io
