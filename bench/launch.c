// Runs PROGRAM and writes two lines to descriptor 3. The first is the process id of PROGRAM. The
// second is written after PROGRAM has ended: start and end (CLOCK_MONOTONIC, ns), processor time
// (us), peak memory (KiB) and wait status.
//
// The kernel includes the parent's memory in a program's peak memory. Therefore the launcher is
// static and minimal: its own peak must be below that of every measured program.
// usage: launch PROGRAM [ARGUMENT]...
#define _GNU_SOURCE
#include <fcntl.h>
#include <spawn.h>
#include <stdint.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { kRecord = 3 };

static int64_t now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (int64_t)time.tv_sec * 1000000000 + time.tv_nsec;
}

static int64_t microseconds(struct timeval time) {
    return (int64_t)time.tv_sec * 1000000 + time.tv_usec;
}

// Avoids stdio, whose buffers would add to the launcher's peak memory.
static void write_number(int64_t number, char after) {
    char text[24];
    size_t at = sizeof text;
    text[--at] = after;
    do {
        text[--at] = (char)('0' + number % 10);
        number /= 10;
    } while (number > 0);
    (void)!write(kRecord, text + at, sizeof text - at);
}

int main(int argc, char** argv) {
    pid_t pid = -1;
    if (argc < 2 || fcntl(kRecord, F_SETFD, FD_CLOEXEC) != 0) {
        return 1;
    }
    const int64_t start = now();
    const int failure = posix_spawn(&pid, argv[1], NULL, NULL, argv + 1, environ);
    if (failure != 0) {
        const char* const reason = strerror(failure);
        (void)!write(STDERR_FILENO, reason, strlen(reason));
        (void)!write(STDERR_FILENO, "\n", 1);
        return 1;
    }
    write_number(pid, '\n');
    int status = 0;
    struct rusage usage;
    wait4(pid, &status, 0, &usage);
    const int64_t end = now();
    write_number(start, ' ');
    write_number(end, ' ');
    write_number(microseconds(usage.ru_utime) + microseconds(usage.ru_stime), ' ');
    write_number(usage.ru_maxrss, ' ');
    write_number(status, '\n');
    return 0;
}
