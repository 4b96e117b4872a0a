// Registering descriptors with epoll.
#pragma once

#include <cerrno>
#include <sys/epoll.h>

namespace qx::io {

/// Calls epoll_ctl with `fd` as the record's data. Returns 0, or -1 with errno.
inline int epoll_control(int epfd, int operation, int fd, unsigned int events) {
    epoll_event event{};
    event.events = events;
    event.data.fd = fd;
    return ::epoll_ctl(epfd, operation, fd, &event);
}

/// Makes `epfd` report `events` of `fd`, whether or not it watches `fd` already. Returns 0, or -1
/// with errno.
inline int epoll_set_fd(int epfd, int fd, unsigned int events) {
    if (epoll_control(epfd, EPOLL_CTL_MOD, fd, events) == 0) {
        return 0;
    }
    return errno == ENOENT ? epoll_control(epfd, EPOLL_CTL_ADD, fd, events) : -1;
}

} // namespace qx::io
