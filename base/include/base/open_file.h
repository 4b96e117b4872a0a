// Opening of files.
#pragma once

#include "base/retry.h"

#include <fcntl.h>
#include <sys/types.h>

namespace qx::io {

/// Opens `name` like open(2) with O_CLOEXEC and retries on EINTR. Returns the descriptor, which the
/// caller closes, or -1 with errno on failure. Safe to call from any thread.
inline int open_file(const char* name, int flags, mode_t mode = 0) {
    // musl's open() always adds a call of fcntl(2), in case the kernel ignores O_CLOEXEC. musl's
    // openat() does not.
    return uninterrupted([&] { return ::openat(AT_FDCWD, name, flags | O_CLOEXEC, mode); });
}

} // namespace qx::io
