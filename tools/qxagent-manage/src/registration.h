// Registering the router with the maker's cloud.
#pragma once

#include "options.h"

#include <string>
#include <vector>

namespace qx::manage {

/// For both register and register_to_cloud.
struct RegistrationOptions {
    Owner owner;
    List params{"params", owner, cl::valuedesc("list"), kCommaSeparated,
                cl::desc("an array of key=value pairs; example: key1=value1,key2=value2")};
};

// The element "-" alone stands for pairs on standard input (registration_params.h).

/// Sends the key=value pairs of `params` as the registration record. Returns 0, or 1 with nothing
/// sent when a pair is refused, or with the error block when the broker refuses the record.
int run_register(const std::vector<std::string>& params);

/// Registers with the pairs token, mac and redeem of `params`; one that is not given is the empty
/// text. Other keys are named on standard error and passed over. Returns 0, or 1.
int run_register_to_cloud(const std::vector<std::string>& params);

} // namespace qx::manage
