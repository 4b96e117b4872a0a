// The agent's install directory.
#pragma once

#include <string>

namespace qx {

/// Returns the path of the install directory, or the default path if no install directory exists.
/// Looks the directory up once per process; the reference stays valid. Safe to call from any
/// thread.
const std::string& install_directory();

} // namespace qx
