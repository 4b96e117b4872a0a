// The library's state flags, and the filling of qx_plix_error_t.
#pragma once

#include "qx_plix.h"

#include <cstdint>

namespace qxplix {

/// Returns whether the library is started. Safe to call from any thread.
bool is_initialised();
void set_initialised(bool now);

/// Read and set the exported flag `stopped`. Safe to call from any thread.
bool is_stopped();
void set_stopped(bool now);

/// Fills `err`, which may be null. Truncates the description at a UTF-8 character boundary.
void set_error(qx_plix_error_t* err, std::int32_t code, const char* description);

} // namespace qxplix
