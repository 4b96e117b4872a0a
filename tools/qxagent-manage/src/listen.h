// Printing the broker's events as they come.
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

/// Subscribes to the named events, or to all when there are none, and prints each event as one JSON
/// object until SIGINT, SIGQUIT or SIGTERM arrives. Returns 0 then, and 1 after one line on
/// standard error when something fails, or quietly when the reader of standard output has gone.
int run_listen(const std::set<std::string>& events);

} // namespace qx::manage
