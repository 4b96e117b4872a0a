// A broker without a socket. The linker's --wrap leads the system calls named in CMakeLists.txt
// here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace qx::fuzz {

/// Answers the connections that are opened while it lives; one at a time may live. It checks each
/// request: one line of JSON with "type" and "name".
struct FakeBroker {
    struct Connection {
        std::string to_client;
        bool stays_open = false; ///< when everything is received, as a subscription does
        std::string request;
    };

    FakeBroker();
    FakeBroker(const FakeBroker&) = delete;
    FakeBroker& operator=(const FakeBroker&) = delete;
    ~FakeBroker();

    // How it treats the connections that are opened from now on:
    std::string answer;
    bool stays_open = false;
    bool refuses = false;

    std::size_t piece = 0; ///< the most bytes that one receive or send carries; 0 means no limit
    std::int64_t clock_ahead_ms = 0;            ///< how far the clock is ahead of the kernel's
    int latest = -1;                            ///< descriptor of the latest connection
    std::map<int, Connection> connections = {}; ///< by descriptor
};

/// A message as the broker sends it: length, then text.
std::string framed(const std::string& json);

} // namespace qx::fuzz
