#include "base/descriptor.h"
#include "base/install.h"
#include "base/open_file.h"
#include "base/protocol.h"
#include "base/retry.h"
#include "event_thread.h"
#include "exchange.h"
#include "failure.h"
#include "install_path.h"
#include "notices.h"
#include "qx_plix.h"
#include "qxpath.h"
#include "registrar.h"
#include "state.h"
#include "subscription.h"
#include "trust.h"
#include "wire.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>

namespace qxplix {
namespace {

constexpr std::size_t kVersionSize = 33;

int open_version_file(const char* install_path) {
    char name[kPathSize];
    version_file_name(install_path, name);
    return qx::io::open_file(name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
}

// The broker locks its version file while it runs.
bool is_locked(int fd) {
    struct flock query {};
    query.l_type = F_WRLCK;
    query.l_whence = SEEK_SET;
    const int result = qx::io::uninterrupted([&] { return ::fcntl(fd, F_GETLK, &query); });
    return result == 0 && query.l_type != F_UNLCK;
}

// Reads the first line with its line feed, truncated to fit. Unlike read, pread fails on a FIFO or
// a terminal, so the type of the file needs no check.
int read_line(int fd, char (&line)[kVersionSize]) {
    const ssize_t got =
        qx::io::uninterrupted([&] { return ::pread(fd, line, sizeof line - 1, 0); });
    if (got <= 0) {
        return -1;
    }
    line[got] = '\0';
    char* const end = std::strchr(line, '\n');
    if (end != nullptr) {
        end[1] = '\0';
    }
    return 0;
}

// If standard error is a terminal, prints bytes other than printable ASCII as \xNN: escape
// sequences in the file must not reach the terminal.
void print_wrong_version(const char* version) {
    char shown[4 * kVersionSize];
    const bool escaped = ::isatty(STDERR_FILENO) == 1;
    std::size_t length = 0;
    for (const char* at = version; *at != '\0'; ++at) {
        const bool plain = *at >= ' ' && *at <= '~';
        const char* const format = plain || !escaped ? "%c" : "\\x%02x";
        const int byte = static_cast<unsigned char>(*at);
        length += static_cast<std::size_t>(
            std::snprintf(shown + length, sizeof shown - length, format, byte));
    }
    shown[length] = '\0';
    std::fprintf(stderr, "Wrong Protocol Version: Daemon=(%s) vs Client=(%s)\n", shown,
                 QX_PROTOCOL_VERSION);
}

// Cuts the text at its line feed and replaces every byte that is not printable ASCII.
void make_printable(char* version) {
    char* at = version;
    for (; *at != '\0' && *at != '\n'; ++at) {
        *at = *at >= ' ' && *at <= '~' ? *at : '?';
    }
    *at = '\0';
}

bool is_right_version(int fd) {
    char version[kVersionSize];
    if (read_line(fd, version) != 0) {
        fail(QX_PLIX_STAGE_BAD_REPLY, "the broker's version file holds no version");
        return false;
    }
    if (std::strcmp(version, QX_PROTOCOL_VERSION) != 0) {
        print_wrong_version(version);
        make_printable(version);
        fail(QX_PLIX_STAGE_WRONG_VERSION,
             "the broker speaks another version of the protocol than " QX_PROTOCOL_VERSION,
             version);
        return false;
    }
    return true;
}

bool accepts_connections() {
    const exchange probe;
    const qx::io::descriptor conn(open_conn());
    return static_cast<bool>(conn);
}

bool has_fork_handler = false;
bool holds_parents_descriptors = false; // set in a forked child

void become_uninitialised_child() {
    qxpath_renew_lock();
    trust_renew_lock();
    notices_renew_lock();
    registrar_renew_turn();
    if (is_initialised()) {
        set_initialised(false);
        set_stopped(true);
        holds_parents_descriptors = true;
    }
}

int install_fork_handler() {
    if (!has_fork_handler) {
        has_fork_handler = ::pthread_atfork(nullptr, nullptr, become_uninitialised_child) == 0;
    }
    return has_fork_handler ? 0 : -1;
}

void close_parents_descriptors() {
    if (holds_parents_descriptors) {
        holds_parents_descriptors = false;
        registrar_disown();
        event_thread_disown();
        qxpath_set_install_path(nullptr);
    }
}

int start_receiving() {
    if (install_fork_handler() != 0) {
        return fail_for_memory();
    }
    registrar_init();
    set_stopped(false);
    if (event_thread_create() != 0) {
        fail_with_errno(QX_PLIX_STAGE_LIMIT, "cannot start the event thread");
        set_stopped(true);
        registrar_uninit();
        return -1;
    }
    set_initialised(true);
    return 0;
}

} // namespace
} // namespace qxplix

using namespace qxplix;

int qx_plix_init(void) {
    return qx_plix_init2(qxpath_default_install_path());
}

int qx_plix_init2(const char* install_path) {
    clear_failure();
    if (install_path == nullptr) {
        return fail(QX_PLIX_STAGE_NOT_RUNNING,
                    "no agent is installed: there is no directory " QX_INSTALL_DIRECTORY);
    }
    if (is_initialised()) {
        return fail(QX_PLIX_STAGE_ARGUMENT, "the library is started already");
    }
    if (is_in_callback()) {
        return fail_in_callback();
    }
    close_parents_descriptors();
    qxpath_set_install_path(install_path);
    const qx::io::descriptor version_file(open_version_file(install_path));
    if (!version_file) {
        fail_with_errno(QX_PLIX_STAGE_NOT_RUNNING,
                        "no broker runs: its version file cannot be opened");
        std::fputs("Daemon is down or you are running an older version of it\n", stderr);
        return -1;
    }
    if (!is_locked(version_file.get())) {
        std::fputs("Daemon is down or you need to try again later\n", stderr);
        return fail(QX_PLIX_STAGE_NOT_RUNNING, "no broker runs: its version file is not locked");
    }
    if (!is_right_version(version_file.get()) || !accepts_connections()) {
        return -1;
    }
    return start_receiving();
}

int qx_plix_uninit(void) {
    clear_failure();
    if (is_in_callback()) {
        return fail_in_callback();
    }
    close_parents_descriptors();
    if (!is_initialised()) {
        return 0;
    }
    set_stopped(true);
    event_thread_destroy();
    registrar_uninit();
    qxpath_set_install_path(nullptr);
    set_initialised(false);
    return 0;
}
