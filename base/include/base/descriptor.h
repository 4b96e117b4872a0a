// Owning a file descriptor.
#pragma once

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace qx::io {

/// Closes `fd`, unless negative, and makes it -1. It is -1 before the close: a child forked in
/// between could otherwise close a recycled descriptor number. Leaves errno alone.
inline void close_fd(int& fd) noexcept {
    const int number = std::exchange(fd, -1);
    if (number >= 0) {
        const int before = errno;
        ::close(number);
        errno = before;
    }
}

/// Owns a descriptor and closes it; a negative number owns nothing.
class descriptor {
public:
    explicit descriptor(int fd = -1) noexcept
        : fd_(fd) {}
    descriptor(descriptor&& other) noexcept
        : fd_(other.release()) {}
    descriptor& operator=(descriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~descriptor() { close_fd(fd_); }

    /// Closes the owned descriptor and owns `fd` instead.
    void reset(int fd = -1) noexcept {
        close_fd(fd_);
        fd_ = fd;
    }
    /// Gives the descriptor away.
    [[nodiscard]] int release() noexcept { return std::exchange(fd_, -1); }

    [[nodiscard]] int get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ >= 0; }

private:
    int fd_;
};

} // namespace qx::io
