// What a connection still has to send, and how.
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

/// What happens after a frame, or the part of it that is sent.
enum class Then { keep, close, restart, exit };

/// How a frame is sent: whole and at once, unless a scenario says otherwise.
struct Delivery {
    Milliseconds delay{0};
    std::size_t send =
        std::numeric_limits<std::size_t>::max(); ///< bytes of the frame that are sent at most
    std::size_t chunk = 0;                       ///< bytes sent at a time; 0: all of them
    Milliseconds pause{1};                       ///< between chunks
    Then then = Then::keep;
    Milliseconds down{100};             ///< how long a restart takes
    std::optional<std::int32_t> length; ///< stands in the prefix instead of the text's length

    [[nodiscard]] bool is_plain() const {
        return delay.count() == 0 && chunk == 0 && then == Then::keep;
    }
};

/// `text` behind its length prefix.
std::string frame(std::string_view text, std::optional<std::int32_t> length = std::nullopt);

/// How far sending came.
struct Progress {
    enum class Kind {
        done,    ///< nothing is left
        blocked, ///< more goes when the socket is writable
        waiting, ///< until `until`
        broken,  ///< the peer is gone
        then,    ///< something was sent after which `action` follows
    };
    Kind kind = Kind::done;
    Clock::time_point until{};
    Then action = Then::keep;
    Milliseconds down{0};
};

/// Frames that are made lazily: `make` returns the bytes of frame number `next` to `last`.
struct Series {
    std::function<std::string(std::uint64_t)> make;
    std::uint64_t next = 1;
    std::uint64_t last = 0;
};

/// A queue of bytes for one socket, kept in the order in which they were added. Frames that need no
/// special treatment are joined into blocks, so that a burst costs few system calls and its memory
/// goes block by block.
class Outbox {
public:
    void add(std::string_view bytes, const Delivery& delivery);
    /// Adds frames that are made when the earlier ones have been sent.
    void add(Series series, const Delivery& delivery);

    [[nodiscard]] bool empty() const { return items_.empty(); }
    /// The bytes that are held, with a little for each item.
    [[nodiscard]] std::size_t size() const { return size_; }

    /// Sends what `fd` takes without blocking, up to a limit per call so that other clients get
    /// their turn.
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
