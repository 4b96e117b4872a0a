#include "store_file.h"

#include "base/descriptor.h"
#include "base/open_file.h"
#include "base/retry.h"
#include "qx/io.h"
#include "qx/last_error.h"
#include "qx/scope_guard.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace qx::store {
namespace {

constexpr mode_t kMode = 0600;
constexpr off_t kLargest = 16L * 1024 * 1024;

io::descriptor open_file(const std::string& file, int flags) {
    return io::descriptor(io::open_file(file.c_str(), flags | O_NOFOLLOW, kMode));
}

// The directory may be a symbolic link, for example to a writable part of the flash.
io::descriptor open_directory(const std::string& directory) {
    return io::descriptor(io::open_file(directory.c_str(), O_RDONLY | O_DIRECTORY));
}

bool flush(int fd) {
    return io::uninterrupted([&] { return ::fsync(fd); }) == 0;
}

bool flush_directory(int fd) {
    // Some file systems cannot flush directories.
    return flush(fd) || errno == EINVAL;
}

bool flush_parent(const std::string& directory) {
    const std::string parent = directory.substr(0, directory.rfind('/'));
    const io::descriptor fd = open_directory(parent);
    return fd && flush_directory(fd.get());
}

// Creates the file anew. The caller holds the lock, so no other writer uses the name: an existing
// file is stale or planted.
io::descriptor make_temporary(const std::string& file) {
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL;
    io::descriptor fd = open_file(file, flags);
    if (!fd && errno == EEXIST && ::unlink(file.c_str()) == 0) {
        fd = open_file(file, flags);
    }
    if (fd) {
        io::set_mode(fd.get(), 0, kMode); // the umask may have removed permissions
    }
    return fd;
}

bool set_owner(int fd, uid_t owner) {
    return owner == ::geteuid() || ::fchown(fd, owner, static_cast<gid_t>(-1)) == 0;
}

bool write_temporary(const std::string& file, uid_t owner, string_view bytes) {
    const io::descriptor fd = make_temporary(file);
    return fd && set_owner(fd.get(), owner) && io::write_all(fd.get(), bytes) && flush(fd.get());
}

bool lacks_space() {
    return errno == ENOSPC || errno == EDQUOT;
}

// Returns whether the name `file` still refers to the open file `fd`. Stores the status of the open
// file in `opened`.
bool is_named(int fd, const std::string& file, struct stat& opened) {
    struct stat named {};
    return ::fstat(fd, &opened) == 0 && ::lstat(file.c_str(), &named) == 0 &&
           opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

std::string reserve_of(const place& where) {
    return where.file + ".reserve";
}

// Reserves disk space. Without fallocate, writes random bytes, which no file system can compress.
bool allocate(int fd, std::size_t size) {
    if (io::uninterrupted([&] { return ::fallocate(fd, 0, 0, static_cast<off_t>(size)); }) == 0) {
        return true;
    }
    if (errno != EOPNOTSUPP && errno != ENOSYS) {
        return false;
    }
    char noise[4096] = {};
    for (std::size_t done = 0; done < size; done += sizeof noise) {
        static_cast<void>(::getrandom(noise, sizeof noise, GRND_NONBLOCK) < 0);
        if (!io::write_all(fd, string_view(noise, std::min(size - done, sizeof noise)))) {
            return false;
        }
    }
    return flush(fd);
}

bool write_reserved(const std::string& file, int fd, string_view bytes) {
    struct stat status {};
    return is_named(fd, file, status) && ::lseek(fd, 0, SEEK_SET) == 0 &&
           io::write_all(fd, bytes) && ::ftruncate(fd, static_cast<off_t>(bytes.size())) == 0 &&
           flush(fd);
}

// Writes `bytes` to the file `temporary`. If the disk is full, writes to the reserved file instead
// and stores its name in `temporary`.
bool write_new(const place& where, std::string& temporary, uid_t owner, string_view bytes,
               io::descriptor* reserved) {
    if (write_temporary(temporary, owner, bytes)) {
        return true;
    }
    if (!lacks_space() || reserved == nullptr || !*reserved) {
        return false;
    }
    ::unlink(temporary.c_str());
    std::string file = reserve_of(where);
    if (write_reserved(file, reserved->get(), bytes)) {
        temporary = std::move(file);
        return true;
    }
    if (!lacks_space()) {
        return false;
    }
    // A copy-on-write or log-structured file system needs new blocks even for an overwrite. Free
    // the reserved blocks, so that the second attempt can use them.
    release(where, *reserved);
    return write_temporary(temporary, owner, bytes);
}

io::descriptor open_lock(const place& where, bool make_directory) {
    // O_NONBLOCK: the name may refer to a device.
    constexpr int flags = O_RDWR | O_CREAT | O_NONBLOCK;
    io::descriptor fd = open_file(where.lock_file, flags);
    if (!fd && errno == ENOENT && make_directory && io::make_directory(where.directory.c_str())) {
        fd = open_file(where.lock_file, flags);
    }
    return fd;
}

io::descriptor lock(const place& where, bool make_directory, int how) {
    for (;;) {
        io::descriptor fd = open_lock(where, make_directory);
        if (!fd || io::uninterrupted([&] { return ::flock(fd.get(), how); }) != 0) {
            return io::descriptor();
        }
        struct stat locked {};
        // A lock on an unlinked file excludes no process.
        if (!is_named(fd.get(), where.lock_file, locked)) {
            continue;
        }
        // The lock file may be a hard link to another user's file, and set_mode() would change the
        // mode of that file. Unlink the name and retry. Processes that wait for the old lock will
        // also find it unlinked and retry.
        if (S_ISREG(locked.st_mode) && locked.st_nlink > 1) {
            if (::unlink(where.lock_file.c_str()) != 0) {
                return io::descriptor();
            }
            continue;
        }
        if (!S_ISREG(locked.st_mode)) {
            errno = EINVAL;
            return io::descriptor();
        }
        io::set_mode(fd.get(), locked.st_mode, kMode);
        return fd;
    }
}

bool refuse(const std::string& file, const char* what) {
    set_io_error(file + ": " + what);
    return false;
}

// Restores the old file after a failed flush, because a change that is reported as failed must not
// take effect.
void put_back(const place& where, const std::string& temporary, const snapshot& old) {
    if (!old.exists) {
        ::unlink(where.file.c_str());
    } else if (write_temporary(temporary, old.owner, old.bytes)) {
        ::rename(temporary.c_str(), where.file.c_str());
    }
}

} // namespace

bool fail(const std::string& file, const char* what) {
    const int reason = errno;
    if (reason == ELOOP) {
        return refuse(file, "is a link");
    }
    set_io_error(file + ": " + what, reason);
    return false;
}

bool read(const place& where, snapshot& content) {
    content = snapshot();
    // O_NONBLOCK: the name may refer to a FIFO.
    const io::descriptor fd = open_file(where.file, O_RDONLY | O_NONBLOCK);
    if (!fd) {
        return errno == ENOENT || fail(where.file, "cannot be opened");
    }
    struct stat status {};
    if (::fstat(fd.get(), &status) != 0) {
        return fail(where.file, "cannot be examined");
    }
    if (!S_ISREG(status.st_mode)) {
        return refuse(where.file, "is not a regular file");
    }
    if (status.st_size > kLargest) {
        return refuse(where.file, "is larger than 16 MiB");
    }
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t length = 0;
    while (length < bytes.size()) {
        const ssize_t got = io::uninterrupted(
            [&] { return ::read(fd.get(), bytes.data() + length, bytes.size() - length); });
        if (got < 0) {
            return fail(where.file, "cannot be read");
        }
        if (got == 0) {
            break;
        }
        length += static_cast<std::size_t>(got);
    }
    bytes.resize(length);
    content = {true, std::move(bytes), status.st_uid};
    return true;
}

io::descriptor lock(const place& where, bool make_directory) {
    return lock(where, make_directory, LOCK_EX);
}

io::descriptor try_lock(const place& where) {
    return lock(where, false, LOCK_EX | LOCK_NB);
}

io::descriptor reserve(const place& where, uid_t owner, std::size_t size) {
    const std::string file = reserve_of(where);
    io::descriptor fd = make_temporary(file);
    if (fd && set_owner(fd.get(), owner) && allocate(fd.get(), size)) {
        return fd;
    }
    fail(file, "cannot be allocated");
    if (fd) {
        ::unlink(file.c_str());
    }
    return io::descriptor();
}

void release(const place& where, io::descriptor& reserved) {
    const std::string file = reserve_of(where);
    struct stat status {};
    if (reserved && is_named(reserved.get(), file, status)) {
        ::unlink(file.c_str());
    }
    reserved.reset();
}

bool remove(const place& where) {
    if (::unlink(where.file.c_str()) != 0) {
        return errno == ENOENT || fail(where.file, "cannot be removed");
    }
    const io::descriptor directory = open_directory(where.directory);
    return (directory && flush_directory(directory.get())) ||
           fail(where.directory, "cannot be flushed");
}

bool replace(const place& where, const snapshot& old, string_view bytes, io::descriptor* reserved) {
    if (bytes.size() > static_cast<std::size_t>(kLargest)) {
        return refuse(where.file, "would be larger than 16 MiB");
    }
    const io::descriptor directory = open_directory(where.directory);
    if (!directory) {
        return fail(where.directory, "cannot be opened");
    }
    // The directory may be new. Its entry in the parent must be durable before the store file is.
    if (!old.exists && !flush_parent(where.directory)) {
        return fail(where.directory, "cannot be flushed");
    }
    const std::string ordinary = where.file + ".tmp";
    std::string temporary = ordinary;
    bool done = false;
    const scope_guard clean_up([&] {
        if (!done) {
            ::unlink(ordinary.c_str());
        }
    });
    if (!write_new(where, temporary, old.exists ? old.owner : ::geteuid(), bytes, reserved)) {
        return fail(temporary, "cannot be written");
    }
    if (::rename(temporary.c_str(), where.file.c_str()) != 0) {
        return fail(where.file, "cannot be replaced");
    }
    if (temporary != ordinary) {
        reserved->reset();
    }
    if (!flush_directory(directory.get())) {
        fail(where.directory, "cannot be flushed");
        put_back(where, ordinary, old);
        return false;
    }
    done = true;
    return true;
}

} // namespace qx::store
