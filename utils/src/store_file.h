// The settings store's file: read whole, replaced whole, written by one process at a time.
#pragma once

#include "base/descriptor.h"
#include "qx/string_view.h"

#include <string>
#include <sys/types.h>

namespace qx::store {

/// What the file holds; all empty when there is none.
struct snapshot {
    bool exists = false;
    std::string bytes;
    uid_t owner = 0;
};

/// The place of the store: a file in a directory of its own.
struct place {
    std::string directory;
    std::string file;
    std::string lock_file; ///< beside it, never replaced
};

/// Reads the file; that there is none is no failure. False, with the last-error record, when it
/// cannot be read.
bool read(const place& where, snapshot& content);

/// Waits until no other process writes, and keeps it so until the descriptor is closed.
/// `make_directory`: as needed. Nothing, with errno but no record, on failure.
io::descriptor lock(const place& where, bool make_directory);

/// Does the same without waiting and without making the directory. Fails with EWOULDBLOCK while
/// another process holds the lock.
io::descriptor try_lock(const place& where);

/// Creates a file beside the store that reserves `size` bytes of disk space for `replace`; replaces
/// one that was left behind. Returns nothing, with the last-error record, on failure. Only under
/// the lock.
io::descriptor reserve(const place& where, uid_t owner, std::size_t size);

/// Removes the file of `reserve` and closes it; does nothing when `reserved` is empty.
void release(const place& where, io::descriptor& reserved);

/// Puts `bytes` in the place of `old`, the file's content. When it returns true the new content
/// outlives a power cut; at any moment, also when the process is killed, the file is the old one or
/// the new one. On a full disk it uses `reserved`, a file from `reserve` or null, and leaves the
/// descriptor empty. Returns false, with the last-error record and the old file in place, on
/// failure. Only under the lock.
bool replace(const place& where, const snapshot& old, string_view bytes,
             io::descriptor* reserved = nullptr);

/// Removes the file; that there is none is no failure. When it returns true the removal outlives a
/// power cut. Returns false, with the last-error record, on failure. Only under the lock.
bool remove(const place& where);

/// Fills the last-error record with `file`, and with what cannot be done with it and errno's text,
/// or that it is a link. Always false.
bool fail(const std::string& file, const char* what);

} // namespace qx::store
