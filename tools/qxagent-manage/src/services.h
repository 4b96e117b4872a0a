// What runs around every operation: the logger, the settings store and the client library.
#pragma once

namespace qx::manage {

/// Starts the services in order and stops, in reverse order, those that it started.
class Services {
public:
    Services() = default;
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;
    ~Services();

    /// Applies the environment and starts the services. Returns 0, or 1 when a variable is invalid
    /// or a service does not start, with the reason noted. The reason is printed too, unless there
    /// is no install directory or the broker accepts no connection.
    [[nodiscard]] int start();

private:
    bool log_ = false;
    bool settings_ = false;
    bool client_ = false;
};

} // namespace qx::manage
