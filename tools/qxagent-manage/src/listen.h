// The operation `listen`, which prints the broker's events as they arrive.
#pragma once

#include "options.h"

#include <set>
#include <string>

namespace qx::manage {

struct ListenOptions {
    Owner owner;
    Set events{"events", owner, cl::valuedesc("list of events"), kCommaSeparated,
               cl::desc("a comma separated list of events to subscribe to (empty for all); "
                        "example: QX_PLIX_DEVICE_DISCOVERY,QX_PLIX_SUBSCRIPTION_CHANGED")};
};

/// Subscribes to `events`, or to all events if the set is empty, and prints each event as one JSON
/// object until SIGINT, SIGQUIT or SIGTERM arrives. Returns 0 after such a signal. On failure,
/// prints one line on standard error and returns 1. If standard output loses its reader, returns
/// 1 without printing a line. Main thread only.
int run_listen(const std::set<std::string>& events);

} // namespace qx::manage
