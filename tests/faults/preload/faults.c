/*
 * Loaded in front of the C library (LD_PRELOAD), it makes one call of a program fail, or two.
 *
 * QX_FAULT=FAULT or FAULT,FAULT: a FAULT is CALL:N:ACTION, the N-th call (from 1, children counted
 * too) of CALL meets ACTION. CALL is the name of a function, "alloc" (malloc, calloc, realloc) or
 * "any" (all but those). ACTION is an error number, "short" (half of what a read or write is asked
 * for), "kill" (SIGKILL instead of the call), "tear" (the same, after half of a write), "signalN"
 * (signal N to the program before the call), "full" (the file system of the file QX_FAULT_FILL gets
 * full before the call) or "files" (from this call on, nothing can be opened any more).
 *
 * QX_FAULT_REPORT=FILE gets the line "fired" at a fault; at a normal end "call NAME COUNT" for what
 * was called, "live SIZE" for each block that the program still has, "open FD" for each descriptor
 * that was opened and left so, and, last, "ended".
 *
 * QX_FAULT_JOURNAL=FILE gets a line for each change of a file or directory, and for each descriptor
 * that is closed, in order.
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
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum action { NOTHING, FAIL, SHORT, KILL, TEAR, SIGNAL, FULL, FILES };

static struct fault {
    char call[32];
    long at;
    enum action action;
    int error;
} wanted[2];
static const size_t kMostFaults = sizeof wanted / sizeof wanted[0];
static char report[256];
static char journal[256];
static char fill[256];
static bool inherited[256]; /* descriptors that were open at the start */
static pid_t program_id;

/* How often each function was called; shared with children. */
static struct {
    _Atomic(const char*) name; /* one literal for each */
    atomic_long calls;
} * tally;
static const size_t kNames = 64;

/* --- writing past the wrappers --- */

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

/* --- the fault --- */

static void die(void) {
    syscall(SYS_kill, getpid(), SIGKILL);
}

static long count(const char* name) {
    for (size_t i = 0; tally != NULL && i < kNames; ++i) {
        const char* found = NULL;
        if (atomic_compare_exchange_strong(&tally[i].name, &found, name) || found == name) {
            return atomic_fetch_add(&tally[i].calls, 1) + 1;
        }
    }
    return 0;
}

/* The fault that this call is to meet, if any. */
static const struct fault* find_fault(const char* name) {
    const long of_name = count(name);
    const long of_any = strcmp(name, "alloc") != 0 ? count("any") : 0;
    for (size_t i = 0; tally != NULL && i < kMostFaults; ++i) {
        const struct fault* const fault = &wanted[i];
        const bool is_wanted = (strcmp(fault->call, name) == 0 && of_name == fault->at) ||
                               (strcmp(fault->call, "any") == 0 && of_any == fault->at);
        if (fault->action != NOTHING && is_wanted) {
            return fault;
        }
    }
    return NULL;
}

