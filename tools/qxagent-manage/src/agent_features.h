// The agent's features: reading, changing and listing them.
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

/// Gets, sets or lists features: the first of these that was asked for. Returns 0 or 1.
int run_feature(const FeatureOptions& options);

/// Prints the status of the named features. Returns 0 or 1.
int run_get_feature(const std::vector<std::string>& names);

/// Sets features from feature=status pairs and prints the broker's answer. Nothing is sent unless
/// every element is a pair. Returns 0 or 1.
int run_set_feature(const std::vector<std::string>& pairs);

} // namespace qx::manage
