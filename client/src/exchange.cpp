#include "exchange.h"

#include "base/protocol.h"
#include "qx_plix.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <poll.h>
#include <sys/time.h>

namespace qxplix {
namespace {

// A century, in milliseconds. Adding it to the clock cannot overflow.
constexpr std::uint64_t kLongestTimeout = std::uint64_t{100} * 366 * 24 * 3600 * 1000;

std::size_t timeout = 0; ///< in milliseconds; 0 means none

int time_out() {
    errno = ETIMEDOUT;
    return -1;
}

__thread exchange* underway = nullptr;

milliseconds deadline() {
    return underway == nullptr ? 0 : underway->deadline();
}

bool is_over() {
    return deadline() != 0 && now() >= deadline();
}

// Returns the time until the deadline, or 0 with errno ETIMEDOUT if the deadline has passed.
milliseconds time_left() {
    const milliseconds left = deadline() - now();
    if (left <= 0) {
        time_out();
        return 0;
    }
    return left;
}

int flags() {
    return deadline() == 0 ? 0 : MSG_DONTWAIT;
}

// After a failed call, waits until `fd` is ready for `events`. Returns true if the caller should
// retry. Returns false, with errno set, if there is no deadline, the error is not EAGAIN or EINTR,
// poll() fails, or the deadline passes.
bool becomes_ready(int fd, short events) {
    if (deadline() == 0 || (errno != EAGAIN && errno != EINTR)) {
        return false;
    }
    pollfd polled{fd, events, 0};
    int count = 0;
    do {
        const milliseconds left = time_left();
        if (left == 0) {
            return false;
        }
        count = ::poll(&polled, 1, left < INT_MAX ? static_cast<int>(left) : INT_MAX);
    } while (count == 0 || (count < 0 && errno == EINTR));
    return count > 0;
}

void count(ssize_t sent, ssize_t received) {
    if (underway != nullptr) {
        underway->count(sent, received);
    }
}

milliseconds choose_deadline() {
    const std::size_t limit = __atomic_load_n(&timeout, __ATOMIC_RELAXED);
    return limit == 0 ? 0 : now() + static_cast<milliseconds>(limit);
}

// On a Unix socket, connect(2) obeys only SO_SNDTIMEO as a time limit.
int limit_connect(int fd, milliseconds left) {
    const timeval limit{static_cast<time_t>(left / 1000),
                        static_cast<suseconds_t>(left % 1000 * 1000)};
    return ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

int connect_to_broker(int fd) {
    sockaddr_un address{};
    const socklen_t length = qx_broker_address(&address);
    return ::connect(fd, reinterpret_cast<const sockaddr*>(&address), length);
}

} // namespace

exchange::exchange()
    : outer_(underway)
    , deadline_(underway == nullptr ? choose_deadline() : underway->deadline()) {
    underway = this;
}

exchange::~exchange() {
    underway = outer_;
}

void exchange::count(ssize_t sent, ssize_t received) {
    sent_ += sent > 0 ? static_cast<std::size_t>(sent) : 0;
    received_ += received > 0 ? static_cast<std::size_t>(received) : 0;
}

int exchange_connect(int fd) {
    if (deadline() == 0) {
        return connect_to_broker(fd);
    }
    for (;;) {
        const milliseconds left = time_left();
        if (left == 0) {
            return -1;
        }
        if (limit_connect(fd, left) == 0 && connect_to_broker(fd) == 0) {
            return 0;
        }
        if (errno != EAGAIN && errno != EINTR) {
            return -1;
        }
    }
}

ssize_t exchange_send(int fd, const void* bytes, std::size_t size) {
    const int how = MSG_NOSIGNAL | flags();
    ssize_t result = is_over() ? time_out() : ::send(fd, bytes, size, how);
    while (result < 0 && becomes_ready(fd, POLLOUT)) {
        result = ::send(fd, bytes, size, how);
    }
    count(result, 0);
    return result;
}

ssize_t exchange_receive(int fd, void* bytes, std::size_t size) {
    ssize_t result = is_over() ? time_out() : ::recv(fd, bytes, size, flags());
    while (result < 0 && becomes_ready(fd, POLLIN)) {
        result = ::recv(fd, bytes, size, flags());
    }
    count(0, result);
    return result;
}

} // namespace qxplix

using namespace qxplix;

void qx_plix_set_timeout(uint64_t milliseconds) {
    constexpr std::uint64_t most = kLongestTimeout < SIZE_MAX ? kLongestTimeout : SIZE_MAX;
    const auto limit = static_cast<std::size_t>(milliseconds < most ? milliseconds : most);
    __atomic_store_n(&timeout, limit, __ATOMIC_RELAXED);
}
