// A broker without a socket. The linker's --wrap leads the system calls named in CMakeLists.txt
// here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace qx::fuzz {

/// Answers the connections that are opened while it lives; one at a time may live. It checks each
/// request: one line of JSON with "type" and "name".
class FakeBroker {
public:
    /// `piece`: the most bytes that one receive or send carries; 0 means no limit.
    explicit FakeBroker(std::size_t piece);
    FakeBroker(const FakeBroker&) = delete;
    FakeBroker& operator=(const FakeBroker&) = delete;
    ~FakeBroker();

    /// What every connection opened from now on receives.
    void answer(std::string bytes) { answer_ = std::move(bytes); }
    /// From now on connections stay open when everything is received, as a subscription's does.
    void stay_open() { stay_open_ = true; }
    /// From now on nobody can connect, or can again.
    void refuse(bool now) { refuse_ = now; }

    /// The descriptor of the connection that was opened last, or -1.
    [[nodiscard]] int latest() const { return latest_; }
    void send_more(int fd, const std::string& bytes) { connections_[fd].to_client += bytes; }
    void hang_up(int fd) { connections_[fd].open = false; }

    /// How far, in milliseconds, the clock is ahead of the kernel's.
    std::int64_t clock_ahead_ms = 0;

    // What the wrapped calls do.
    bool accept(int fd);
    std::size_t take(int fd, const char* data, std::size_t size);
    std::ptrdiff_t give(int fd, char* data, std::size_t size, bool wait);

private:
    struct Connection {
        std::string to_client;
        std::size_t given = 0;
        std::string request;
        bool open = false;
    };

    [[nodiscard]] std::size_t limited(std::size_t size) const {
        return piece_ != 0 && piece_ < size ? piece_ : size;
    }

    std::size_t piece_;
    std::string answer_;
    bool stay_open_ = false;
    bool refuse_ = false;
    int latest_ = -1;
    std::map<int, Connection> connections_;
};

/// A message as the broker sends it: length, then text.
std::string framed(const std::string& json);

} // namespace qx::fuzz
