// Measures a request for the observer of qx_plix_trace.h.
#pragma once

#include "exchange.h"

namespace qxplix {

class request_trace {
public:
    /// Starts the measurement of the command or event `name`, which must outlive the object.
    explicit request_trace(const char* name);

    /// Reports the finished request to the observer, if there is one.
    void end(const exchange& talk, int result) const;

private:
    const char* name_;
    std::int64_t begun_ = 0; ///< monotonic time in microseconds
};

} // namespace qxplix
