// The install path, for use inside the library. Other code includes qxpath.h.
#pragma once

#include <cstddef>
#include <sys/types.h>

namespace qxplix {

inline constexpr std::size_t kPathSize = 4096;

/// The user id that the kernel reports for users without a mapping in this user namespace.
inline constexpr uid_t kUnmappedUser = 65534;

/// Sets the install path to `wanted`, truncated to 4095 bytes. If `wanted` is null or equal to the
/// current path, the next qxpath_default_install_path looks up the default again. Returns 0.
int qxpath_set_install_path(const char* wanted);

/// Stores in `name` the path of the broker's version file in `install_path`, truncated to 4094
/// bytes.
void version_file_name(const char* install_path, char (&name)[kPathSize]);

/// Stores in `to` the install directory that the library was started with, or the default if the
/// library is not started. Returns 0, or -1 if no directory is found. Does not change the path
/// that qxpath_set_install_path set.
int qxpath_copy_install_path(char (&to)[kPathSize]);

/// Reinitialises the lock in a forked child: the thread that held it may exist only in the parent.
void qxpath_renew_lock();

/// Stores in `home`, which has kPathSize bytes, the home directory of `user` from /etc/passwd.
/// Returns 0, or -1 if /etc/passwd has none.
int get_userhome(const char* user, char* home);

} // namespace qxplix
