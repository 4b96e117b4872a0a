// Tracing of the library's requests, for programs of this project. C++ only.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qxplix {

/// Describes a finished request.
struct traced_request {
    const char* name; ///< the broker's name of the command or event; valid while the observer runs
    std::size_t sent; ///< bytes, including the line feed
    std::size_t received;      ///< bytes, including the length prefix
    std::int64_t microseconds; ///< duration, from before connecting until after the reply
    int result;                ///< 0 on success, -1 on failure
};

/// Sets `observer`, which the library runs after each command and each qx_plix_subscribe, on the
/// thread that made the request. A null `observer`, the initial value, disables tracing. Always
/// succeeds. No other thread may use the library during the call.
void trace_requests(void (*observer)(const traced_request& request));

} // namespace qxplix
