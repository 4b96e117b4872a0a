// The reason why a run does not end with 0. Main thread only; noting a reason allocates nothing.
#pragma once

#include "qx/string_view.h"
#include "qx_plix.h"

namespace qx::manage {

/// The first reason that was noted; later failures are its consequences.
struct Reason {
    const char* stage = nullptr; ///< null when no reason was noted
    bool is_told = false;        ///< a line on standard error already gives the reason
    qx_plix_failure_t failure{}; ///< the message and the broker's code and description
};

const Reason& reason();

/// Notes a reason of the tool's own. `stage` must be a constant, as it is not copied.
void note_reason(const char* stage, string_view message, bool is_told);

/// Notes why the client library's last call failed; does nothing when that call succeeded.
void note_library_reason(bool is_told);

} // namespace qx::manage
