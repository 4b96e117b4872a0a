// The install path as the library itself sets it; qxpath.h is for others.
#pragma once

#include <cstddef>
#include <sys/types.h>

namespace qxplix {

inline constexpr std::size_t kPathSize = 4096;

/// The kernel shows this id for users without a mapping in this user namespace.
inline constexpr uid_t kUnmappedUser = 65534;

/// Replaces the install path. With null, or the path that is set already, the next query works the
/// default out again. Always 0.
int qxpath_set_install_path(const char* wanted);

/// Writes the path of the broker's version file in an install directory, truncated to 4094
/// characters.
void version_file_name(const char* install_path, char (&name)[kPathSize]);

/// Copies the install directory that the library was started with, or else the default. Returns -1
/// when there is none. Does not change what later queries return.
int qxpath_copy_install_path(char (&to)[kPathSize]);

/// In a forked child: reinitialises the lock, whose owner may not exist there.
void qxpath_renew_lock();

/// Copies a user's home directory into `home`, which has room for kPathSize bytes. -1 when
/// /etc/passwd does not tell.
int get_userhome(const char* user, char* home);

} // namespace qxplix
