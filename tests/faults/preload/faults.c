/*
 * Loaded in front of the C library (LD_PRELOAD), it makes one call of a program fail.
 *
 * QX_FAULT=CALL:N:ACTION   the N-th call (from 1, children counted too) of CALL meets ACTION. CALL
 * is the name of a function, "alloc" (malloc, calloc, realloc) or "any" (all but those). ACTION is
 * an error number, "short" (half of what a read or write is asked for), "kill" (SIGKILL instead of
 *                          the call) or "tear" (the same, after half of a write).
 * QX_FAULT_REPORT=FILE     gets the line "fired" at the fault; at a normal end "live SIZE" for each
 * block that the program still has and "open FD" for each descriptor that was opened and left so.
 * QX_FAULT_JOURNAL=FILE    gets a line for each change of a file or directory, in order.
 *
 * Programs that the program runs are left alone. Calls that the C library makes by itself are not
 * seen.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <link.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

enum action { NOTHING, FAIL, SHORT, KILL, TEAR };

static char wanted[32];
static long wanted_at;
static enum action wanted_action;
static int wanted_error;
static char report[256];
static char journal[256];
static atomic_long* counter; /* shared with children */
static char inherited[256];  /* descriptors that were open at the start */

/* --- writing past the wrappers
 * ------------------------------------------------------------------------------------ */

static void append(const char* file, const char* text) {
    const int before = errno;
    const long fd =
        syscall(SYS_openat, AT_FDCWD, file, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd >= 0) {
        syscall(SYS_write, (int)fd, text, strlen(text));
        syscall(SYS_close, (int)fd);
    }
    errno = before;
}

static void note(const char* what, const char* first, const char* second) {
    char line[2 * 4096];
    if (journal[0] != '\0') {
        snprintf(line, sizeof line, "%s %s %s\n", what, first, second);
        append(journal, line);
    }
}

static void note_fd(const char* what, int fd, const char* rest) {
    char link[64];
    char path[1024];
    if (journal[0] == '\0') {
        return;
    }
    snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const long length = syscall(SYS_readlink, link, path, sizeof path - 1);
    if (length > 0) {
        path[length] = '\0';
        note(what, path, rest);
    }
}

static void note_bytes(int fd, const unsigned char* bytes, ssize_t size) {
    char digits[4096] = "";
    for (ssize_t i = 0; i < size && (size_t)i * 2 + 2 < sizeof digits; ++i) {
        snprintf(digits + i * 2, 3, "%02x", bytes[i]);
    }
    note_fd("write", fd, digits);
}

/* --- the fault
 * ----------------------------------------------------------------------------------------------------
 */

static void die(void) {
    syscall(SYS_kill, getpid(), SIGKILL);
}

/* What meets this call. */
static enum action meets(const char* name) {
    if (wanted_action == NOTHING || counter == NULL) {
        return NOTHING;
    }
    const int is_any = strcmp(wanted, "any") == 0 && strcmp(name, "alloc") != 0;
    if ((!is_any && strcmp(wanted, name) != 0) || atomic_fetch_add(counter, 1) + 1 != wanted_at) {
        return NOTHING;
    }
    if (report[0] != '\0') {
        append(report, "fired\n");
    }
    if (wanted_action == KILL) {
        die();
    }
    errno = wanted_error;
    return wanted_action;
}

