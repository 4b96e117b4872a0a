// Why the run does not end with 0. Main thread only; noting a reason allocates nothing.
#pragma once

#include "qx/string_view.h"
#include "qx_plix.h"

namespace qx::manage {

/// The first reason that was noted, as later failures follow from it.
struct Reason {
    const char* stage = nullptr; ///< null when no reason was noted
    bool is_told = false;        ///< a line on standard error says it already
    qx_plix_failure_t failure{}; ///< the message, and what the broker said
};

const Reason& reason();

/// Notes a reason of the tool's own. `stage` is a constant.
void note_reason(const char* stage, string_view message, bool is_told);

/// Notes why the client library's last call failed; nothing when that call succeeded.
void note_library_reason(bool is_told);

} // namespace qx::manage
