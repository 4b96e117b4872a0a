// The part of Server that accepts, reads, flushes and closes connections.

#include "base/descriptor.h"
#include "server.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace qx::sim {
namespace {

constexpr int kExitOfScenario = 3;
constexpr std::size_t kLongestRequest = 1 << 20;
constexpr std::size_t kMostUnanswered = 32 << 20; // of all clients
// Stop reading from a client when this many bytes of answers and events wait for it.
constexpr std::size_t kReadOnBelow = 256 << 10;
constexpr std::size_t kMostUnread = 32 << 20;
constexpr std::size_t kMostUnreadOfAll = 128 << 20;
constexpr Milliseconds kAcceptAgain{100};

bool wants_input(const Client& client) {
    return client.reads && client.output.size() < kReadOnBelow;
}

io::descriptor accept_client(int listener) {
    for (;;) {
        io::descriptor fd(::accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (fd || (errno != EINTR && errno != ECONNABORTED)) {
            return fd;
        }
    }
}

} // namespace

void Server::accept_clients() {
    if (!presence_) {
        return;
    }
    for (io::descriptor fd; (fd = accept_client(presence_->listener()));) {
        add_client(std::move(fd));
    }
    if (errno == EMFILE || errno == ENFILE) {
        refuse_clients();
    }
    if (errno != EAGAIN) {
        pause_accepting();
    }
}

/// Accepts and closes the waiting connections. Releases the spare descriptor first, because
/// accept4() needs a free one, and reopens it afterwards. Sets errno like accept4().
void Server::refuse_clients() {
    spare_ = io::descriptor();
    while (accept_client(presence_->listener())) {
        trace_.client(next_client_++, "refused");
    }
    const int error = errno;
    spare_ = io::descriptor(::eventfd(0, EFD_CLOEXEC));
    errno = error;
}

/// Stops watching the listener for the time kAcceptAgain, because a listener that stays ready would
/// keep the loop busy.
void Server::pause_accepting() {
    accepts_ = false;
    ::epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, presence_->listener(), nullptr);
    timers_.add(Clock::now() + kAcceptAgain, [this] {
        if (!accepts_ && presence_) {
            watch(presence_->listener(), kListener, EPOLLIN);
            accepts_ = true;
        }
    });
}

void Server::add_client(io::descriptor fd) {
    const std::uint64_t id = next_client_++;
    const Accept* const step = scenario_.connections.next();
    const Accept accept = step != nullptr ? *step : Accept::serve;
    trace_.client(id, accept == Accept::close ? "refused" : "connected");
    if (accept == Accept::close) {
        return;
    }
    auto client = std::make_unique<Client>(totals_);
    client->id = id;
    client->fd = std::move(fd);
    client->reads = accept == Accept::serve;
    client->interest = client->reads ? EPOLLIN : 0U;
    watch(client->fd.get(), id, client->interest);
    clients_.emplace(id, std::move(client));
}

void Server::serve(Client& client, unsigned events) {
    if ((events & EPOLLIN) != 0 && wants_input(client)) {
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
        return;
    }
    update_interest(client);
}

void Server::receive(Client& client) {
    const ssize_t got = ::recv(client.fd.get(), scratch_.data(), scratch_.size(), 0);
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (got <= 0) {
        // A client without subscriptions may have shut down only its sending side. It still gets
        // the queued answers.
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
    answer_lines(client);
}

/// Answers the complete requests, as long as the client reads its answers.
void Server::answer_lines(Client& client) {
    while (wants_input(client)) {
        const auto line = client.input.next();
        if (!line) {
            break;
        }
        answer(client, *line);
    }
    client.input.drop_taken();
    update_interest(client);
    limit_unanswered(client);
}

void Server::limit_unanswered(Client& client) {
    client.unanswered.set(client.input.rest().size());
    if (client.unanswered.held() > kLongestRequest) {
        close_client(client.id, "request too long");
    } else if (totals_.unanswered > kMostUnanswered) {
        close_client(largest_holder(&Client::unanswered), "too many unfinished requests");
    }
}

/// Gives up a client if too many bytes are unread. Returns whether more may be queued for `client`.
bool Server::admits(Client& client) {
    if (client.unread.held() > kMostUnread) {
        give_up(client, "reads too slowly");
    } else if (totals_.unread > kMostUnreadOfAll) {
        give_up(*clients_.at(largest_holder(&Client::unread)), "clients read too slowly");
    }
    return client.given_up.empty();
}

/// Frees the client's unread output. Leaves the closing to the next flush, because callers still
/// refer to the client.
void Server::give_up(Client& client, std::string_view reason) {
    client.given_up = reason;
    client.output = {};
    client.subscriptions.reset();
    client.reads = false;
    client.is_blocked = false;
    client.is_waiting = false;
    queue(client);
}

std::uint64_t Server::largest_holder(Share Client::*share) const {
    const auto largest =
        std::max_element(clients_.begin(), clients_.end(), [share](const auto& a, const auto& b) {
            return ((*a.second).*share).held() < ((*b.second).*share).held();
        });
    return largest->first;
}

void Server::update_interest(Client& client) const {
    const unsigned wanted =
        (wants_input(client) ? EPOLLIN : 0U) | (client.is_blocked ? EPOLLOUT : 0U);
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

void Server::close_client(std::uint64_t id, std::string_view reason) {
    trace_.client(id, "closed", reason);
    clients_.erase(id);
}

void Server::queue(Client& client) {
    client.unread.set(client.output.size());
    if (!client.is_queued && !client.is_blocked && !client.is_waiting) {
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
    if (!client.given_up.empty()) {
        close_client(client.id, client.given_up);
        return;
    }
    const Progress progress = client.output.flush(client.fd.get());
    client.unread.set(client.output.size());
    switch (progress.kind) {
    case Progress::Kind::broken:
        close_client(client.id);
        return;
    case Progress::Kind::then:
        follow(client, progress);
        return;
    case Progress::Kind::waiting:
        client.is_waiting = true;
        timers_.add(progress.until, [this, id = client.id] {
            if (const auto found = clients_.find(id); found != clients_.end()) {
                found->second->is_waiting = false;
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
    answer_lines(client);
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

} // namespace qx::sim
