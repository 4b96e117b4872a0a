#include "listen.h"

#include "base/descriptor.h"
#include "base/epoll.h"
#include "base/json.h"
#include "event_output.h"
#include "exit_status.h"
#include "qx_plix.h"
#include "readiness.h"
#include "termination_signals.h"

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
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

// The client library calls this function, so it must not throw. If memory is short, it drops the
// event.
void print_event(const char* text, void* user_data) noexcept try {
    const Event& subscribed = *static_cast<const Event*>(user_data);
    const qx::json_ptr data(::json_loads(text, 0, nullptr));
    subscribed.output->add(subscribed.name, data.get());
} catch (const std::bad_alloc&) {
}

// Applies QX_LISTEN_BACKLOG, the maximum size of waiting events in MiB.
std::optional<Failure> set_backlog_limit() {
    constexpr std::uint64_t most = std::uint64_t{1024} * 1024;
    const char* const text = std::getenv("QX_LISTEN_BACKLOG");
    if (text == nullptr) {
        return std::nullopt;
    }
    const char* const text_end = text + std::strlen(text);
    std::uint64_t mib = 0;
    const auto [end, error] = std::from_chars(text, text_end, mib);
    if (error != std::errc() || end != text_end || mib > most ||
        qx_plix_set_backlog_limit(mib * 1024 * 1024) != 0) {
        return Failure{message::backlog_is_invalid, text};
    }
    return std::nullopt;
}

void list_all_events(EventOutput& output, Events& events) {
    for (int type = 0; type < QX_PLIX_EVENT_UNKNOWN; ++type) {
        const auto value = static_cast<qx_plix_event_type>(type);
        events.push_back({value, qx_plix_event_type_to_str(value), &output});
    }
}

std::optional<Failure> list_events(const std::set<std::string>& names, EventOutput& output,
                                   Events& events) {
    for (const std::string& name : names) {
        const qx_plix_event_type type = qx_plix_event_type_from_str(name.c_str());
        if (type == QX_PLIX_EVENT_UNKNOWN) {
            return Failure{message::event_is_unknown, name};
        }
        events.push_back({type, name, &output});
    }
    if (names.empty()) {
        list_all_events(output, events);
    }
    return std::nullopt;
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

    std::optional<Failure> subscribe_all() {
        for (Event& event : events_) {
            int fd = -1;
            if (qx_plix_subscribe(event.type, print_event, &event, &fd) != 0) {
                return Failure{message::event_is_not_subscribed, event.name};
            }
            fds_.push_back(fd);
        }
        return std::nullopt;
    }

    [[nodiscard]] const std::vector<int>& fds() const { return fds_; }

private:
    Events& events_;
    std::vector<int> fds_;
};

// With an empty event mask, epoll reports only that the reader of standard output has closed. The
// call fails for a regular file, which has no reader; the failure is ignored.
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

enum class Next { wait, stop, reader_gone, wait_failed, read_failed, write_failed };

Next print(EventOutput& output) {
    switch (output.print()) {
    case EventOutput::Result::printed:
        return Next::wait;
    case EventOutput::Result::stopped:
        return Next::stop;
    case EventOutput::Result::failed:
        break;
    }
    return errno == EPIPE ? Next::reader_gone : Next::write_failed;
}

Next handle(int fd, int signal_fd, EventOutput& output) {
    if (fd == signal_fd) {
        return Next::stop;
    }
    if (fd == STDOUT_FILENO) {
        return Next::reader_gone;
    }
    if (qx_plix_read_events(fd, output.room()) < 0) {
        return Next::read_failed;
    }
    return output.is_full() ? print(output) : Next::wait;
}

// Handles the ready descriptors, then prints the received events.
Next handle_all(std::span<const epoll_event> ready, int signal_fd, EventOutput& output) {
    for (const epoll_event& event : ready) {
        const Next next = handle(event.data.fd, signal_fd, output);
        if (next == Next::stop) {
            const Next last = print(output);
            return last == Next::wait ? Next::stop : last;
        }
        if (next != Next::wait) {
            return next;
        }
    }
    return print(output);
}

Next print_until_stopped(int epfd, int signal_fd, std::size_t watched, EventOutput& output) {
    std::vector<epoll_event> ready(watched);
    for (;;) {
        const int count = ::epoll_wait(epfd, ready.data(), static_cast<int>(ready.size()), -1);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return Next::wait_failed;
        }
        const std::span<const epoll_event> happened(ready.data(), static_cast<std::size_t>(count));
        const Next next = handle_all(happened, signal_fd, output);
        if (next != Next::wait) {
            return next;
        }
    }
}

// Reports why listening ended, unless a signal ended it. Returns the exit status.
int finish(Next end) {
    switch (end) {
    case Next::wait_failed:
        return print_failure(system_failure(message::wait_fails));
    case Next::read_failed:
        return print_failure({message::events_are_unreadable});
    case Next::write_failed:
        return print_failure(system_failure(message::output_is_not_written));
    case Next::wait:
    case Next::reader_gone:
        return note_failure({message::output_has_no_reader});
    case Next::stop:
        break;
    }
    return kSuccess;
}

} // namespace

int run_listen(const std::set<std::string>& events) {
    EventOutput output;
    Events wanted;
    if (const auto failure = list_events(events, output, wanted)) {
        return print_failure(*failure);
    }
    if (const auto failure = set_backlog_limit()) {
        return print_failure(*failure);
    }
    Readiness readiness;
    Subscriptions subscriptions(wanted);
    if (const auto failure = subscriptions.subscribe_all()) {
        return print_failure(*failure);
    }
    const qx::io::descriptor epoll(::epoll_create1(EPOLL_CLOEXEC));
    if (!epoll) {
        return print_failure(system_failure(message::epoll_is_not_created));
    }
    const qx::io::descriptor signals(hold_termination_signals());
    if (!signals) {
        return print_failure(system_failure(message::signals_are_not_set_up));
    }
    if (!watch(epoll.get(), signals.get(), subscriptions.fds())) {
        return print_failure(system_failure(message::descriptor_is_not_watched));
    }
    readiness.announce();
    // The notification descriptors, the signal descriptor and standard output.
    const std::size_t watched = subscriptions.fds().size() + 2;
    return finish(print_until_stopped(epoll.get(), signals.get(), watched, output));
}

} // namespace qx::manage
