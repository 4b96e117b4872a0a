#include "log_file.h"

#include "base/descriptor.h"
#include "base/open_file.h"
#include "base/retry.h"
#include "qx/io.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qx {
namespace {

constexpr off_t kLargest = 256L * 1024;
// The limit while another process holds the lock. Without this limit the log could grow without
// end: any user who can read the file can hold the lock for ever.
constexpr off_t kLargestUnlocked = 2 * kLargest;
constexpr mode_t kMode = 0640;

// Opens a file for appending and sets its mode to kMode. On failure returns an empty descriptor,
// with errno: EINVAL if the file is not a regular file, EMLINK if it has several hard links.
io::descriptor open_for_appending(const std::string& file, int more_flags) {
    // O_NONBLOCK: the name may refer to a FIFO.
    const int flags = O_RDWR | O_APPEND | O_NOFOLLOW | O_NONBLOCK | more_flags;
    io::descriptor fd(io::open_file(file.c_str(), flags, kMode));
    struct stat status {};
    if (!fd || ::fstat(fd.get(), &status) != 0) {
        return io::descriptor();
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return io::descriptor();
    }
    // The file may be a hard link to another user's file.
    if (status.st_nlink > 1) {
        errno = EMLINK;
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
    if (!fd && errno == EMLINK && ::rename(path_.c_str(), older().c_str()) == 0) {
        fd = open_for_appending(path_, O_CREAT);
    }
    if (!fd) {
        return false;
    }
    fd_ = std::move(fd);
    return true;
}

bool log_file::is_replaced(const struct stat& opened) const {
    struct stat named {};
    return ::lstat(path_.c_str(), &named) != 0 || opened.st_ino != named.st_ino ||
           opened.st_dev != named.st_dev;
}

// Locks the file if possible. Then reopens the file if another process has rotated it, or rotates
// it if it is full. Returns false if the file was reopened and must be checked again.
bool log_file::make_ready(std::size_t length) {
    // On failure, continue without the lock: lines of several writers do not interleave anyway.
    locked_ = io::uninterrupted([&] { return ::flock(fd_.get(), LOCK_EX | LOCK_NB); }) == 0;
    const off_t largest = !locked_ && errno == EWOULDBLOCK ? kLargestUnlocked : kLargest;
    struct stat status {};
    if (::fstat(fd_.get(), &status) != 0) {
        return true;
    }
    if (is_replaced(status)) {
        return !reopen();
    }
    size_ = status.st_size;
    if (locked_) {
        cut_off_half_line();
    }
    has_half_line_ = ends_in_half_line();
    if (size_ == 0 || size_ + static_cast<off_t>(length + (has_half_line_ ? 1 : 0)) <= largest) {
        return true;
    }
    // If the rotation fails, append to the full file rather than lose the line.
    return ::rename(path_.c_str(), older().c_str()) != 0 || !reopen();
}

// Returns the last of the first `size` bytes, or a line feed if `size` is 0 or the read fails.
char log_file::last_byte(off_t size) const {
    char last = '\n';
    if (size > 0 &&
        io::uninterrupted([&] { return ::pread(fd_.get(), &last, 1, size - 1); }) != 1) {
        return '\n';
    }
    return last;
}

// Removes half a line or zeros at the end of the file. A power cut leaves half a line if only some
// blocks of it reached the disk, and zeros if ext4 recorded the new size of the file but not the
// data. The caller holds the lock, so no other writer will complete the line.
void log_file::cut_off_half_line() {
    off_t size = size_;
    while (size > 0 && last_byte(size) != '\n') {
        --size;
    }
    if (size < size_ && ::ftruncate(fd_.get(), size) == 0) {
        size_ = size;
    }
}

// Returns whether the last line has no line feed. A killed writer or a full disk leaves such a
// line.
bool log_file::ends_in_half_line() const {
    return last_byte(size_) != '\n';
}

// Makes a single write(2), so that lines of several writers do not interleave. After a short write,
// removes the incomplete line unless another writer has appended to the file since.
void log_file::write(string_view text) {
    const ssize_t written =
        io::uninterrupted([&] { return ::write(fd_.get(), text.data(), text.size()); });
    const bool is_torn = written > 0 && static_cast<std::size_t>(written) < text.size();
    struct stat status {};
    if (is_torn && locked_ && ::fstat(fd_.get(), &status) == 0 &&
        status.st_size == size_ + written) {
        static_cast<void>(::ftruncate(fd_.get(), size_));
    }
}

void log_file::append(string_view line) {
    constexpr int patience = 16;
    int steps = 0;
    size_ = 0;
    has_half_line_ = false;
    while (!make_ready(line.size()) && ++steps < patience) {
    }
    if (has_half_line_) {
        write(std::string("\n").append(line.data(), line.size()));
    } else {
        write(line);
    }
    if (locked_) {
        ::flock(fd_.get(), LOCK_UN);
    }
}

} // namespace qx
