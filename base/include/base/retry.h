// Repeating system calls that a signal interrupts.
#pragma once

#include <cerrno>

namespace qx::io {

/// Repeats `call`, a system call, until a signal does not interrupt it. Returns its last result.
template <typename Call>
auto uninterrupted(const Call& call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace qx::io
