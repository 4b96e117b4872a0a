// Output to files, and modes of files.
#pragma once

#include "qx/string_view.h"

namespace qx::io {

/// Writes all of `text` to the open descriptor `fd`; continues after short writes and EINTR.
/// Returns false, with errno, on failure; a part may have been written. Async-signal-safe, and safe
/// to call from any thread.
bool write_all(int fd, string_view text);

/// Sets the permission bits of the open file `fd` to `wanted`, regardless of the umask. `mode` is
/// the current st_mode; if it has exactly these bits, the call does nothing. Ignores errors,
/// because the mode of another user's file cannot be changed. Safe to call from any thread.
void set_mode(int fd, unsigned int mode, unsigned int wanted);

/// Creates the directory `path`, a NUL-terminated string, with mode 0755, regardless of the umask.
/// Does not create its parents.
/// Returns true if the directory was created or the name existed already, and false, with errno, on
/// failure. Main thread only: during the call the umask of the process is 022.
bool make_directory(const char* path);

} // namespace qx::io
