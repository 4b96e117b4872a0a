// Keeping signals away from work that must not be left half done.
#pragma once

#include <csignal>

namespace qx::manage {

/// While it lives, SIGINT, SIGTERM, SIGHUP and SIGQUIT wait; one that came meanwhile takes its
/// effect when it ends.
class HeldSignals {
public:
    HeldSignals() {
        sigset_t held;
        ::sigemptyset(&held);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
            ::sigaddset(&held, signal);
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
