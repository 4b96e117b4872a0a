// Where the agent is installed.
#pragma once

#include <string>
#include <sys/types.h>

namespace qx {

/// The agent's install directory, found once per process: its discovered place, or the fallback's
/// name.
const std::string& install_directory();

/// Whether `uid` is the agent's own user, by /etc/passwd.
bool is_agents_user(uid_t uid);

} // namespace qx
