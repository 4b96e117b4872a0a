// The agent's install directory.
#pragma once

#include <string>

namespace qx {

/// Returns the install directory, or the name of the default one if there is none. The directory is
/// looked up once per process. Safe to call from any thread.
const std::string& install_directory();

} // namespace qx
