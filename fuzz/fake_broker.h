// A broker without a socket. The linker's --wrap redirects system calls to functions in
// fake_broker.cpp. CMakeLists.txt lists the redirected calls of each fuzz target.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace qx::fuzz {

/// Serves the connections that are opened while the object lives. Checks that each request is one
/// line of JSON with "type" and "name". Only one object may exist at a time.
struct FakeBroker {
    struct Connection {
        std::string to_client;
        bool stays_open = false; ///< false: EOF follows `to_client`
        std::string request;
    };

    FakeBroker();
    FakeBroker(const FakeBroker&) = delete;
    FakeBroker& operator=(const FakeBroker&) = delete;
    ~FakeBroker();

    // Settings for connections that are opened from now on:
    std::string answer; ///< the bytes that the client receives
    bool stays_open = false;
    bool refuses = false; ///< connect() fails

    std::size_t piece = 0; ///< the largest number of bytes per recv() or send(); 0: no limit
    std::int64_t clock_ahead_ms = 0;            ///< added to CLOCK_MONOTONIC
    int latest = -1;                            ///< descriptor of the latest connection
    std::map<int, Connection> connections = {}; ///< by descriptor
};

/// Returns a frame: the length of `json`, then `json`.
std::string framed(const std::string& json);

} // namespace qx::fuzz
