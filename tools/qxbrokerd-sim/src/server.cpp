#include "server.h"

#include "text.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>

namespace qx::sim {
namespace {

constexpr int kExitOfScenario = 3;
constexpr std::size_t kLongestRequest = 16 << 20;

// What an epoll record belongs to: clients count up from 1, the rest down from the top.
constexpr std::uint64_t kListener = UINT64_MAX;
constexpr std::uint64_t kSignals = UINT64_MAX - 1;
constexpr std::uint64_t kConsole = UINT64_MAX - 2;
constexpr std::uint64_t kEveryClient = 0;

Fd open_signals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    // Started in the background of a terminal, reading it must fail rather than stop the broker.
    ::signal(SIGTTIN, SIG_IGN);
    return Fd(::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
}

void allow_many_clients() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

std::string bytes_of(const Content& content, const Delivery& delivery) {
    return content.kind == Content::Kind::raw ? content.bytes
                                              : frame(content.bytes, delivery.length);
}

std::string described(const Content& content) {
    const std::string size = concat({std::to_string(content.bytes.size()), " raw bytes"});
    return content.kind == Content::Kind::raw ? size : content.bytes;
}

} // namespace

Server::Server(const Options& options, Scenario scenario, State state)
    : install_dir_(options.install_dir)
    , trace_(options.trace)
    , scenario_(std::move(scenario))
    , state_(std::move(state))
    , epoll_(::epoll_create1(EPOLL_CLOEXEC))
    , signals_(open_signals()) {
    if (!epoll_.valid() || !signals_.valid()) {
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

// --- connections
// ---------------------------------------------------------------------------------------------

void Server::accept_clients() {
    while (presence_) {
        Fd fd(::accept4(presence_->listener(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (fd.valid()) {
            add_client(std::move(fd));
            continue;
        }
        if (errno == EINTR || errno == ECONNABORTED) {
            continue;
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK) {
            accepts_ = false;
            ::epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, presence_->listener(), nullptr);
        }
        return;
    }
}

void Server::add_client(Fd fd) {
    const std::uint64_t id = next_client_++;
    const Accept* const step = scenario_.connections.next();
    const Accept accept = step != nullptr ? *step : Accept::serve;
    trace_.client(id, accept == Accept::close ? "refused" : "connected");
    if (accept == Accept::close) {
        return;
    }
    auto client = std::make_unique<Client>();
    client->id = id;
    client->fd = std::move(fd);
    client->reads = accept == Accept::serve;
    client->interest = client->reads ? EPOLLIN : 0U;
    watch(client->fd.get(), id, client->interest);
    clients_.emplace(id, std::move(client));
}

void Server::serve(Client& client, unsigned events) {
    if ((events & EPOLLIN) != 0 && client.reads) {
        receive(client);
        return;
    }
    if ((events & (EPOLLHUP | EPOLLERR)) != 0) {
        close_client(client.id);
        return;
    }
    if ((events & EPOLLOUT) != 0) {
        client.is_blocked = false;
        queue(client);
    }
}

void Server::receive(Client& client) {
    const ssize_t got = ::recv(client.fd.get(), scratch_.data(), scratch_.size(), 0);
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (got <= 0) {
        // A client that only ended its own sending still gets the answers that are on their way.
        client.is_leaving = true;
        client.reads = false;
        if (got < 0 || client.output.empty() || client.subscriptions.any()) {
            close_client(client.id);
        } else {
            update_interest(client);
        }
        return;
    }
    client.input.add({scratch_.data(), static_cast<std::size_t>(got)});
    while (const auto line = client.input.next()) {
        answer(client, *line);
    }
    client.input.drop_taken();
    if (client.input.rest().size() > kLongestRequest) {
        close_client(client.id);
    }
}

void Server::update_interest(Client& client) const {
    const unsigned wanted = (client.reads ? EPOLLIN : 0U) | (client.is_blocked ? EPOLLOUT : 0U);
    if (wanted == client.interest) {
        return;
    }
    client.interest = wanted;
    epoll_event record{};
    record.events = wanted;
    record.data.u64 = client.id;
    ::epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, client.fd.get(), &record);
}

void Server::drop_clients() {
    while (!clients_.empty()) {
        close_client(clients_.begin()->first);
    }
}

void Server::close_client(std::uint64_t id) {
    trace_.client(id, "closed");
    clients_.erase(id);
    if (!accepts_ && presence_) {
        watch(presence_->listener(), kListener, EPOLLIN);
        accepts_ = true;
    }
}

// --- requests
// ------------------------------------------------------------------------------------------------

void Server::answer(Client& client, std::string_view line) {
    trace_.client(client.id, "request", line);
    const Request request = parse_request(line);
    if (!request.fault.empty()) {
        const Reply refusal = Reply::failure(code::invalid_schema, request.fault);
        send_answer(client, refusal.text(), {}, false);
    } else if (request.type == Request::Type::subscribe) {
        answer_subscribe(client, request);
    } else {
        answer_command(client, request);
    }
}

void Server::answer_command(Client& client, const Request& request) {
    const Rule* rule = nullptr;
    for (const std::string_view name : {request.name, std::string_view("*")}) {
        const auto script = scenario_.commands.find(name);
        if (rule == nullptr && script != scenario_.commands.end()) {
            rule = script->second.next();
        }
    }
    if (rule != nullptr && rule->content) {
        send_content(client, *rule);
        return;
    }
    const Reply reply = execute(state_, request.name, request.data);
    send_answer(client, reply.text(), rule != nullptr ? rule->delivery : Delivery{},
                rule != nullptr);
    apply(reply);
}

void Server::answer_subscribe(Client& client, const Request& request) {
    const auto type = event_type(request.name);
    if (!type) {
        const std::string reason = concat({"unknown event '", request.name, "'"});
        send_answer(client, Reply::failure(code::invalid_params, reason).text(), {}, false);
        return;
    }
    const auto index = static_cast<std::size_t>(*type);
    const Rule* const rule = scenario_.subscriptions[index].next();
    if (rule != nullptr && rule->content) {
        send_content(client, *rule);
        return;
    }
    send_answer(client, Reply().text(), rule != nullptr ? rule->delivery : Delivery{},
                rule != nullptr);
    client.subscriptions.set(index);
    for (const TimedEvent& event : scenario_.events) {
        if (event.on_subscribe && event.type == *type) {
            schedule(event, 0, Clock::now() + event.after, client.id);
        }
    }
}

void Server::send_answer(Client& client, std::string_view text, const Delivery& delivery,
                         bool scripted) {
    trace_.client(client.id, scripted ? "scripted answer" : "answer", text);
    client.output.add(frame(text, delivery.length), delivery);
    queue(client);
}

void Server::send_content(Client& client, const Rule& rule) {
    trace_.client(client.id, "scripted answer", described(*rule.content));
    client.output.add(bytes_of(*rule.content, rule.delivery), rule.delivery);
    queue(client);
}

void Server::apply(const Reply& reply) {
    for (const Event& event : reply.events) {
        broadcast(event.type, {Content{Content::Kind::text, event.text}, {}});
    }
    if (!reply.scan_time) {
        return;
    }
    // A scan that is stopped and started again must not be ended by the timer of the first.
    timers_.add(Clock::now() + *reply.scan_time, [this, number = ++scan_number_] {
        if (number != scan_number_) {
            return;
        }
        if (const auto event = finish_scan(state_)) {
            broadcast(event->type, {Content{Content::Kind::text, event->text}, {}});
        }
    });
}

// --- events
// --------------------------------------------------------------------------------------------------

void Server::broadcast(EventType type, const Rule& rule) {
    const std::string bytes = bytes_of(*rule.content, rule.delivery);
    std::size_t count = 0;
    for (const auto& [id, client] : clients_) {
        if (client->subscriptions.test(static_cast<std::size_t>(type))) {
            client->output.add(bytes, rule.delivery);
            queue(*client);
            ++count;
        }
    }
    if (trace_.is_on()) {
        trace_.event(event_name(type), count, described(*rule.content));
    }
}

void Server::schedule(const TimedEvent& event, std::uint64_t sent, Clock::time_point when,
                      std::uint64_t only) {
    timers_.add(when, [this, &event, sent, when, only] { fire(event, sent, when, only); });
}

void Server::fire(const TimedEvent& event, std::uint64_t sent, Clock::time_point when,
                  std::uint64_t only) {
    const auto found = clients_.find(only);
    if (only != kEveryClient && found == clients_.end()) {
        return;
    }
    do {
        Rule rule = event.rule;
        rule.content->bytes = numbered(rule.content->bytes, ++sent);
        if (only == kEveryClient) {
            broadcast(event.type, rule);
            continue;
        }
        trace_.event(event_name(event.type), 1, described(*rule.content));
        found->second->output.add(bytes_of(*rule.content, rule.delivery), rule.delivery);
        queue(*found->second);
    } while (event.every.count() == 0 && sent < event.times);
    if (event.times == 0 || sent < event.times) {
        schedule(event, sent, when + event.every, only);
    }
}

// --- sending
// -------------------------------------------------------------------------------------------------

void Server::queue(Client& client) {
    if (!client.is_queued && !client.is_blocked) {
        client.is_queued = true;
        queued_.push_back(client.id);
    }
}

void Server::flush_queued() {
    std::vector<std::uint64_t> due;
    due.swap(queued_);
    for (const std::uint64_t id : due) {
        const auto found = clients_.find(id);
        if (found != clients_.end()) {
            found->second->is_queued = false;
            flush(*found->second);
        }
    }
}

void Server::flush(Client& client) {
    const Progress progress = client.output.flush(client.fd.get());
    switch (progress.kind) {
    case Progress::Kind::broken:
        close_client(client.id);
        return;
    case Progress::Kind::then:
        follow(client, progress);
        return;
    case Progress::Kind::waiting:
        timers_.add(progress.until, [this, id = client.id] {
            if (const auto found = clients_.find(id); found != clients_.end()) {
                queue(*found->second);
            }
        });
        break;
    case Progress::Kind::blocked:
        client.is_blocked = true;
        break;
    case Progress::Kind::done:
        if (client.is_leaving) {
            close_client(client.id);
            return;
        }
    }
    update_interest(client);
}

void Server::follow(Client& client, const Progress& progress) {
    if (progress.action == Then::exit) {
        std::_Exit(kExitOfScenario);
    }
    if (progress.action == Then::restart) {
        vanish(progress.down);
        return;
    }
    close_client(client.id);
}

// --- standard input
// ------------------------------------------------------------------------------------------

void Server::watch_console() {
    epoll_event record{};
    record.events = EPOLLIN;
    record.data.u64 = kConsole;
    if (::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, STDIN_FILENO, &record) == 0) {
        return;
    }
    // A file cannot be waited for, but is all there already.
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
        for (std::uint64_t n = 1; n <= order.times; ++n) {
            const std::string& text = order.content.bytes;
            broadcast(
                order.event,
                {Content{order.content.kind, order.is_numbered ? numbered(text, n) : text}, {}});
        }
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
