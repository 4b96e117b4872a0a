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

    /// False when one does not start; it, or its own layer, has said why on standard error.
    [[nodiscard]] bool start();

private:
    bool log_ = false;
    bool settings_ = false;
    bool client_ = false;
};

} // namespace qx::manage
