// Tells the program that started a listener when the listener is ready.
#pragma once

#include "printers.h"

#include <optional>

namespace qx::manage {

/// Checks QX_READY_FD. Returns a failure if the value is not an open descriptor above 2. Call it
/// before the program opens a descriptor; otherwise a descriptor of the program could have the
/// number in QX_READY_FD and pass the check.
std::optional<Failure> check_ready_fd();

/// announce() reports that all subscriptions are in place: it sends "READY=1" to the service
/// manager's socket (NOTIFY_SOCKET), writes a line feed to the descriptor in QX_READY_FD, and
/// closes this descriptor. After announce(), the destructor sends "STOPPING=1" to the socket. Both
/// ignore a receiver that has closed or whose buffer is full. Call check_ready_fd() first.
class Readiness {
public:
    Readiness() = default;
    Readiness(const Readiness&) = delete;
    Readiness& operator=(const Readiness&) = delete;
    ~Readiness();

    void announce();

private:
    bool is_announced_ = false;
};

} // namespace qx::manage
