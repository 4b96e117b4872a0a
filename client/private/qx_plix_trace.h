// Lets programs of this project that link the static library observe its requests. C++ only.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qxplix {

/// A finished request.
struct traced_request {
    const char* name; ///< of the command or of the event subscribed to, valid during the call only
    std::size_t sent; ///< in bytes, like `received`
    std::size_t received;
    std::int64_t microseconds;
    int result; ///< 0 or -1
};

/// Sets the observer, which runs on the requesting thread after each command and each
/// qx_plix_subscribe. Null, the initial value, disables tracing. Call it while no other thread uses
/// the library.
void trace_requests(void (*observer)(const traced_request& request));

} // namespace qxplix
