#include "outbox.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>

namespace qx::sim {
namespace {

constexpr std::size_t kBlock = 65536;

} // namespace

std::string frame(std::string_view text, std::optional<std::int32_t> length) {
    const std::int32_t prefix = length.value_or(static_cast<std::int32_t>(text.size()));
    std::string bytes(sizeof prefix, '\0');
    std::memcpy(bytes.data(), &prefix, sizeof prefix);
    return bytes.append(text);
}

void Outbox::add(std::string_view bytes) {
    if (items_.empty() || !items_.back().delivery.is_plain() ||
        items_.back().bytes.size() + bytes.size() > kBlock) {
        items_.emplace_back();
    }
    items_.back().bytes.append(bytes);
}

void Outbox::add(std::string_view bytes, const Delivery& delivery) {
    const std::string_view sent = bytes.substr(0, delivery.send);
    if (delivery.is_plain()) {
        add(sent);
        return;
    }
    const auto not_before =
        delivery.delay.count() == 0 ? Clock::time_point{} : Clock::now() + delivery.delay;
    items_.push_back({std::string(sent), 0, not_before, delivery});
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
    while (!items_.empty()) {
        const Progress progress = send_item(fd, items_.front());
        if (progress.kind != Progress::Kind::done) {
            return progress;
        }
        const Delivery delivery = items_.front().delivery;
        items_.pop_front();
        if (delivery.then != Then::keep) {
            return {Progress::Kind::then, {}, delivery.then, delivery.down};
        }
    }
    return {};
}

} // namespace qx::sim
