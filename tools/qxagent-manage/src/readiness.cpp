#include "readiness.h"

#include "base/descriptor.h"

#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace qx::manage {
namespace {

// Uses the protocol of sd_notify(3). NOTIFY_SOCKET is a path, or "@" followed by a name in the
// abstract namespace.
void notify_manager(const char* state) {
    const char* const name = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    const std::size_t length = name == nullptr ? 0 : std::strlen(name);
    if (length < 2 || length >= sizeof address.sun_path || (*name != '/' && *name != '@')) {
        return;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name, length);
    if (*name == '@') {
        address.sun_path[0] = '\0';
    }
    const qx::io::descriptor manager(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const timeval patience{1, 0}; // wait at most 1 s if the manager's queue is full
    ::setsockopt(manager.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
    if (::connect(manager.get(), reinterpret_cast<const sockaddr*>(&address), size) == 0) {
        ::send(manager.get(), state, std::strlen(state), MSG_NOSIGNAL);
    }
}

// A closed pipe must not end the listener, and a full pipe must not block it.
void write_line_feed(int fd) {
    pollfd polled{fd, POLLOUT, 0};
    if (::poll(&polled, 1, 0) != 1 || polled.revents != POLLOUT) {
        return;
    }
    auto* const before = std::signal(SIGPIPE, SIG_IGN);
    static_cast<void>(::write(fd, "\n", 1));
    std::signal(SIGPIPE, before);
}

// Returns the number in `text`, or -1 if `text` is null or not a number.
int parse_descriptor(const char* text) {
    int fd = -1;
    const char* const end = text == nullptr ? nullptr : text + std::strlen(text);
    const auto [rest, failure] = std::from_chars(text, end, fd);
    return failure == std::errc() && rest == end ? fd : -1;
}

} // namespace

std::optional<Failure> check_ready_fd() {
    const char* const value = std::getenv("QX_READY_FD");
    const int fd = parse_descriptor(value);
    if (value == nullptr || (fd > STDERR_FILENO && ::fcntl(fd, F_GETFD) != -1)) {
        return std::nullopt;
    }
    return Failure{message::ready_fd_is_invalid, value};
}

Readiness::~Readiness() {
    if (is_announced_) {
        notify_manager("STOPPING=1");
    }
}

void Readiness::announce() {
    is_announced_ = true;
    notify_manager("READY=1");
    qx::io::descriptor ready(parse_descriptor(std::getenv("QX_READY_FD")));
    if (ready) {
        write_line_feed(ready.get());
    }
}

} // namespace qx::manage
