// The signals that stop listening: SIGINT, SIGQUIT and SIGTERM. Main thread only.
#pragma once

#include <csignal>

namespace qx::manage {

/// Makes a termination signal end the process at once with status 0, even if the parent process had
/// blocked or ignored the signal.
void end_at_once_on_stop();

/// Blocks the termination signals. Returns a signalfd that is readable while one of them is
/// pending, or -1 with errno. The caller owns the descriptor.
int hold_termination_signals();

/// Unblocks the termination signals while the object lives, so that they interrupt system calls.
/// Call hold_termination_signals() first. After the first termination signal, a timer repeats
/// SIGTERM every 100 ms, so that a system call that begins just after the signal is interrupted
/// too.
class InterruptedByStop {
public:
    InterruptedByStop();
    InterruptedByStop(const InterruptedByStop&) = delete;
    InterruptedByStop& operator=(const InterruptedByStop&) = delete;
    ~InterruptedByStop();

private:
    sigset_t before_{};
};

/// Returns whether a termination signal has arrived while an InterruptedByStop lived.
bool stop_has_come();
/// Returns true from about a second after the first such signal.
bool stop_is_overdue();

} // namespace qx::manage
