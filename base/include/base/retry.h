// Retry of system calls that fail with EINTR.
#pragma once

#include <cerrno>

namespace qx::io {

/// Retries `call` while it fails with EINTR. `call` makes one system call and returns its result.
/// Returns the last result and leaves errno as the system call set it. Safe to call from any
/// thread.
template <typename Call>
auto uninterrupted(const Call& call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace qx::io
