// Where the agent is installed.
#pragma once

#include <string>
#include <sys/types.h>

namespace qx {

/// The agent's install directory, found once per process: its discovered place, or the fallback's
/// name.
const std::string& install_directory();

/// Whether files of user `uid` are trusted: root, this process's user, the owner of the install
/// directory, or the agent's user by /etc/passwd.
bool is_trusted_user(uid_t uid);

} // namespace qx
