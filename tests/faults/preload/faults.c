/*
 * Injects a fault into one call of a program. LD_PRELOAD loads this library before the C library.
 * QX_RUN names a file that holds a struct qx_run: the file specifies the fault, and the library
 * records the run in it. QX_FILL names the file with which the fault QX_FULL fills the disk.
 *
 * The library injects no fault into programs that this program executes, nor into the C library's
 * internal calls.
 */
#define _GNU_SOURCE
#include "run.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <link.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

/* Any function of calls.def. Six longs forward the argument registers, whatever their types. */
typedef long function(long, long, long, long, long, long);
static function* real[QX_CALL_COUNT];

static struct qx_run nobody; /* in use until the file of QX_RUN is mapped */
static struct qx_run* run = &nobody;
static char fill[256];
static int open_at_start;
static pid_t program;

/* --- the fault --- */

static void fill_disk(void) {
    static const char zeros[4096];
    const long fd = syscall(SYS_openat, AT_FDCWD, fill, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    while (fd >= 0 && syscall(SYS_write, fd, zeros, sizeof zeros) > 0) {
    }
    syscall(SYS_close, fd);
}

static void forbid_files(void) {
    struct rlimit limit;
    syscall(SYS_prlimit64, program, RLIMIT_NOFILE, NULL, &limit);
    limit.rlim_cur = 0;
    syscall(SYS_prlimit64, program, RLIMIT_NOFILE, &limit, NULL);
}

static bool counts_to_fault(enum qx_call call) {
    const long count = __atomic_add_fetch(&run->calls[call], 1, __ATOMIC_SEQ_CST);
    return run->fault.call == call && run->fault.at == count;
}

/* Counts the call and carries out a fault that precedes it. Returns a fault that changes the call
 * itself, or QX_NOTHING. */
static enum qx_action meets(enum qx_call call) {
    const bool is_any = call != QX_CALL_alloc && counts_to_fault(QX_CALL_any);
    if (!counts_to_fault(call) && !is_any) {
        return QX_NOTHING;
    }
    const struct qx_fault fault = run->fault;
    run->fired = 1;
    switch (fault.action) {
    case QX_SIGNAL:
        syscall(SYS_kill, program, fault.detail);
        return QX_NOTHING;
    case QX_FULL:
        fill_disk();
        return QX_NOTHING;
    case QX_FILES:
        forbid_files();
        return QX_NOTHING;
    default:
        errno = fault.detail;
        return fault.action;
    }
}

/* --- the functions --- */

static long failure(enum qx_call call) {
    const bool returns_error = call == QX_CALL_pthread_create || call == QX_CALL_pthread_mutex_init;
    return returns_error ? errno : call == QX_CALL_realpath ? 0 : -1;
}

static long bend(enum qx_call call, long words[6]) {
    const enum qx_action action = meets(call);
    if (action == QX_FAIL) {
        if (call == QX_CALL_close) { /* close(2) closes the descriptor even if it fails */
            syscall(SYS_close, (int)words[0]);
            errno = run->fault.detail;
        }
        return failure(call);
    }
    if (action == QX_SHORT || action == QX_TEAR) {
        /* The third argument is the size in every call that can be short. */
        words[2] = words[2] > 1 ? words[2] / 2 : words[2];
    }
    const long result = real[call](words[0], words[1], words[2], words[3], words[4], words[5]);
    if (action == QX_TEAR) {
        syscall(SYS_kill, program, SIGKILL);
    }
    return result;
}

#define CALL(name, ...)                                                                            \
    function wrapped_##name __asm__(#name);                                                        \
    long wrapped_##name(long a, long b, long c, long d, long e, long f) {                          \
        long words[6] = {a, b, c, d, e, f};                                                        \
        return bend(QX_CALL_##name, words);                                                        \
    }
#include "calls.def"

/* Fortified programs call this function instead of realpath. */
function checked_realpath __asm__("__realpath_chk") __attribute__((alias("realpath")));

/* --- allocations --- */

extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* block, size_t size);
extern void __libc_free(void* block);

/* The program's own blocks that are not freed yet. finish() copies this table to the shared file.
 * The table itself is private memory, so a forked child changes only its own copy. */
static __typeof__(run->live) live;
static atomic_flag live_lock = ATOMIC_FLAG_INIT;

/* Replaces the block `old` in the table. A null `old` adds an entry, a null `block` removes one. */
static void keep(void* old, void* block, size_t size) {
    if (old == block) {
        return;
    }
    while (atomic_flag_test_and_set(&live_lock)) {
    }
    for (size_t i = 0; i < sizeof live / sizeof *live; ++i) {
        if (live[i].block == old) {
            live[i].block = block;
            live[i].size = size;
            break;
        }
    }
    atomic_flag_clear(&live_lock);
}

/* Records a block if the program itself allocated it. Shared libraries are excluded: the C library
 * never frees some of its blocks, for example those for time zones. */
static void* keep_for(void* caller, void* block, size_t size) {
    struct dl_find_object object;
    if (_dl_find_object(caller, &object) == 0 && object.dlfo_link_map->l_name[0] == '\0') {
        keep(NULL, block, size);
    }
    return block;
}

void* malloc(size_t size) {
    void* const block = meets(QX_CALL_alloc) == QX_NOTHING ? __libc_malloc(size) : NULL;
    return keep_for(__builtin_return_address(0), block, size);
}

void* calloc(size_t count, size_t size) {
    void* const block = meets(QX_CALL_alloc) == QX_NOTHING ? __libc_calloc(count, size) : NULL;
    return keep_for(__builtin_return_address(0), block, count * size);
}

void* realloc(void* old, size_t size) {
    if (meets(QX_CALL_alloc) != QX_NOTHING) {
        return NULL;
    }
    keep(old, NULL, 0); /* before another thread can get this block */
    return keep_for(__builtin_return_address(0), __libc_realloc(old, size), size);
}

void free(void* block) {
    keep(block, NULL, 0);
    __libc_free(block);
}

/* --- start and end --- */

static int count_open(void) {
    int count = 0;
    for (int fd = 0; fd < 256; ++fd) {
        count += syscall(SYS_fcntl, fd, F_GETFD) >= 0;
    }
    return count;
}

static void open_run(const char* file) {
    const int fd = (int)syscall(SYS_openat, AT_FDCWD, file, O_RDWR | O_CLOEXEC);
    void* const shared = mmap(NULL, sizeof *run, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    syscall(SYS_close, fd);
    run = shared == MAP_FAILED ? run : shared;
}

__attribute__((constructor)) static void start(void) {
#define CALL(name, ...) real[QX_CALL_##name] = (function*)dlsym(RTLD_NEXT, #name);
#include "calls.def"
    program = getpid();
    open_at_start = count_open();
    const char* const file = getenv("QX_RUN");
    if (file != NULL) {
        snprintf(fill, sizeof fill, "%s", getenv("QX_FILL"));
        open_run(file);
    }
    unsetenv("LD_PRELOAD");
    unsetenv("QX_RUN");
    unsetenv("QX_FILL");
}

__attribute__((destructor)) static void finish(void) {
    run->fault.action = QX_NOTHING;
    run->left_open = count_open() - open_at_start;
    memcpy(run->live, live, sizeof live);
    run->ended = 1;
}
