#include "outbox.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>

namespace qx::sim {
namespace {

constexpr std::size_t kBlock = 65536;
constexpr std::size_t kTurn = 1 << 20;

Clock::time_point start_of(const Delivery& delivery) {
    return delivery.delay.count() == 0 ? Clock::time_point{} : Clock::now() + delivery.delay;
}

} // namespace

std::string frame(std::string_view text, std::optional<std::int32_t> length) {
    const std::int32_t prefix = length.value_or(static_cast<std::int32_t>(text.size()));
    std::string bytes(sizeof prefix, '\0');
    std::memcpy(bytes.data(), &prefix, sizeof prefix);
    return bytes.append(text);
}

bool Outbox::joins(std::size_t size) const {
    return !items_.empty() && items_.back().delivery.is_plain() &&
           items_.back().bytes.size() + size <= kBlock &&
           items_.back().rest.next > items_.back().rest.last;
}

void Outbox::add(std::string_view bytes, const Delivery& delivery) {
    const std::string_view sent = bytes.substr(0, delivery.send);
    if (!delivery.is_plain() || !joins(sent.size())) {
        items_.push_back({.delivery = delivery, .not_before = start_of(delivery)});
        size_ += sizeof(Item);
    }
    items_.back().bytes.append(sent);
    size_ += sent.size();
}

void Outbox::add(Series series, const Delivery& delivery) {
    if (series.next == series.last) {
        add(series.make(series.next), delivery);
        return;
    }
    items_.push_back(
        {.delivery = delivery, .not_before = start_of(delivery), .rest = std::move(series)});
    static_cast<void>(items_.back().refill());
    size_ += sizeof(Item) + items_.back().bytes.size();
}

/// Replaces the sent frames with the next ones of the series. Returns false if there are none.
bool Outbox::Item::refill() {
    if (rest.next > rest.last) {
        return false;
    }
    bytes.clear();
    sent = 0;
    do {
        bytes.append(rest.make(rest.next++).substr(0, delivery.send));
    } while (delivery.is_plain() && bytes.size() < kBlock && rest.next <= rest.last);
    return true;
}

Progress Outbox::send_item(int fd, Item& item) {
    if (item.not_before != Clock::time_point{} && Clock::now() < item.not_before) {
        return {Progress::Kind::waiting, item.not_before};
    }
    while (item.sent < item.bytes.size()) {
        std::size_t size = item.bytes.size() - item.sent;
        if (item.delivery.chunk != 0) {
            size = std::min(size, item.delivery.chunk);
        }
        const ssize_t sent =
            ::send(fd, item.bytes.data() + item.sent, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent < 0) {
            const bool full = errno == EAGAIN || errno == EWOULDBLOCK;
            return {full ? Progress::Kind::blocked : Progress::Kind::broken};
        }
        item.sent += static_cast<std::size_t>(sent);
        if (item.delivery.chunk != 0 && item.sent < item.bytes.size()) {
            item.not_before = Clock::now() + item.delivery.pause;
            return {Progress::Kind::waiting, item.not_before};
        }
    }
    return {};
}

Progress Outbox::flush(int fd) {
    for (std::size_t sent = 0; !items_.empty();) {
        Item& item = items_.front();
        const Progress progress =
            sent < kTurn ? send_item(fd, item) : Progress{Progress::Kind::blocked};
        if (progress.kind != Progress::Kind::done) {
            return progress;
        }
        sent += item.bytes.size();
        size_ -= item.bytes.size();
        const Delivery delivery = item.delivery;
        if (item.refill()) {
            size_ += item.bytes.size();
        } else {
            size_ -= sizeof(Item);
            items_.pop_front();
        }
        if (delivery.then != Then::keep) {
            return {Progress::Kind::then, {}, delivery.then, delivery.down};
        }
    }
    return {};
}

} // namespace qx::sim
