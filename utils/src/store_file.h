// The file of the settings store. It is read and replaced as a whole, and a lock admits one writing
// process at a time.
#pragma once

#include "base/descriptor.h"
#include "qx/string_view.h"

#include <string>
#include <sys/types.h>

namespace qx::store {

/// The content and the owner of the file; empty if there is no file.
struct snapshot {
    bool exists = false;
    std::string bytes;
    uid_t owner = 0;
};

/// The paths of the store.
struct place {
    std::string directory;
    std::string file;
    std::string lock_file; ///< beside the file; never replaced
};

/// Reads the file into `content`. A missing file is not a failure. Returns false, with the last
/// error, if the file cannot be read.
bool read(const place& where, snapshot& content);

/// Takes the lock, which excludes other writing processes until the returned descriptor is closed.
/// Waits while another process holds the lock. `make_directory` creates a missing directory. On
/// failure returns an empty descriptor with errno, and records no last error.
io::descriptor lock(const place& where, bool make_directory);

/// Does the same without waiting and without creating the directory. Fails with EWOULDBLOCK if
/// another process holds the lock.
io::descriptor try_lock(const place& where);

/// Creates a file beside the store that reserves `size` bytes of disk space for `replace`, in place
/// of a stale one. On failure returns an empty descriptor with the last error. Hold the lock.
io::descriptor reserve(const place& where, uid_t owner, std::size_t size);

/// Removes and closes the file of `reserve`; does nothing if `reserved` is empty.
void release(const place& where, io::descriptor& reserved);

/// Replaces the file atomically by one that contains `bytes`; `old` is the current content. If the
/// disk is full, uses `reserved`, a file from `reserve` or null, and leaves its descriptor empty.
/// Returns true when the new content is durable, or false, with the last error and the old file in
/// place. Hold the lock.
bool replace(const place& where, const snapshot& old, string_view bytes,
             io::descriptor* reserved = nullptr);

/// Removes the file. A missing file is not a failure. Returns true when the removal is durable, or
/// false, with the last error, on failure. Hold the lock.
bool remove(const place& where);

/// Sets the last error to `file`, `what` and the text of errno, or to the reason that `file` is a
/// link. Returns false.
bool fail(const std::string& file, const char* what);

} // namespace qx::store
