#include "timers.h"

#include <algorithm>

namespace qx::sim {

void Timers::add(Clock::time_point when, Action action) {
    actions_.emplace(when, std::move(action));
}

void Timers::run_due() {
    if (actions_.empty()) {
        return;
    }
    // Read the clock only once: an action that adds itself again must not keep this loop running.
    const auto now = Clock::now();
    while (!actions_.empty() && actions_.begin()->first <= now) {
        const auto due = actions_.extract(actions_.begin());
        due.mapped()();
    }
}

int Timers::wait_time() const {
    if (actions_.empty()) {
        return -1;
    }
    const auto left = std::chrono::ceil<Milliseconds>(actions_.begin()->first - Clock::now());
    return static_cast<int>(std::clamp<Milliseconds::rep>(left.count(), 0, 60000));
}

} // namespace qx::sim
