// The services that operations need: the log, the settings store and the client library.
#pragma once

namespace qx::manage {

/// Starts the services. The destructor stops those that started, in reverse order. Main thread
/// only.
class Services {
public:
    Services() = default;
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;
    ~Services();

    /// Applies the environment variables, starts the services and repairs an interrupted switch
    /// of the deployment. Returns 0 on success. On failure returns 1, records the reason and prints
    /// a message. If the client library does not start, prints nothing: the library itself prints a
    /// line if the broker is not running or has the wrong version.
    [[nodiscard]] int start();

private:
    bool log_ = false;
    bool settings_ = false;
    bool client_ = false;
};

} // namespace qx::manage
