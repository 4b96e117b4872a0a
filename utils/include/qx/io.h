// Output to files, and modes of files.
#pragma once

#include "qx/string_view.h"

namespace qx::io {

/// Writes all of `text` to the descriptor `fd`, across short writes and EINTR. Returns false, with
/// errno, on failure. Async-signal-safe.
bool write_all(int fd, string_view text);

/// Sets the permission bits of the open file `fd` to `wanted`, regardless of the umask. `mode` is
/// the current st_mode; if it has these bits already, the call does nothing. Ignores errors: only
/// the owner can change the mode. Safe to call from any thread.
void set_mode(int fd, unsigned int mode, unsigned int wanted);

/// Creates the directory `path` with mode 0755, regardless of the umask. Returns true if the
/// directory was created or existed already, and false, with errno, on failure. Main thread only,
/// because the call changes the umask of the process for a moment.
bool make_directory(const char* path);

} // namespace qx::io