#define REAL(name)                                                                                 \
    static __typeof__(name)* real;                                                                 \
    if (real == NULL) {                                                                            \
        real = (__typeof__(name)*)dlsym(RTLD_NEXT, #name);                                         \
    }

#define WRAP(type, failure, name, parameters, arguments)                                           \
    type name parameters {                                                                         \
        REAL(name)                                                                                 \
        if (meets(#name) != NOTHING) {                                                             \
            return failure;                                                                        \
        }                                                                                          \
        return real arguments;                                                                     \
    }

/* For calls that return the error's number. */
#define WRAP_NUMBER(name, parameters, arguments)                                                   \
    int name parameters {                                                                          \
        REAL(name)                                                                                 \
        if (meets(#name) != NOTHING) {                                                             \
            return errno;                                                                          \
        }                                                                                          \
        return real arguments;                                                                     \
    }

WRAP(int, -1, socket, (int domain, int type, int protocol), (domain, type, protocol))
WRAP(int, -1, connect, (int fd, const struct sockaddr* address, socklen_t length),
     (fd, address, length))
WRAP(int, -1, shutdown, (int fd, int how), (fd, how))
WRAP(int, -1, flock, (int fd, int operation), (fd, operation))
WRAP(int, -1, epoll_create1, (int flags), (flags))
WRAP(int, -1, epoll_ctl, (int epfd, int operation, int fd, struct epoll_event* event),
     (epfd, operation, fd, event))
WRAP(int, -1, epoll_wait, (int epfd, struct epoll_event* events, int most, int timeout),
     (epfd, events, most, timeout))
WRAP(int, -1, eventfd, (unsigned int count, int flags), (count, flags))
WRAP(int, -1, pipe2, (int ends[2], int flags), (ends, flags))
WRAP(int, -1, signalfd, (int fd, const sigset_t* mask, int flags), (fd, mask, flags))
WRAP(int, -1, poll, (struct pollfd * polled, nfds_t count, int timeout), (polled, count, timeout))
WRAP(int, -1, fstat, (int fd, struct stat* status), (fd, status))
WRAP(int, -1, stat, (const char* path, struct stat* status), (path, status))
WRAP(int, -1, lstat, (const char* path, struct stat* status), (path, status))
WRAP(int, -1, fchmod, (int fd, mode_t mode), (fd, mode))
WRAP(int, -1, fchown, (int fd, uid_t owner, gid_t group), (fd, owner, group))
WRAP(int, -1, dup2, (int fd, int copy), (fd, copy))
WRAP(int, -1, execv, (const char* path, char* const words[]), (path, words))
WRAP(int, -1, sigprocmask, (int how, const sigset_t* set, sigset_t* before), (how, set, before))
WRAP(ssize_t, -1, readlink, (const char* path, char* text, size_t size), (path, text, size))
WRAP(char*, NULL, realpath, (const char* path, char* resolved), (path, resolved))
WRAP(FILE*, NULL, fopen, (const char* path, const char* mode), (path, mode))
WRAP(pid_t, -1, fork, (void), ())
WRAP(pid_t, -1, waitpid, (pid_t pid, int* how, int options), (pid, how, options))
WRAP(pid_t, -1, setsid, (void), ())
WRAP_NUMBER(pthread_create,
            (pthread_t * thread, const pthread_attr_t* attributes, void* (*start)(void*),
             void* argument),
            (thread, attributes, start, argument))
WRAP_NUMBER(pthread_mutex_init, (pthread_mutex_t * mutex, const pthread_mutexattr_t* attributes),
            (mutex, attributes))

/* The descriptor is closed whatever close() says. */
int close(int fd) {
    REAL(close)
    const int result = real(fd);
    return meets("close") != NOTHING ? -1 : result;
}

int fcntl(int fd, int command, ...) {
    REAL(fcntl)
    va_list rest;
    va_start(rest, command);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    return meets("fcntl") != NOTHING ? -1 : real(fd, command, argument);
}

int open(const char* path, int flags, ...) {
    REAL(open)
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    if (meets("open") != NOTHING) {
        return -1;
    }
    struct stat status;
    const int is_new =
        journal[0] != '\0' && (flags & O_CREAT) != 0 && fstatat(AT_FDCWD, path, &status, 0) != 0;
    const int fd = real(path, flags, mode);
    if (fd >= 0 && is_new) {
        note("create", path, "");
    }
    return fd;
}

int fsync(int fd) {
    REAL(fsync)
    if (meets("fsync") != NOTHING) {
        return -1;
    }
    note_fd("fsync", fd, "");
    return real(fd);
}

int rename(const char* from, const char* to) {
    REAL(rename)
    if (meets("rename") != NOTHING || real(from, to) != 0) {
        return -1;
    }
    note("rename", from, to);
    return 0;
}

int unlink(const char* path) {
    REAL(unlink)
    if (meets("unlink") != NOTHING || real(path) != 0) {
        return -1;
    }
    note("unlink", path, "");
    return 0;
}

int mkdir(const char* path, mode_t mode) {
    REAL(mkdir)
    if (meets("mkdir") != NOTHING || real(path, mode) != 0) {
        return -1;
    }
    note("mkdir", path, "");
    return 0;
}

/* The size of a read or write that meets `action`; 0 when it fails. */
static size_t bent_size(enum action action, size_t size) {
    return action == FAIL ? 0 : action == NOTHING || size < 2 ? size : size / 2;
}

ssize_t read(int fd, void* bytes, size_t size) {
    REAL(read)
    const size_t part = bent_size(meets("read"), size);
    return part == 0 && size > 0 ? -1 : real(fd, bytes, part);
}

ssize_t recv(int fd, void* bytes, size_t size, int flags) {
    REAL(recv)
    const size_t part = bent_size(meets("recv"), size);
    return part == 0 && size > 0 ? -1 : real(fd, bytes, part, flags);
}

ssize_t send(int fd, const void* bytes, size_t size, int flags) {
    REAL(send)
    const size_t part = bent_size(meets("send"), size);
    return part == 0 && size > 0 ? -1 : real(fd, bytes, part, flags);
}

ssize_t write(int fd, const void* bytes, size_t size) {
    REAL(write)
    const enum action action = meets("write");
    const size_t part = bent_size(action, size);
    if (part == 0 && size > 0) {
        return -1;
    }
    const ssize_t written = real(fd, bytes, part);
    if (action == TEAR) {
        die();
    }
    note_bytes(fd, bytes, written);
    return written;
}

/* --- allocations
 * --------------------------------------------------------------------------------------------------
 */

extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* block, size_t size);
extern void __libc_free(void* block);

static struct {
    void* block;
    size_t size;
} live[1U << 15];
static atomic_flag live_lock = ATOMIC_FLAG_INIT;

/* Where the program itself lies. */
static struct {
    uintptr_t start;
    uintptr_t size;
} program;

static int find_program(struct dl_phdr_info* object, size_t size, void* data) {
    (void)size;
    (void)data;
    program.start = object->dlpi_addr;
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const uintptr_t end = object->dlpi_phdr[i].p_vaddr + object->dlpi_phdr[i].p_memsz;
        program.size =
            object->dlpi_phdr[i].p_type == PT_LOAD && end > program.size ? end : program.size;
    }
    return 1; /* the first one is the program */
}

/* Replaces an entry of the table: a null `old` adds, a null `block` removes. */
static void keep(void* old, void* block, size_t size) {
    if (report[0] == '\0' || old == block) {
        return;
    }
    const size_t count = sizeof live / sizeof live[0];
    while (atomic_flag_test_and_set(&live_lock)) {
    }
    for (size_t i = 0; i < count; ++i) {
        if (live[i].block == old) {
            live[i].block = block;
            live[i].size = size;
            break;
        }
    }
    atomic_flag_clear(&live_lock);
}

/* What the C library allocates for itself, time zones say, it never frees. */
#define IS_PROGRAM() ((uintptr_t)__builtin_return_address(0) - program.start < program.size)

void* malloc(size_t size) {
    void* const block = meets("alloc") != NOTHING ? NULL : __libc_malloc(size);
    keep(NULL, IS_PROGRAM() ? block : NULL, size);
    return block;
}

void* calloc(size_t count, size_t size) {
    void* const block = meets("alloc") != NOTHING ? NULL : __libc_calloc(count, size);
    keep(NULL, IS_PROGRAM() ? block : NULL, count * size);
    return block;
}

void* realloc(void* old, size_t size) {
    if (meets("alloc") != NOTHING) {
        return NULL;
    }
    keep(old, NULL, 0);
    void* const block = __libc_realloc(old, size);
    keep(NULL, IS_PROGRAM() ? block != NULL ? block : old : NULL, size);
    return block;
}

void free(void* block) {
    if (block != NULL) {
        keep(block, NULL, 0);
    }
    __libc_free(block);
}

/* --- start and end
 * ------------------------------------------------------------------------------------------------
 */

static void take(const char* name, char* text, size_t size) {
    const char* const value = getenv(name);
    if (value != NULL) {
        snprintf(text, size, "%s", value);
        unsetenv(name);
    }
}

static void parse(const char* fault) {
    char action[16] = "";
    if (sscanf(fault, "%31[^:]:%ld:%15s", wanted, &wanted_at, action) != 3) {
        return;
    }
    wanted_error = atoi(action);
    wanted_action = strcmp(action, "short") == 0  ? SHORT
                    : strcmp(action, "kill") == 0 ? KILL
                    : strcmp(action, "tear") == 0 ? TEAR
                                                  : FAIL;
}

__attribute__((constructor)) static void start(void) {
    char fault[64] = "";
    take("QX_FAULT", fault, sizeof fault);
    take("QX_FAULT_JOURNAL", journal, sizeof journal);
    take("QX_FAULT_REPORT", report, sizeof report);
    unsetenv("LD_PRELOAD");
    parse(fault);
    dl_iterate_phdr(find_program, NULL);
    for (int fd = 0; fd < (int)sizeof inherited; ++fd) {
        inherited[fd] = syscall(SYS_fcntl, fd, F_GETFD) >= 0;
    }
    void* const shared =
        mmap(NULL, sizeof *counter, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    counter = shared == MAP_FAILED ? NULL : shared;
}

__attribute__((destructor)) static void finish(void) {
    wanted_action = NOTHING;
    if (report[0] == '\0') {
        return;
    }
    char line[64];
    for (size_t i = 0; i < sizeof live / sizeof live[0]; ++i) {
        if (live[i].block != NULL) {
            snprintf(line, sizeof line, "live %zu\n", live[i].size);
            append(report, line);
        }
    }
    for (int fd = 0; fd < (int)sizeof inherited; ++fd) {
        if (!inherited[fd] && syscall(SYS_fcntl, fd, F_GETFD) >= 0) {
            snprintf(line, sizeof line, "open %d\n", fd);
            append(report, line);
        }
    }
}
