// Keeping signals away from work that must not be left half done.
#pragma once

#include <csignal>

namespace qx::manage {

/// Holds back every signal but SIGKILL, SIGSTOP and those that the C library keeps for itself (32
/// to 34) while it lives; a signal that came meanwhile takes effect when it ends. A fault of the
/// program itself still ends the program at once: the kernel delivers the signal of a fault even
/// when it is blocked.
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
