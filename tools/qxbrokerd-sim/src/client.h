// One connection of a client.
#pragma once

#include "base/descriptor.h"
#include "events.h"
#include "outbox.h"
#include "share.h"

#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qx::sim {

/// Cuts a stream of bytes into lines.
class LineReader {
public:
    void add(std::string_view bytes) { buffer_.append(bytes); }

    /// The next whole line without its line feed, valid until the next call of add() or
    /// drop_taken().
    std::optional<std::string_view> next();
    /// Forgets the lines that were taken; called once after a round of next().
    void drop_taken();
    /// What stands after the last line feed.
    [[nodiscard]] std::string_view rest() const { return std::string_view(buffer_).substr(taken_); }

private:
    std::string buffer_;
    std::size_t taken_ = 0;
    std::size_t searched_ = 0;
};

/// The bytes that all clients hold.
struct Totals {
    std::size_t unanswered = 0;
    std::size_t unread = 0;
};

struct Client {
    explicit Client(Totals& totals)
        : unanswered(totals.unanswered)
        , unread(totals.unread) {}

    std::uint64_t id = 0;
    io::descriptor fd;
    LineReader input;
    Share unanswered; ///< received but not answered
    Outbox output;
    Share unread; ///< what the output holds
    std::bitset<kEventNames.size()> subscriptions;
    bool reads = true;       ///< false: what the client sends stays unread
    bool is_queued = false;  ///< among the clients that are flushed next
    bool is_blocked = false; ///< the socket takes no more for now
    bool is_waiting = false; ///< a timer will queue it
    bool is_leaving =
        false; ///< the client sends nothing more; it goes when it has got what is queued
    std::string_view given_up; ///< why it is closed at its next flush, if it is
    unsigned interest = 0;     ///< what epoll watches
};

} // namespace qx::sim
