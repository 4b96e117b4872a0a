#include "log_file.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qx {
namespace {

constexpr off_t kLargest = 256L * 1024;
constexpr mode_t kMode = 0640;

// Opens a file for appending and gives it the log's mode. Returns nothing, with errno, when that is
// no regular file.
io::descriptor open_for_appending(const std::string& file, int more_flags) {
    // Non-blocking for the sake of a fifo in the file's place; a file takes no notice.
    const int flags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | more_flags;
    io::descriptor fd(io::uninterrupted([&] { return ::open(file.c_str(), flags, kMode); }));
    struct stat status {};
    if (!fd || ::fstat(fd.get(), &status) != 0) {
        return io::descriptor();
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return io::descriptor();
    }
    io::set_mode(fd.get(), status.st_mode, kMode);
    return fd;
}

} // namespace

bool log_file::open(const std::string& file) {
    path_ = file;
    if (!reopen()) {
        return false;
    }
    static_cast<void>(open_for_appending(older(), 0));
    return true;
}

std::string log_file::older() const {
    return path_ + ".1";
}

bool log_file::reopen() {
    io::descriptor fd = open_for_appending(path_, O_CREAT);
    if (!fd) {
        return false;
    }
    fd_ = std::move(fd);
    locked_ = false;
    return true;
}

bool log_file::is_replaced() const {
    struct stat opened {};
    struct stat named {};
    return ::fstat(fd_.get(), &opened) == 0 &&
           (::lstat(path_.c_str(), &named) != 0 || opened.st_ino != named.st_ino ||
            opened.st_dev != named.st_dev);
}

// One step towards a locked, current file with room for the line; false when another step is
// needed.
bool log_file::lock_with_room_for(std::size_t length) {
    // Without a lock, on a file system that has none, lines of several writers still come out
    // whole.
    locked_ = io::uninterrupted([&] { return ::flock(fd_.get(), LOCK_EX); }) == 0;
    if (is_replaced()) {
        // Somebody else has begun the file again.
        return !reopen();
    }
    struct stat status {};
    if (::fstat(fd_.get(), &status) != 0 || status.st_size == 0 ||
        status.st_size + static_cast<off_t>(length) <= kLargest) {
        return true;
    }
    // When the file cannot be begun again, a file too large is better than a line lost.
    return ::rename(path_.c_str(), older().c_str()) != 0 || !reopen();
}

void log_file::append(string_view line) {
    constexpr int patience = 16;
    int steps = 0;
    while (!lock_with_room_for(line.size()) && ++steps < patience) {
    }
    struct stat before {};
    const bool is_known = locked_ && ::fstat(fd_.get(), &before) == 0;
    if (!io::write_all(fd_.get(), line) && is_known) {
        // The next line must not be glued to half of this one.
        static_cast<void>(::ftruncate(fd_.get(), before.st_size));
    }
    ::flock(fd_.get(), LOCK_UN);
}

} // namespace qx
