// Keeping signals away from work that must not be left half done.
#pragma once

#include <csignal>

namespace qx::manage {

/// Blocks signals while it lives; a signal that arrived in between takes effect at the end. SIGKILL
/// and SIGSTOP cannot be blocked, and signals that report a fault of the program itself are not.
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
