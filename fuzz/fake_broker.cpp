#include "fake_broker.h"

#include "input.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <jansson.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qx::fuzz {
namespace {

FakeBroker* broker = nullptr;

std::size_t limited(std::size_t size) {
    return broker->piece == 0 ? size : std::min(size, broker->piece);
}

void check_request(const std::string& line) {
    json_t* const request = ::json_loads(line.c_str(), 0, nullptr);
    check(json_is_string(::json_object_get(request, "type")) &&
              json_is_string(::json_object_get(request, "name")),
          "a request is one line of JSON with type and name");
    ::json_decref(request);
}

int fail(int error) {
    errno = error;
    return -1;
}

} // namespace

FakeBroker::FakeBroker() {
    broker = this;
}

FakeBroker::~FakeBroker() {
    broker = nullptr;
}

std::string framed(const std::string& json) {
    const auto length = static_cast<std::int32_t>(json.size());
    return std::string(reinterpret_cast<const char*>(&length), sizeof length) + json;
}

} // namespace qx::fuzz

using namespace qx::fuzz;

// The linker's --wrap requires these names. Each fuzz target wraps only some of these calls, so a
// __real_ function may be undefined.
extern "C" {

int __real_close(int fd) __attribute__((weak));
int __real_clock_gettime(clockid_t clock, timespec* time) __attribute__((weak));

int __wrap_socket(int /*domain*/, int /*type*/, int /*protocol*/) {
    return ::eventfd(0, EFD_CLOEXEC);
}

int __wrap_connect(int fd, const sockaddr* /*address*/, socklen_t /*length*/) {
    if (broker->refuses) {
        return fail(ECONNREFUSED);
    }
    broker->connections[fd] = {broker->answer, broker->stays_open, ""};
    broker->latest = fd;
    return 0;
}

// Reports that the broker runs as root.
int __wrap_getsockopt(int /*fd*/, int /*level*/, int option, void* value, socklen_t* /*length*/) {
    check(option == SO_PEERCRED, "getsockopt() asks only for the broker's user");
    *static_cast<ucred*>(value) = {};
    return 0;
}

ssize_t __wrap_send(int fd, const void* data, std::size_t size, int flags) {
    check((flags & MSG_NOSIGNAL) != 0, "send() is called with MSG_NOSIGNAL");
    const std::size_t sent = limited(size);
    std::string& request = broker->connections[fd].request;
    request.append(static_cast<const char*>(data), sent);
    if (const std::size_t end = request.find('\n'); end != std::string::npos) {
        check(end + 1 == request.size(), "a connection carries one request");
        check_request(request);
    }
    return static_cast<ssize_t>(sent);
}

ssize_t __wrap_recv(int fd, void* data, std::size_t size, int flags) {
    auto& [to_client, stays_open, request] = broker->connections[fd];
    if (to_client.empty() && stays_open && (flags & MSG_DONTWAIT) != 0) {
        return fail(EAGAIN);
    }
    const std::size_t received = to_client.copy(static_cast<char*>(data), limited(size));
    to_client.erase(0, received);
    return static_cast<ssize_t>(received);
}

int __wrap_close(int fd) {
    const int result = __real_close(fd);
    check(result == 0 || errno != EBADF, "no descriptor is closed twice");
    return result;
}

int __wrap_epoll_ctl(int /*epfd*/, int /*operation*/, int /*fd*/, epoll_event* /*event*/) {
    return 0;
}

int __wrap_clock_gettime(clockid_t clock, timespec* time) {
    const int result = __real_clock_gettime(clock, time);
    if (broker != nullptr && clock == CLOCK_MONOTONIC) {
        const std::int64_t ns = time->tv_nsec + broker->clock_ahead_ms * 1'000'000;
        time->tv_sec += ns / 1'000'000'000;
        time->tv_nsec = ns % 1'000'000'000;
    }
    return result;
}

// Fails, so that no input can run a program.
pid_t __wrap_fork() {
    return fail(EAGAIN);
}

} // extern "C"
