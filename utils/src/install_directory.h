// The agent's install directory.
#pragma once

#include <string>

namespace qx {

/// Returns the path of the install directory, or the default path if no install directory exists.
/// Only the first call looks for the directory; it throws std::bad_alloc if memory runs out. The
/// reference stays valid. Safe to call from any thread, but the first call must not overlap with
/// qx_plix_init2, which may change the path while it is copied.
const std::string& install_directory();

} // namespace qx
