/* The agent's install directory and its users, shared with the utility layer. This header is not
 * installed. */
#ifndef QXPATH_H
#define QXPATH_H

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Returns 1 if files and processes of user `uid` are trusted, else 0. Trusted are root, the
 * effective user of this process, the owner of the install directory, and the agent's user in
 * /etc/passwd. Safe to call from any thread. */
int qxpath_is_trusted_user(uid_t uid);

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

/* Returns the install directory, or null if there is none. The library owns the text: the pointer
 * stays valid, but a later call of this function or of qx_plix_init2 may change the characters.
 * Safe to call from any thread. */
const char* qxpath_default_install_path(void);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
