// The file of the settings store. The file is read and replaced as a whole. A lock admits one
// writing process at a time. "Hold the lock" asks the caller to keep a descriptor of `lock` or
// `try_lock` open. Main thread only. Functions throw std::bad_alloc if memory runs out.
#pragma once

#include "base/descriptor.h"
#include "qx/string_view.h"

#include <string>
#include <sys/types.h>

namespace qx::store {

/// The content and the owner of the file. Without a file, the members have their default values.
struct snapshot {
    bool exists = false;
    std::string bytes;
    uid_t owner = 0;
};

/// The absolute paths of the store.
struct place {
    std::string directory;
    std::string file;
    std::string lock_file; ///< beside the file; its content does not matter
};

/// Reads the file into `content`. A missing file is not a failure. If the file cannot be read, or
/// is not a regular file or larger than 16 MiB, sets the last error and returns false.
bool read(const place& where, snapshot& content);

/// Takes the lock, which excludes other writing processes until the returned descriptor is closed.
/// Waits while another process holds the lock. `make_directory` says whether to create a missing
/// directory. On failure returns an empty descriptor, with errno; does not set the last error.
io::descriptor lock(const place& where, bool make_directory);

/// Like `lock`, but does not wait and does not create the directory. Fails with EWOULDBLOCK if
/// another process holds the lock.
io::descriptor try_lock(const place& where);

/// Reserves `size` bytes of disk space for `replace`, in a new file of user `owner` beside the
/// store. Replaces the reserve file of a killed process. On failure sets the last error and returns
/// an empty descriptor. Hold the lock.
io::descriptor reserve(const place& where, uid_t owner, std::size_t size);

/// Removes and closes `reserved`, the file of `reserve`; does nothing if the descriptor is empty.
void release(const place& where, io::descriptor& reserved);

/// Replaces the file atomically by one that contains `bytes`; `old` is the current content.
/// `reserved` is the descriptor from `reserve`, or null. If the disk is full, uses the reserved
/// space and empties the descriptor. Returns true when the new content is durable. On failure sets
/// the last error and returns false, with the old file in place. Hold the lock.
bool replace(const place& where, const snapshot& old, string_view bytes,
             io::descriptor* reserved = nullptr);

/// Removes the file. A missing file is not a failure. Returns true when the removal is durable. On
/// failure sets the last error and returns false. Hold the lock.
bool remove(const place& where);

/// Sets the last error to the reason "<file>: <what>: <message of errno>", or "<file>: is a link"
/// if errno is ELOOP. Returns false.
bool fail(const std::string& file, const char* what);

} // namespace qx::store
