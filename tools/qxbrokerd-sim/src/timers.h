// Runs actions at scheduled times.
#pragma once

#include "outbox.h"

#include <functional>
#include <map>

namespace qx::sim {

class Timers {
public:
    using Action = std::function<void()>;

    void add(Clock::time_point when, Action action);

    /// Runs the actions that are due. Actions may add timers.
    void run_due();

    /// Returns a timeout for epoll_wait(): the milliseconds until the next action, rounded up and
    /// at most 60000, or -1 if there is no action.
    [[nodiscard]] int wait_time() const;

private:
    std::multimap<Clock::time_point, Action> actions_;
};

} // namespace qx::sim
