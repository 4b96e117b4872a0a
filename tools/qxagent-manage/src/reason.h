// The reason why a run fails. Main thread only. Recording a reason allocates no memory.
#pragma once

#include "qx/string_view.h"
#include "qx_plix.h"

namespace qx::manage {

/// The first recorded reason. Later failures are its consequences and are not recorded.
struct Reason {
    /// The kind of failure, as QX_ERRORS=json prints it, or null if no reason is recorded.
    const char* stage = nullptr;
    bool is_told = false;        ///< a line on standard error already gives the reason
    qx_plix_failure_t failure{}; ///< the message and the broker's code and description
};

const Reason& reason();

/// Records a failure of the tool itself. `stage` is not copied, so it must be a constant; `message`
/// is copied and may be truncated. `is_told` states that standard error already shows the reason.
void note_reason(const char* stage, string_view message, bool is_told);

/// Records why the client library's last call failed. Does nothing if that call succeeded.
/// `is_told` is as for note_reason().
void note_library_reason(bool is_told);

} // namespace qx::manage
