#include "qx/io.h"

#include <sys/epoll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qx::io {

void descriptor::reset(int fd) noexcept {
    if (fd_ >= 0) {
        const int before = errno;
        ::close(fd_);
        errno = before;
    }
    fd_ = fd;
}

bool write_all(int fd, string_view text) {
    while (!text.empty()) {
        const ssize_t written =
            uninterrupted([&] { return ::write(fd, text.data(), text.size()); });
        if (written < 0) {
            return false;
        }
        text = text.substr(static_cast<std::size_t>(written));
    }
    return true;
}

void set_mode(int fd, unsigned int mode, unsigned int wanted) {
    constexpr unsigned int all_bits = 07777;
    if ((mode & all_bits) != wanted) {
        // Only the owner may; anybody else is no worse off than before.
        static_cast<void>(::fchmod(fd, wanted));
    }
}

bool make_directory(const char* path) {
    constexpr mode_t writers = 022;
    const mode_t before = ::umask(writers);
    const bool is_made = ::mkdir(path, 0755) == 0 || errno == EEXIST;
    ::umask(before);
    return is_made;
}

int epoll_set_fd(int epfd, int fd, unsigned int events) {
    epoll_event event{};
    event.events = events;
    event.data.fd = fd;
    if (::epoll_ctl(epfd, EPOLL_CTL_MOD, fd, &event) == 0) {
        return 0;
    }
    return errno == ENOENT ? ::epoll_ctl(epfd, EPOLL_CTL_ADD, fd, &event) : -1;
}

} // namespace qx::io
