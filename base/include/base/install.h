// Names in the agent's install directory, for C and C++.
#pragma once

/// The install directory if neither the link nor the agent's user names another one.
#define QX_INSTALL_DIRECTORY "/opt/norvane"

// Paths below the install directory.
#define QX_RUN_DIRECTORY "/var/run"
#define QX_VERSION_FILE QX_RUN_DIRECTORY "/qxbrokerd.version"
#define QX_STATE_DIRECTORY "/var"
#define QX_LOG_DIRECTORY QX_STATE_DIRECTORY "/log"
#define QX_PROGRAM_DIRECTORY "/bin"
#define QX_CONFIGURATION_DIRECTORY "/etc"