static void fill_disk(void) {
    static const char zeros[4096];
    const long fd = syscall(SYS_openat, AT_FDCWD, fill, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    while (fd >= 0 && syscall(SYS_write, (int)fd, zeros, sizeof zeros) > 0) {
    }
    syscall(SYS_close, (int)fd);
}

/* Sets the program's limit of descriptors to its hard limit, or to none. */
static void allow_files(bool allowed) {
    struct rlimit limit;
    syscall(SYS_prlimit64, program_id, RLIMIT_NOFILE, NULL, &limit);
    limit.rlim_cur = allowed ? limit.rlim_max : 0;
    syscall(SYS_prlimit64, program_id, RLIMIT_NOFILE, &limit, NULL);
}

/* What meets this call. */
static enum action meets(const char* name) {
    const struct fault* const fault = find_fault(name);
    if (fault == NULL) {
        return NOTHING;
    }
    if (report[0] != '\0') {
        append(report, "fired\n");
    }
    if (fault->action == KILL) {
        die();
    }
    if (fault->action == SIGNAL) {
        syscall(SYS_kill, program_id, fault->error);
        return NOTHING;
    }
    if (fault->action == FULL) {
        fill_disk();
        return NOTHING;
    }
    if (fault->action == FILES) {
        allow_files(false);
        return NOTHING;
    }
    errno = fault->error;
    return fault->action;
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
WRAP(int, -1, getsockopt, (int fd, int level, int option, void* value, socklen_t* size),
     (fd, level, option, value, size))
WRAP(ssize_t, -1, pread, (int fd, void* bytes, size_t size, off_t at), (fd, bytes, size, at))
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
WRAP(int, -1, fallocate, (int fd, int mode, off_t offset, off_t length), (fd, mode, offset, length))
WRAP(int, -1, chdir, (const char* path), (path))
WRAP(int, -1, fchmod, (int fd, mode_t mode), (fd, mode))
WRAP(int, -1, fchown, (int fd, uid_t owner, gid_t group), (fd, owner, group))
WRAP(int, -1, dup2, (int fd, int copy), (fd, copy))
WRAP(int, -1, execve, (const char* path, char* const words[], char* const environment[]),
     (path, words, environment))
WRAP(int, -1, sigprocmask, (int how, const sigset_t* set, sigset_t* before), (how, set, before))
WRAP(int, -1, timer_create, (clockid_t clock, struct sigevent* event, timer_t* timer),
     (clock, event, timer))
WRAP(ssize_t, -1, readlink, (const char* path, char* text, size_t size), (path, text, size))
WRAP(char*, NULL, realpath, (const char* path, char* resolved), (path, resolved))
// What a fortified program calls instead.
// NOLINTBEGIN(bugprone-reserved-identifier)
char* __realpath_chk(const char* path, char* resolved, size_t size);
char* __realpath_chk(const char* path, char* resolved, size_t size) {
    (void)size;
    return realpath(path, resolved);
}
// NOLINTEND(bugprone-reserved-identifier)
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
    note_fd("close", fd, "");
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

int ioctl(int fd, unsigned long request, ...) {
    REAL(ioctl)
    va_list rest;
    va_start(rest, request);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    return meets("ioctl") != NOTHING ? -1 : real(fd, request, argument);
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

/* For calls that the journal tells of once they have been made. */
#define WRAP_NOTED(name, parameters, arguments, first, second)                                     \
    int name parameters {                                                                          \
        REAL(name)                                                                                 \
        if (meets(#name) != NOTHING || real arguments != 0) {                                      \
            return -1;                                                                             \
        }                                                                                          \
        note(#name, first, second);                                                                \
        return 0;                                                                                  \
    }

WRAP_NOTED(rename, (const char* from, const char* to), (from, to), from, to)
WRAP_NOTED(unlink, (const char* path), (path), path, "")
WRAP_NOTED(mkdir, (const char* path, mode_t mode), (path, mode), path, "")

int fsync(int fd) {
    REAL(fsync)
    if (meets("fsync") != NOTHING) {
        return -1;
    }
    note_fd("fsync", fd, "");
    return real(fd);
}

/* The size of a read or write that meets `action`; 0 when it fails. */
static size_t bent_size(enum action action, size_t size) {
    return action == FAIL ? 0 : action == NOTHING || size < 2 ? size : size / 2;
}

#define WRAP_SIZED(name, parameters, arguments)                                                    \
    ssize_t name parameters {                                                                      \
        REAL(name)                                                                                 \
        const size_t whole = size;                                                                 \
        size = bent_size(meets(#name), whole);                                                     \
        return size == 0 && whole > 0 ? -1 : real arguments;                                       \
    }

WRAP_SIZED(read, (int fd, void* bytes, size_t size), (fd, bytes, size))
WRAP_SIZED(recv, (int fd, void* bytes, size_t size, int flags), (fd, bytes, size, flags))
WRAP_SIZED(send, (int fd, const void* bytes, size_t size, int flags), (fd, bytes, size, flags))

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

/* --- allocations --- */

extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* block, size_t size);
extern void __libc_free(void* block);

static struct {
    void* block;
    size_t size;
} live[1U << 12];
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

/* --- start and end --- */

static void take(const char* name, char* text, size_t size) {
    const char* const value = getenv(name);
    if (value != NULL) {
        snprintf(text, size, "%s", value);
        unsetenv(name);
    }
}

static void parse(const char* text, struct fault* fault) {
    char action[16] = "";
    if (sscanf(text, "%31[^:]:%ld:%15[^,]", fault->call, &fault->at, action) != 3) {
        return;
    }
    const bool is_signal = sscanf(action, "signal%d", &fault->error) == 1;
    if (!is_signal) {
        fault->error = atoi(action);
    }
    fault->action = is_signal                      ? SIGNAL
                    : strcmp(action, "short") == 0 ? SHORT
                    : strcmp(action, "kill") == 0  ? KILL
                    : strcmp(action, "tear") == 0  ? TEAR
                    : strcmp(action, "full") == 0  ? FULL
                    : strcmp(action, "files") == 0 ? FILES
                                                   : FAIL;
}

__attribute__((constructor)) static void start(void) {
    char fault[64] = "";
    take("QX_FAULT", fault, sizeof fault);
    take("QX_FAULT_FILL", fill, sizeof fill);
    take("QX_FAULT_JOURNAL", journal, sizeof journal);
    take("QX_FAULT_REPORT", report, sizeof report);
    unsetenv("LD_PRELOAD");
    parse(fault, &wanted[0]);
    const char* const second = strchr(fault, ',');
    if (second != NULL) {
        parse(second + 1, &wanted[1]);
    }
    dl_iterate_phdr(find_program, NULL);
    for (int fd = 0; fd < (int)sizeof inherited; ++fd) {
        inherited[fd] = syscall(SYS_fcntl, fd, F_GETFD) >= 0;
    }
    program_id = getpid();
    void* const shared = mmap(NULL, kNames * sizeof *tally, PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    tally = shared == MAP_FAILED ? NULL : shared;
}

__attribute__((destructor)) static void finish(void) {
    memset(wanted, 0, sizeof wanted);
    if (report[0] == '\0') {
        return;
    }
    allow_files(true);
    char line[64];
    for (size_t i = 0; tally != NULL && i < kNames && tally[i].name != NULL; ++i) {
        snprintf(line, sizeof line, "call %s %ld\n", tally[i].name, tally[i].calls);
        append(report, line);
    }
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
    append(report, "ended\n");
}
