// The library's flags and its error record.
#pragma once

#include "qx_plix.h"

#include <cstdint>

namespace qxplix {

/// Whether qx_plix_init has succeeded and qx_plix_uninit has not been called since. Any thread.
bool is_initialised();
void set_initialised(bool now);

/// The exported flag `stopped`, from any thread.
bool is_stopped();
void set_stopped(bool now);

/// Fills `err`, unless null. A description that does not fit is cut between two characters.
void set_error(qx_plix_error_t* err, std::int32_t code, const char* description);

} // namespace qxplix
