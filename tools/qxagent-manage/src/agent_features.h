// The agent's features: reading, changing and listing them.
#pragma once

#include <string>
#include <vector>

namespace qx::manage {

/// Prints the status of the named features. Returns 0 or 1.
int run_get_feature(const std::vector<std::string>& names);

/// Sets features from feature=status pairs and prints the broker's answer. Nothing is sent unless
/// every element is a pair. Returns 0 or 1.
int run_set_feature(const std::vector<std::string>& pairs);

/// Prints every feature. Returns 0 or 1.
int run_list_features();

} // namespace qx::manage
