// Tells the program that started a listener when the listener is ready.
#pragma once

#include "printers.h"

#include <optional>

namespace qx::manage {

/// Checks QX_READY_FD. Call it before the program opens a descriptor; otherwise the program's own
/// descriptor could pass for one that the caller forgot to open. Returns a failure when the value
/// is not an open descriptor above 2.
std::optional<Failure> check_ready_fd();

/// announce() reports that all subscriptions are in place: it sends "READY=1" to the service
/// manager's socket (NOTIFY_SOCKET), writes a line feed to the descriptor that QX_READY_FD names,
/// and closes this descriptor. The destructor then sends "STOPPING=1" to the socket. A receiver
/// that has closed or whose buffer is full is skipped. Call check_ready_fd() first.
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
