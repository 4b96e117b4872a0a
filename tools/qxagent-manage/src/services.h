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

    /// False when one does not start. The reason stands on standard error where the layer below has
    /// words for it: the client library has none when there is no install directory, nor when the
    /// broker takes no connection.
    [[nodiscard]] bool start();

private:
    bool log_ = false;
    bool settings_ = false;
    bool client_ = false;
};

} // namespace qx::manage
