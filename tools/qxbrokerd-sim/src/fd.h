// A file descriptor that is closed when its owner goes.
#pragma once

#include <unistd.h>
#include <utility>

namespace qx::sim {

class Fd {
public:
    Fd() = default;
    explicit Fd(int fd)
        : fd_(fd) {}
    Fd(Fd&& other) noexcept
        : fd_(std::exchange(other.fd_, -1)) {}
    Fd& operator=(Fd&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Fd() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }

    [[nodiscard]] int get() const { return fd_; }
    [[nodiscard]] bool valid() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

} // namespace qx::sim
