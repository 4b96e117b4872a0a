// Paths of the agent's installation, for C and C++.
#pragma once

/// The default install directory. If the link /etc/norvane-plix points to DIR/etc and DIR exists,
/// DIR is the install directory instead. Otherwise, if the user norvane-plix exists, the home
/// directory of this user is the install directory.
#define QX_INSTALL_DIRECTORY "/opt/norvane"

// Paths relative to the install directory. Each starts with a slash, to append to that directory.
#define QX_RUN_DIRECTORY "/var/run"
#define QX_VERSION_FILE QX_RUN_DIRECTORY "/qxbrokerd.version"
#define QX_STATE_DIRECTORY "/var"
#define QX_LOG_DIRECTORY QX_STATE_DIRECTORY "/log"
#define QX_PROGRAM_DIRECTORY "/bin"
#define QX_CONFIGURATION_DIRECTORY "/etc"
