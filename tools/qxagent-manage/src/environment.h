// The environment variables that affect every operation.
#pragma once

#include "printers.h"

#include <cstdint>
#include <optional>

namespace qx::manage {

/// Converts a decimal number of seconds ("3", "0.25", ".5") to milliseconds, rounded up. Returns
/// nullopt for any other text and for more than 1000000 seconds.
std::optional<std::uint64_t> milliseconds_of(const char* seconds);

/// Checks QX_ERRORS and applies QX_TIMEOUT and QX_BROKER_UID to the client library. Returns the
/// failure of the first invalid variable, or nullopt.
std::optional<Failure> apply_environment();

} // namespace qx::manage
