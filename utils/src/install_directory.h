// Where the agent is installed.
#pragma once

#include <string>

namespace qx {

/// The agent's install directory, found once per process: its discovered place, or the fallback's
/// name.
const std::string& install_directory();

} // namespace qx
