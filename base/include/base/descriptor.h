// Ownership of file descriptors. Nothing here locks: threads must not share an object.
#pragma once

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace qx::io {

/// Closes `fd`, unless it is negative, and sets it to -1. Ignores errors and preserves errno.
inline void close_fd(int& fd) noexcept {
    // Set `fd` to -1 before closing. Otherwise a child forked in between inherits the stale number
    // and may later close an unrelated descriptor.
    const int number = std::exchange(fd, -1);
    if (number >= 0) {
        const int before = errno;
        ::close(number);
        errno = before;
    }
}

/// Owns a file descriptor and closes it in the destructor. A negative value means no descriptor.
class descriptor {
public:
    /// Takes ownership of `fd`.
    explicit descriptor(int fd = -1) noexcept
        : fd_(fd) {}
    descriptor(descriptor&& other) noexcept
        : fd_(other.release()) {}
    descriptor& operator=(descriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~descriptor() { close_fd(fd_); }

    /// Closes the current descriptor, if any, and takes ownership of `fd`.
    void reset(int fd = -1) noexcept {
        close_fd(fd_);
        fd_ = fd;
    }
    /// Passes ownership to the caller. Returns the descriptor, or a negative value if there is
    /// none.
    [[nodiscard]] int release() noexcept { return std::exchange(fd_, -1); }

    /// Returns the descriptor, which the object still owns, or a negative value if there is none.
    [[nodiscard]] int get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ >= 0; }

private:
    int fd_;
};

} // namespace qx::io
