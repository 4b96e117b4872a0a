// Telling whoever started a listener that it listens.
#pragma once

#include "printers.h"

#include <optional>

namespace qx::manage {

/// Checks QX_READY_FD. Call it before the program opens anything, or a number that the caller
/// forgot to open could be a descriptor of the program's own. Returns the failure when the value is
/// no open descriptor above 2.
std::optional<Failure> check_ready_fd();

/// Announces that all subscriptions are in place, and, when the object goes, that listening ends:
/// "READY=1" and "STOPPING=1" to the service manager's socket (NOTIFY_SOCKET), and one line feed to
/// the descriptor that QX_READY_FD names, which is then closed. A receiver that is gone or takes
/// nothing is passed over. QX_READY_FD must have been checked.
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
