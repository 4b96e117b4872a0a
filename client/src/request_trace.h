// Measures a request for the observer of qx_plix_trace.h.
#pragma once

#include "exchange.h"

namespace qxplix {

class request_trace {
public:
    explicit request_trace(const char* name);

    /// Tells the observer, if there is one, how the exchange went.
    void end(const exchange& talk, int result) const;

private:
    const char* name_;
    std::int64_t begun_ = 0; ///< in microseconds
};

} // namespace qxplix
