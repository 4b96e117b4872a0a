// Descriptors: owning them, and system calls that signals interrupt.
#pragma once

#include "qx/string_view.h"

#include <cerrno>
#include <utility>

namespace qx::io {

/// Owns a descriptor and closes it; a negative number owns nothing. Closing leaves errno as it was.
class descriptor {
public:
    explicit descriptor(int fd = -1) noexcept
        : fd_(fd) {}
    descriptor(descriptor&& other) noexcept
        : fd_(std::exchange(other.fd_, -1)) {}
    descriptor& operator=(descriptor&& other) noexcept {
        reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~descriptor() { reset(); }

    /// Closes what is owned and owns `fd` instead.
    void reset(int fd = -1) noexcept;

    [[nodiscard]] int get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ >= 0; }

private:
    int fd_;
};

/// Repeats `call`, a system call, while a signal interrupts it.
template <typename Call>
auto uninterrupted(const Call& call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

/// Writes all of `text`; false, with errno, when that is not possible.
bool write_all(int fd, string_view text);

/// Sets the mode bits of an open file to `wanted`, regardless of the umask, unless `mode`, its
/// current st_mode, has them already. Does nothing when the file belongs to another user.
void set_mode(int fd, unsigned int mode, unsigned int wanted);

/// Makes the directory `path` with mode 0755, whatever the umask. False, with errno, on failure;
/// true when it exists already. Main thread only: the umask is the process's.
bool make_directory(const char* path);

/// Has `epfd` report `events` of `fd`, whether or not it watches `fd` already. 0, or -1 with errno.
int epoll_set_fd(int epfd, int fd, unsigned int events);

} // namespace qx::io
