// The signals that stop listening: SIGINT, SIGQUIT and SIGTERM. Main thread only.
#pragma once

#include <csignal>

namespace qx::manage {

/// From now on a stop signal ends the process at once with status 0, even if the program that
/// started this one has blocked or ignored the signal.
void end_at_once_on_stop();

/// Blocks the stop signals. Returns a signalfd that is readable while one is pending, or -1 with
/// errno.
int hold_stop_signals();

/// While it lives, stop signals that hold_stop_signals() blocks interrupt system calls. After the
/// first one a timer repeats SIGTERM every 100 ms, so a system call that begins just after it is
/// interrupted too.
class InterruptedByStop {
public:
    InterruptedByStop();
    InterruptedByStop(const InterruptedByStop&) = delete;
    InterruptedByStop& operator=(const InterruptedByStop&) = delete;
    ~InterruptedByStop();

private:
    sigset_t before_{};
};

/// Whether a stop signal has arrived while an InterruptedByStop lived, and whether that is more
/// than a second ago.
bool stop_has_come();
bool stop_is_overdue();

} // namespace qx::manage
