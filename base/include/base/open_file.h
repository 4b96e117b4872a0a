// Opening files.
#pragma once

#include "base/retry.h"

#include <fcntl.h>
#include <sys/types.h>

namespace qx::io {

/// Opens a file like open(2), with O_CLOEXEC, and repeats the call until no signal interrupts it.
/// Returns the descriptor, or -1 with errno.
inline int open_file(const char* name, int flags, mode_t mode = 0) {
    // musl's open() spends a second system call on kernels without O_CLOEXEC, openat() does not.
    return uninterrupted([&] { return ::openat(AT_FDCWD, name, flags | O_CLOEXEC, mode); });
}

} // namespace qx::io
