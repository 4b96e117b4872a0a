// Operations that register the router with the maker's cloud. Main thread only.
#pragma once

#include "options.h"

#include <string>
#include <vector>

namespace qx::manage {

/// Options of both `register` and `register_to_cloud`.
struct RegistrationOptions {
    Owner owner;
    List params{"params", owner, cl::valuedesc("list"), kCommaSeparated,
                cl::desc("an array of key=value pairs; example: key1=value1,key2=value2")};
};

// If `params` is the single element "-", the pairs come from standard input
// (registration_params.h).

/// Sends the key=value pairs of `params` as the registration record. Returns 0 on success. Returns
/// 1 without sending anything if a pair is invalid. Returns 1 after calling print_error() if the
/// library call fails.
int run_register(const std::vector<std::string>& params);

/// Registers with the values of the keys token, mac and redeem in `params`. Sends an empty text for
/// a missing key. Ignores other keys and names them on standard error. Returns 0 on success and 1
/// on failure.
int run_register_to_cloud(const std::vector<std::string>& params);

} // namespace qx::manage
