// Writing files, and their modes.
#pragma once

#include "qx/string_view.h"

namespace qx::io {

/// Writes all of `text`; false, with errno, when that is not possible.
bool write_all(int fd, string_view text);

/// Sets the mode bits of an open file to `wanted`, regardless of the umask, unless `mode`, its
/// current st_mode, has them already. Does nothing when the file belongs to another user.
void set_mode(int fd, unsigned int mode, unsigned int wanted);

/// Makes the directory `path` with mode 0755, whatever the umask. False, with errno, on failure;
/// true when it exists already. Main thread only: the umask is the process's.
bool make_directory(const char* path);

} // namespace qx::io
