/* The agent's install directory and its trusted users, for the library and the utility layer. This
 * header is not installed. */
#ifndef QXPATH_H
#define QXPATH_H

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Returns 1 if user `uid` is trusted, else 0. The trusted users are root, the effective user of
 * this process, the owner of the install directory, and the user "norvane-plix" of /etc/passwd.
 * Safe to call from any thread. */
int qxpath_is_trusted_user(uid_t uid);

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

/* Returns the path of the install directory, or null if no directory is found. The library owns the
 * string. The pointer stays valid, but a later call of this function, qx_plix_init or
 * qx_plix_init2 may change the characters. Safe to call from any thread. */
const char* qxpath_default_install_path(void);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
