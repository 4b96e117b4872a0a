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

    /// Returns 0, or 1 when a service does not start. The reason is printed where the layer below
    /// gives one: the client library gives none when there is no install directory or when the
    /// broker accepts no connection.
    [[nodiscard]] int start();

private:
    bool log_ = false;
    bool settings_ = false;
    bool client_ = false;
};

} // namespace qx::manage
