#include "listen.h"

#include "base/descriptor.h"
#include "base/epoll.h"
#include "base/json.h"
#include "event_output.h"
#include "exit_status.h"
#include "qx/println.h"
#include "qx_plix.h"
#include "stop_signals.h"

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>
#include <string>
#include <sys/epoll.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace qx::manage {
namespace {

struct Event {
    qx_plix_event_type type;
    std::string name;
    EventOutput* output;
};

using Events = std::vector<Event>;

// What a line has besides the event itself, about.
constexpr std::size_t kAroundAnEvent = 100;

// Runs inside the C library's call, so nothing may be thrown: an event that memory is too short for
// is passed over.
void print_event(const char* text, void* user_data) noexcept {
    const Event& subscribed = *static_cast<const Event*>(user_data);
    json_t* const event = ::json_loads(text, 0, nullptr);
    json_t* const name = ::json_string_nocheck(subscribed.name.c_str());
    const qx::json_ptr object(::json_object());
    const bool named = ::json_object_set_new_nocheck(object.get(), "event_name", name) == 0;
    const bool whole = ::json_object_set_new_nocheck(object.get(), "data", event) == 0 && named;
    try {
        subscribed.output->add(whole ? object.get() : nullptr, std::strlen(text) + kAroundAnEvent);
    } catch (const std::bad_alloc&) {
    }
}

// Applies QX_LISTEN_BACKLOG.
bool set_backlog_limit() {
    constexpr std::uint64_t most = std::uint64_t{1024} * 1024;
    const char* const text = std::getenv("QX_LISTEN_BACKLOG");
    if (text == nullptr) {
        return true;
    }
    const char* const text_end = text + std::strlen(text);
    std::uint64_t mib = 0;
    const auto [end, error] = std::from_chars(text, text_end, mib);
    if (error != std::errc() || end != text_end || mib == 0 || mib > most) {
        qx::println(stderr, "QX_LISTEN_BACKLOG: '{}' is not a number of MiB from 1 to {}", text,
                    most);
        return false;
    }
    return qx_plix_set_backlog_limit(mib * 1024 * 1024) == 0;
}

void list_all_events(EventOutput& output, Events& events) {
    for (int type = 0; type < QX_PLIX_EVENT_UNKNOWN; ++type) {
        const auto value = static_cast<qx_plix_event_type>(type);
        events.push_back({value, qx_plix_event_type_to_str(value), &output});
    }
}

bool list_events(const std::set<std::string>& names, EventOutput& output, Events& events) {
    for (const std::string& name : names) {
        const qx_plix_event_type type = qx_plix_event_type_from_str(name.c_str());
        if (type == QX_PLIX_EVENT_UNKNOWN) {
            qx::println(stderr, "Unknown event: {:s}", name);
            return false;
        }
        events.push_back({type, name, &output});
    }
    if (names.empty()) {
        list_all_events(output, events);
    }
    return true;
}

class Subscriptions {
public:
    explicit Subscriptions(Events& events)
        : events_(events) {}
    Subscriptions(const Subscriptions&) = delete;
    Subscriptions& operator=(const Subscriptions&) = delete;
    ~Subscriptions() {
        for (const Event& event : events_) {
            qx_plix_unsubscribe(event.type);
        }
    }

    bool subscribe_all() {
        for (Event& event : events_) {
            int fd = -1;
            if (qx_plix_subscribe(event.type, print_event, &event, &fd) != 0) {
                qx::println(stderr, "Failed to subscribe to event: {:s}", event.name);
                return false;
            }
            fds_.push_back(fd);
        }
        return true;
    }

    [[nodiscard]] const std::vector<int>& fds() const { return fds_; }

private:
    Events& events_;
    std::vector<int> fds_;
};

int fail(const char* what) {
    const char* const reason = std::strerror(errno);
    qx::println(stderr, what, reason);
    return kFailure;
}

// Reports nothing but that the reader of standard output has gone. A file has no reader, and cannot
// be watched.
void watch_reader(int epfd) {
    qx::io::epoll_set_fd(epfd, STDOUT_FILENO, 0);
}

bool watch(int epfd, int signal_fd, const std::vector<int>& fds) {
    if (qx::io::epoll_set_fd(epfd, signal_fd, EPOLLIN) != 0) {
        return false;
    }
    for (const int fd : fds) {
        if (qx::io::epoll_set_fd(epfd, fd, EPOLLIN) != 0) {
            return false;
        }
    }
    watch_reader(epfd);
    return true;
}

enum class Next { wait, stop, fail };

Next print(EventOutput& output) {
    switch (output.print()) {
    case EventOutput::Result::printed:
        return Next::wait;
    case EventOutput::Result::stopped:
        return Next::stop;
    case EventOutput::Result::failed:
        break;
    }
    // No message when the reader has gone.
    if (errno != EPIPE) {
        fail("standard output: {}");
    }
    return Next::fail;
}

Next handle(int fd, int signal_fd, EventOutput& output) {
    if (fd == signal_fd) {
        return Next::stop;
    }
    if (fd == STDOUT_FILENO) {
        return Next::fail;
    }
    if (qx_plix_read_events(fd, output.room()) < 0) {
        qx::println(stderr, "failed to read qx event");
        return Next::fail;
    }
    return output.is_full() ? print(output) : Next::wait;
}

// Handles what is ready, and prints the events that came with it.
Next handle_all(std::span<const epoll_event> ready, int signal_fd, EventOutput& output) {
    for (const epoll_event& event : ready) {
        const Next next = handle(event.data.fd, signal_fd, output);
        if (next == Next::stop) {
            return print(output) == Next::fail ? Next::fail : Next::stop;
        }
        if (next == Next::fail) {
            return next;
        }
    }
    return print(output);
}

int print_until_stopped(int epfd, int signal_fd, std::size_t watched, EventOutput& output) {
    std::vector<epoll_event> ready(watched);
    for (;;) {
        const int count = ::epoll_wait(epfd, ready.data(), static_cast<int>(ready.size()), -1);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return fail("epoll_wait(): {}");
        }
        const std::span<const epoll_event> happened(ready.data(), static_cast<std::size_t>(count));
        const Next next = handle_all(happened, signal_fd, output);
        if (next != Next::wait) {
            return next == Next::stop ? kSuccess : kFailure;
        }
    }
}

} // namespace

int run_listen(const std::set<std::string>& events) {
    EventOutput output;
    Events wanted;
    if (!list_events(events, output, wanted) || !set_backlog_limit()) {
        return kFailure;
    }
    Subscriptions subscriptions(wanted);
    if (!subscriptions.subscribe_all()) {
        return kFailure;
    }
    const qx::io::descriptor epoll(::epoll_create1(EPOLL_CLOEXEC));
    if (!epoll) {
        return fail("epoll_create1(): {}");
    }
    const qx::io::descriptor signals(hold_stop_signals());
    if (!signals) {
        return fail("failed to set up signal handling: {}");
    }
    if (!watch(epoll.get(), signals.get(), subscriptions.fds())) {
        return fail("epoll_set_fd_ro: {}");
    }
    // The notification descriptors, the signal descriptor and standard output.
    const std::size_t watched = subscriptions.fds().size() + 2;
    return print_until_stopped(epoll.get(), signals.get(), watched, output);
}

} // namespace qx::manage
