/* Where the agent is installed. Shared with the utility layer; not installed. */
#ifndef QXPATH_H
#define QXPATH_H

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Whether files and processes of user `uid` are trusted: root, this process's user, the owner of
 * the install directory, or the agent's user by /etc/passwd. Returns 1 or 0. Any thread. */
int qxpath_is_trusted_user(uid_t uid);

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

/* The install directory, or null when there is none. The text belongs to the library and lasts as
 * long as the process, but a later call, or qx_plix_init2, may change it. Any thread. */
const char* qxpath_default_install_path(void);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
