// Registration of descriptors with epoll. Safe to call from any thread, like epoll_ctl(2).
#pragma once

#include <cerrno>
#include <sys/epoll.h>

namespace qx::io {

/// Calls epoll_ctl(2) for `fd`. `operation` is EPOLL_CTL_ADD or EPOLL_CTL_MOD, and `events` is a
/// mask of EPOLL flags. epoll_wait(2) then returns `fd` in `data.fd`. Returns 0, or -1 with errno
/// on failure.
inline int epoll_control(int epfd, int operation, int fd, unsigned int events) {
    epoll_event event{};
    event.events = events;
    event.data.fd = fd;
    return ::epoll_ctl(epfd, operation, fd, &event);
}

/// Watches `fd` for `events`, a mask of EPOLL flags. If `fd` is watched already, replaces the mask.
/// Returns 0, or -1 with errno on failure.
inline int epoll_set_fd(int epfd, int fd, unsigned int events) {
    if (epoll_control(epfd, EPOLL_CTL_MOD, fd, events) == 0) {
        return 0;
    }
    return errno == ENOENT ? epoll_control(epfd, EPOLL_CTL_ADD, fd, events) : -1;
}

} // namespace qx::io
