// Keeping signals away from work that must not be left half done.
#pragma once

#include <csignal>

namespace qx::manage {

/// While it lives, signals wait; one that came meanwhile takes its effect when it ends. SIGKILL and
/// SIGSTOP cannot be held, and signals that tell of a fault of the program itself are not.
class HeldSignals {
public:
    HeldSignals() {
        sigset_t held;
        ::sigfillset(&held);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
            ::sigdelset(&held, fault);
        }
        ::pthread_sigmask(SIG_BLOCK, &held, &before_);
    }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
    ~HeldSignals() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_{};
};

} // namespace qx::manage
