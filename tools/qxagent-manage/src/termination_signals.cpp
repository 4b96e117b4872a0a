#include "termination_signals.h"

#include "exit_status.h"

#include <cerrno>
#include <ctime>
#include <sys/signalfd.h>
#include <unistd.h>

namespace qx::manage {
namespace {

constexpr int kTerminationSignals[] = {SIGINT, SIGQUIT, SIGTERM};

constexpr long kRepeatNanoseconds = 100'000'000;
constexpr int kOverdue = 10; ///< a stop is overdue after this many repetitions, which is 1 s

timer_t repeater;
volatile std::sig_atomic_t arrivals = 0;

sigset_t termination_signals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : kTerminationSignals) {
        ::sigaddset(&signals, signal);
    }
    return signals;
}

void handle_termination_signals(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_mask = termination_signals();
    for (const int signal : kTerminationSignals) {
        ::sigaction(signal, &action, nullptr);
    }
}

void note_stop(int /*signal*/) {
    if (arrivals == 0) {
        const int before = errno;
        const itimerspec soon_and_again{{0, kRepeatNanoseconds}, {0, kRepeatNanoseconds}};
        ::timer_settime(repeater, 0, &soon_and_again, nullptr);
        errno = before;
    }
    if (arrivals <= kOverdue) {
        arrivals = arrivals + 1;
    }
}

int create_repeater() {
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGTERM;
    return ::timer_create(CLOCK_MONOTONIC, &event, &repeater);
}

} // namespace

void end_at_once_on_stop() {
    handle_termination_signals([](int) { ::_exit(kSuccess); });
    const sigset_t signals = termination_signals();
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

int hold_termination_signals() {
    const sigset_t signals = termination_signals();
    if (::sigprocmask(SIG_BLOCK, &signals, nullptr) != 0 || create_repeater() != 0) {
        return -1;
    }
    handle_termination_signals(note_stop);
    return ::signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
}

InterruptedByStop::InterruptedByStop() {
    const sigset_t signals = termination_signals();
    ::pthread_sigmask(SIG_UNBLOCK, &signals, &before_);
}

InterruptedByStop::~InterruptedByStop() {
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

bool stop_has_come() {
    return arrivals > 0;
}

bool stop_is_overdue() {
    return arrivals > kOverdue;
}

} // namespace qx::manage
