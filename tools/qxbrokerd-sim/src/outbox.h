// The queue of bytes that a connection has to send.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace qx::sim {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

/// The action after a frame has been sent.
enum class Then { keep, close, restart, exit };

/// How to send a frame. The default sends it whole and immediately.
struct Delivery {
    Milliseconds delay{0};
    std::size_t send =
        std::numeric_limits<std::size_t>::max(); ///< send at most this many bytes of the frame
    std::size_t chunk = 0;                       ///< bytes to send at a time; 0: all of them
    Milliseconds pause{1};                       ///< time between two chunks
    Then then = Then::keep;
    Milliseconds down{100};             ///< how long a restart takes
    std::optional<std::int32_t> length; ///< replaces the true length in the prefix

    [[nodiscard]] bool is_plain() const {
        return delay.count() == 0 && chunk == 0 && then == Then::keep;
    }
};

/// Returns a frame: the length prefix, then `text`. `length` replaces the true length.
std::string frame(std::string_view text, std::optional<std::int32_t> length = std::nullopt);

/// The result of Outbox::flush().
struct Progress {
    enum class Kind {
        done,    ///< the queue is empty
        blocked, ///< continue when the socket is writable
        waiting, ///< continue at `until`
        broken,  ///< the connection is broken
        then,    ///< a frame has been sent; do `action`
    };
    Kind kind = Kind::done;
    Clock::time_point until{};
    Then action = Then::keep;
    Milliseconds down{0};
};

/// Frames that are generated while they are being sent. `make(n)` returns the bytes of frame n, for
/// n from `next` to `last`.
struct Series {
    std::function<std::string(std::uint64_t)> make;
    std::uint64_t next = 1;
    std::uint64_t last = 0;
};

/// A FIFO queue of bytes for one socket. Joins frames with the default delivery into blocks, so a
/// burst needs few system calls and its memory is freed block by block.
class Outbox {
public:
    void add(std::string_view bytes, const Delivery& delivery);
    /// Adds a series. Generates its first block of frames now, and each further block when the
    /// previous block has been sent.
    void add(Series series, const Delivery& delivery);

    [[nodiscard]] bool empty() const { return items_.empty(); }
    /// Returns the number of queued bytes plus an overhead for each item.
    [[nodiscard]] std::size_t size() const { return size_; }

    /// Sends to the socket `fd` without blocking. Limits the amount per call, so that one client
    /// cannot starve the others.
    Progress flush(int fd);

private:
    struct Item {
        std::string bytes{};
        Delivery delivery{};
        Clock::time_point not_before{};
        Series rest{};
        std::size_t sent = 0;

        bool refill();
    };

    [[nodiscard]] bool joins(std::size_t size) const;
    static Progress send_item(int fd, Item& item);

    std::deque<Item> items_;
    std::size_t size_ = 0;
};

} // namespace qx::sim
