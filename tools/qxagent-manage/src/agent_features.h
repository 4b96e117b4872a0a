// The operation `feature`, which reads, changes and lists the agent's features. Main thread only.
#pragma once

#include "options.h"

#include <string>
#include <vector>

namespace qx::manage {

struct FeatureOptions {
    Owner owner;
    List set{"set", owner, cl::valuedesc("list"), kCommaSeparated,
             cl::desc("an array of feature=status pairs")};
    List get{"get", owner, cl::valuedesc("list"), kCommaSeparated,
             cl::desc("a list of feature names to query")};
    Flag list{"list", owner, cl::countlimits(0, 1), cl::desc("list all available features")};
};

/// Runs the operation. If several options are given, --get takes precedence over --set, and --set
/// over --list. Returns 0 on success and 1 on failure.
int run_feature(const FeatureOptions& options);

/// Prints the status of the features `names`. Returns 0 on success. Returns 1 if a name is not
/// UTF-8, memory is short or the request fails.
int run_get_feature(const std::vector<std::string>& names);

/// Sets features from elements of the form FEATURE=STATUS and prints the broker's reply. Sends
/// nothing if an element has another form. Returns 0 on success and 1 on failure.
int run_set_feature(const std::vector<std::string>& pairs);

} // namespace qx::manage
