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

/// Splits a stream of bytes into lines.
class LineReader {
public:
    void add(std::string_view bytes) { buffer_.append(bytes); }

    /// Returns the next complete line without its line feed, or nullopt. The line is valid until
    /// the next call of add() or drop_taken().
    std::optional<std::string_view> next();
    /// Removes the lines that next() has returned. Call it once after a series of next() calls.
    void drop_taken();
    /// Returns the bytes that next() has not returned yet.
    [[nodiscard]] std::string_view rest() const { return std::string_view(buffer_).substr(taken_); }

private:
    std::string buffer_;
    std::size_t taken_ = 0;
    std::size_t searched_ = 0;
};

/// The sums over all clients, in bytes.
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
    Share unanswered; ///< bytes received but not answered
    Outbox output;
    Share unread; ///< bytes in `output`
    std::bitset<kEventNames.size()> subscriptions;
    bool reads = true;         ///< false: the server does not read from the client
    bool is_queued = false;    ///< in the list of clients to flush
    bool is_blocked = false;   ///< the socket's send buffer is full
    bool is_waiting = false;   ///< a timer will queue the client for a flush
    bool is_leaving = false;   ///< the client sends no more; close it once `output` is empty
    std::string_view given_up; ///< if not empty: the next flush closes the client for this reason
    unsigned interest = 0;     ///< the events that epoll watches
};

} // namespace qx::sim
