#include "fake_broker.h"

#include "input.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <jansson.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qx::fuzz {
namespace {

FakeBroker* broker = nullptr;

void check_request(const std::string& line) {
    json_t* const request = ::json_loads(line.c_str(), 0, nullptr);
    check(json_is_string(::json_object_get(request, "type")) &&
              json_is_string(::json_object_get(request, "name")),
          "a request is one line of JSON with type and name");
    ::json_decref(request);
}

} // namespace

FakeBroker::FakeBroker(std::size_t piece)
    : piece_(piece) {
    broker = this;
}

FakeBroker::~FakeBroker() {
    broker = nullptr;
}

bool FakeBroker::accept(int fd) {
    if (refuse_) {
        return false;
    }
    connections_[fd] = {answer_, 0, "", stay_open_};
    latest_ = fd;
    return true;
}

std::size_t FakeBroker::take(int fd, const char* data, std::size_t size) {
    const std::size_t taken = limited(size);
    std::string& request = connections_[fd].request;
    request.append(data, taken);
    const std::size_t end = request.find('\n');
    if (end != std::string::npos) {
        check(end + 1 == request.size(), "a connection carries one request");
        check_request(request);
    }
    return taken;
}

std::ptrdiff_t FakeBroker::give(int fd, char* data, std::size_t size, bool wait) {
    Connection& connection = connections_[fd];
    const std::size_t left = connection.to_client.size() - connection.given;
    if (left == 0 && connection.open && !wait) {
        errno = EAGAIN;
        return -1;
    }
    const std::size_t part = limited(left < size ? left : size);
    std::memcpy(data, connection.to_client.data() + connection.given, part);
    connection.given += part;
    return static_cast<std::ptrdiff_t>(part);
}

std::string framed(const std::string& json) {
    const auto length = static_cast<std::int32_t>(json.size());
    std::string bytes(sizeof length, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes + json;
}

} // namespace qx::fuzz

using qx::fuzz::broker;
using qx::fuzz::check;

// The names are the linker's. A program that wraps fewer calls never gets here for the others.
extern "C" {

int __real_close(int fd) __attribute__((weak));
int __real_clock_gettime(clockid_t clock, timespec* time) __attribute__((weak));
int __real_fcntl(int fd, int command, ...) __attribute__((weak));

int __wrap_socket(int /*domain*/, int /*type*/, int /*protocol*/) {
    return ::eventfd(0, EFD_CLOEXEC);
}

int __wrap_connect(int fd, const sockaddr* /*address*/, socklen_t /*length*/) {
    if (broker == nullptr || broker->accept(fd)) {
        return 0;
    }
    errno = ECONNREFUSED;
    return -1;
}

// Root is the broker.
int __wrap_getsockopt(int /*fd*/, int /*level*/, int option, void* value, socklen_t* /*length*/) {
    check(option == SO_PEERCRED, "only the broker's user is asked for");
    *static_cast<ucred*>(value) = {};
    return 0;
}

ssize_t __wrap_send(int fd, const void* data, std::size_t size, int flags) {
    check((flags & MSG_NOSIGNAL) != 0, "sending never raises a signal");
    return static_cast<ssize_t>(broker->take(fd, static_cast<const char*>(data), size));
}

ssize_t __wrap_recv(int fd, void* data, std::size_t size, int flags) {
    return broker->give(fd, static_cast<char*>(data), size, (flags & MSG_DONTWAIT) == 0);
}

int __wrap_close(int fd) {
    const int result = __real_close(fd);
    check(result == 0 || errno != EBADF, "nothing is closed twice");
    return result;
}

int __wrap_epoll_ctl(int /*epfd*/, int /*operation*/, int /*fd*/, epoll_event* /*event*/) {
    return 0;
}

int __wrap_clock_gettime(clockid_t clock, timespec* time) {
    const int result = __real_clock_gettime(clock, time);
    if (broker != nullptr && clock == CLOCK_MONOTONIC) {
        const std::int64_t ns = time->tv_nsec + broker->clock_ahead_ms % 1000 * 1'000'000;
        time->tv_sec += static_cast<time_t>(broker->clock_ahead_ms / 1000 + ns / 1'000'000'000);
        time->tv_nsec = static_cast<long>(ns % 1'000'000'000);
    }
    return result;
}

// Another process holds every lock that is asked about.
int __wrap_fcntl(int fd, int command, ...) {
    std::va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (command == F_GETLK) {
        static_cast<struct flock*>(argument)->l_type = F_WRLCK;
        return 0;
    }
    return __real_fcntl(fd, command, argument);
}

// No program can be run.
pid_t __wrap_fork() {
    errno = EAGAIN;
    return -1;
}

} // extern "C"
