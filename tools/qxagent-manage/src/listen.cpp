#include "listen.h"

#include "event_output.h"
#include "exit_status.h"
#include "qx/io.h"
#include "qx/json.h"
#include "qx/println.h"
#include "qx_plix.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <sys/epoll.h>
#include <sys/signalfd.h>
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

constexpr int kStopSignals[] = {SIGINT, SIGQUIT, SIGTERM};

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

// The broker may keep a subscription waiting for ever; a stop that comes meanwhile ends the program
// here and now. Nothing is printed or changed yet, and the kernel closes what is open.
class EndAtOnceOnStop {
public:
    EndAtOnceOnStop() {
        struct sigaction action {};
        action.sa_handler = [](int) { ::_exit(kSuccess); };
        for (std::size_t i = 0; i < std::size(kStopSignals); ++i) {
            ::sigaction(kStopSignals[i], &action, &before_[i]);
        }
    }
    EndAtOnceOnStop(const EndAtOnceOnStop&) = delete;
    EndAtOnceOnStop& operator=(const EndAtOnceOnStop&) = delete;
    ~EndAtOnceOnStop() {
        for (std::size_t i = 0; i < std::size(kStopSignals); ++i) {
            ::sigaction(kStopSignals[i], &before_[i], nullptr);
        }
    }

private:
    struct sigaction before_[std::size(kStopSignals)]{};
};

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

int signal_descriptor() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : kStopSignals) {
        ::sigaddset(&signals, signal);
    }
    if (::sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) {
        return -1;
    }
    return ::signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
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

Next after(EventOutput::Result result) {
    switch (result) {
    case EventOutput::Result::printed:
        return Next::wait;
    case EventOutput::Result::stopped:
        return Next::stop;
    case EventOutput::Result::failed:
        return Next::fail;
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
    if (qx_plix_read_event_fd(fd, 1) < 0) {
        qx::println(stderr, "failed to read qx event");
        return Next::fail;
    }
    return after(output.print());
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
        for (int i = 0; i < count; ++i) {
            const int fd = ready[static_cast<std::size_t>(i)].data.fd;
            const Next next = handle(fd, signal_fd, output);
            if (next != Next::wait) {
                return next == Next::stop ? kSuccess : kFailure;
            }
        }
    }
}

} // namespace

int run_listen(const std::set<std::string>& events) {
    EventOutput output;
    Events wanted;
    if (!list_events(events, output, wanted)) {
        return kFailure;
    }
    const EndAtOnceOnStop unless_signals_are_watched;
    Subscriptions subscriptions(wanted);
    if (!subscriptions.subscribe_all()) {
        return kFailure;
    }
    const qx::io::descriptor epoll(::epoll_create1(EPOLL_CLOEXEC));
    if (!epoll) {
        return fail("epoll_create1(): {}");
    }
    const qx::io::descriptor signals(signal_descriptor());
    if (!signals) {
        return fail("failed to set up signal handling: {}");
    }
    output.stop_at(signals.get());
    if (!watch(epoll.get(), signals.get(), subscriptions.fds())) {
        return fail("epoll_set_fd_ro: {}");
    }
    // The notification descriptors, the signal descriptor and standard output.
    const std::size_t watched = subscriptions.fds().size() + 2;
    return print_until_stopped(epoll.get(), signals.get(), watched, output);
}

} // namespace qx::manage
