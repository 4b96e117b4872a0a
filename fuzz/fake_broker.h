// A broker without a socket. The linker's --wrap replaces the system calls in CMakeLists.txt by
// calls of this broker.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace qx::fuzz {

/// Answers the connections that are opened while the object lives, and checks that each request is
/// one line of JSON with "type" and "name". Only one object may exist at a time.
struct FakeBroker {
    struct Connection {
        std::string to_client;
        bool stays_open = false; ///< after everything is received, like a subscription
        std::string request;
    };

    FakeBroker();
    FakeBroker(const FakeBroker&) = delete;
    FakeBroker& operator=(const FakeBroker&) = delete;
    ~FakeBroker();

    // These apply to connections that are opened later:
    std::string answer;
    bool stays_open = false;
    bool refuses = false;

    std::size_t piece = 0; ///< the most bytes that one receive or send carries; 0 means no limit
    std::int64_t clock_ahead_ms = 0;            ///< how far the clock is ahead of the kernel's
    int latest = -1;                            ///< descriptor of the latest connection
    std::map<int, Connection> connections = {}; ///< by descriptor
};

/// Returns a frame: the length, then the text.
std::string framed(const std::string& json);

} // namespace qx::fuzz
