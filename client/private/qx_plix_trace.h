// Watching the library's requests, for programs of this project that are linked with the static
// library. C++ only.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qxplix {

/// A request that is through.
struct traced_request {
    const char* name; ///< of the command or of the event subscribed to, valid during the call only
    std::size_t sent; ///< bytes, as is `received`
    std::size_t received;
    std::int64_t microseconds;
    int result; ///< 0 or -1
};

/// Calls `observer` on the requesting thread after each command and each first subscription; null,
/// the initial value, ends that. Call it while no other thread uses the library.
void trace_requests(void (*observer)(const traced_request& request));

} // namespace qxplix
