#include "server.h"

#include "base/descriptor.h"
#include "failure.h"
#include "text.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/signalfd.h>

namespace qx::sim {
namespace {

io::descriptor open_signals() {
    struct sigaction hangup {};
    ::sigaction(SIGHUP, nullptr, &hangup);
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGQUIT}) {
        sigaddset(&set, signal);
    }
    // Do not block SIGHUP if it is ignored, as under nohup(1): a blocked signal would still reach
    // the signalfd.
    if (hangup.sa_handler != SIG_IGN) {
        sigaddset(&set, SIGHUP);
    }
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    // A background job that reads from the terminal gets SIGTTIN, which would stop the broker. If
    // SIGTTIN is ignored, the read fails instead.
    ::signal(SIGTTIN, SIG_IGN);
    return io::descriptor(::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
}

void allow_many_clients() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace

Server::Server(const Options& options, Scenario scenario, State state)
    : install_dir_(options.install_dir)
    , trace_(options.trace)
    , scenario_(std::move(scenario))
    , state_(std::move(state))
    , epoll_(::epoll_create1(EPOLL_CLOEXEC))
    , signals_(open_signals())
    , spare_(::eventfd(0, EFD_CLOEXEC)) {
    if (!epoll_ || !signals_ || !spare_) {
        throw Failure(concat({"cannot set up waiting: ", std::strerror(errno)}));
    }
    allow_many_clients();
}

void Server::run() {
    watch(signals_.get(), kSignals, EPOLLIN);
    appear();
    std::printf("listening for clients of %s\n", install_dir_.c_str());
    std::fflush(stdout);
    watch_console();
    const auto start = Clock::now();
    for (const TimedEvent& event : scenario_.events) {
        if (!event.on_subscribe) {
            schedule(event, 0, start + event.after, kEveryClient);
        }
    }
    std::array<epoll_event, 64> ready{};
    while (!ended_) {
        const int wait = queued_.empty() ? timers_.wait_time() : 0;
        const int count =
            ::epoll_wait(epoll_.get(), ready.data(), static_cast<int>(ready.size()), wait);
        for (int i = 0; i < count; ++i) {
            const epoll_event& record = ready[static_cast<std::size_t>(i)];
            handle(record.data.u64, record.events);
        }
        timers_.run_due();
        flush_queued();
    }
}

void Server::watch(int fd, std::uint64_t id, unsigned events) const {
    epoll_event record{};
    record.events = events;
    record.data.u64 = id;
    if (::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &record) != 0) {
        throw Failure(concat({"cannot wait for input: ", std::strerror(errno)}));
    }
}

void Server::appear() {
    presence_.emplace(install_dir_, scenario_.version, scenario_.lock);
    watch(presence_->listener(), kListener, EPOLLIN);
    accepts_ = true;
}

void Server::vanish(Milliseconds down) {
    if (!presence_) {
        return;
    }
    drop_clients();
    presence_.reset();
    timers_.add(Clock::now() + down, [this] {
        appear();
        std::printf("listening again (restart %llu)\n",
                    static_cast<unsigned long long>(++restarts_));
        std::fflush(stdout);
    });
}

void Server::handle(std::uint64_t id, unsigned events) {
    if (id == kSignals) {
        ended_ = true;
    } else if (id == kListener) {
        accept_clients();
    } else if (id == kConsole) {
        read_console();
    } else if (const auto found = clients_.find(id); found != clients_.end()) {
        serve(*found->second, events);
    }
}

void Server::watch_console() {
    epoll_event record{};
    record.events = EPOLLIN;
    record.data.u64 = kConsole;
    if (::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, STDIN_FILENO, &record) == 0) {
        return;
    }
    // epoll cannot watch a regular file. Read the whole file now; that does not block.
    while (!console_ended_) {
        read_console();
    }
}

void Server::read_console() {
    const ssize_t got = ::read(STDIN_FILENO, scratch_.data(), scratch_.size());
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    console_ended_ = got <= 0;
    console_.add(got > 0 ? std::string_view(scratch_.data(), static_cast<std::size_t>(got)) : "\n");
    while (const auto line = console_.next()) {
        obey(*line);
    }
    console_.drop_taken();
    if (console_ended_) {
        ::epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, STDIN_FILENO, nullptr);
    }
}

void Server::obey(std::string_view line) {
    const Order order = parse_order(line);
    if (!order.fault.empty()) {
        std::fprintf(stderr, "qxbrokerd-sim: %s\n", order.fault.c_str());
        return;
    }
    switch (order.kind) {
    case Order::Kind::send:
        send_events(order.event, {order.content, {}}, {1, order.times, order.is_numbered});
        return;
    case Order::Kind::restart:
        vanish(order.down);
        return;
    case Order::Kind::drop:
        drop_clients();
        return;
    case Order::Kind::nothing:
        return;
    }
}

} // namespace qx::sim
