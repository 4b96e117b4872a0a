// Observation of the library's requests, for programs of this project. C++ only.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qxplix {

/// Describes a finished request.
struct traced_request {
    const char* name;     ///< the command or the subscribed event; valid during the call only
    std::size_t sent;     ///< bytes, including the line feed
    std::size_t received; ///< bytes, including the length
    std::int64_t microseconds;
    int result; ///< 0 on success, -1 on failure
};

/// Sets the observer, which runs on the requesting thread after each command and each
/// qx_plix_subscribe. A null observer, the initial value, disables tracing. No other thread may use
/// the library during the call.
void trace_requests(void (*observer)(const traced_request& request));

} // namespace qxplix
