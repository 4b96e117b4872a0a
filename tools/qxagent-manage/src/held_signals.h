// Keeps signals from interrupting work that must be completed.
#pragma once

#include <csignal>

namespace qx::manage {

/// Blocks every signal in the calling thread while the object lives, except SIGKILL, SIGSTOP and
/// the signals that the C library reserves (32 to 34). The destructor lets pending signals take
/// effect. A fault such as an invalid memory access still ends the program at once: the kernel
/// delivers its signal (SIGSEGV) even if the signal is blocked.
class HeldSignals {
public:
    HeldSignals() {
        sigset_t held;
        ::sigfillset(&held);
        ::pthread_sigmask(SIG_BLOCK, &held, &before_);
    }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
    ~HeldSignals() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_{};
};

} // namespace qx::manage
