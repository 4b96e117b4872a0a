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

    /// Applies the environment variables, starts the services and repairs an interrupted deployment
    /// switch. Returns 0 on success. Returns 1 and records the reason if an environment variable is
    /// invalid or a service does not start. Also prints the reason, except for the client library,
    /// which itself prints some of the failures of its start and not the others.
    [[nodiscard]] int start();

private:
    bool log_ = false;
    bool settings_ = false;
    bool client_ = false;
};

} // namespace qx::manage
