// Things to do at a later time.
#pragma once

#include "outbox.h"

#include <functional>
#include <map>

namespace qx::sim {

class Timers {
public:
    using Action = std::function<void()>;

    void add(Clock::time_point when, Action action);

    /// Runs what is due. Actions may add timers.
    void run_due();

    /// Milliseconds until the next one, rounded up, for epoll_wait; -1 when there is none.
    [[nodiscard]] int wait_time() const;

private:
    std::multimap<Clock::time_point, Action> actions_;
};

} // namespace qx::sim
