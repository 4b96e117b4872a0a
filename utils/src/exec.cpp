#include "qx/exec.h"

#include "base/descriptor.h"
#include "base/retry.h"
#include "qx/io.h"
#include "qx/last_error.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qx {
namespace {

constexpr int kFirstOther = 3; // the first descriptor after the standard streams
constexpr int kCannotRun = 127;
constexpr mode_t kUmask = 022;
constexpr char kPath[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";

using Clock = std::chrono::steady_clock;

// The data of the child, prepared before the fork: the child may make only async-signal-safe calls,
// because another thread may have held the allocator's lock during the fork.
struct Launch {
    std::vector<char*> words;
    std::vector<char*> environment;
    io::descriptor report_read;
    io::descriptor report_write;
    int descriptor_limit = 0;
    bool detach = false;
};

[[noreturn]] void give_up(int report) {
    const int reason = errno;
    static_cast<void>(
        io::write_all(report, string_view(reinterpret_cast<const char*>(&reason), sizeof reason)));
    ::_exit(kCannotRun);
}

void reset_signals() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal) {
        ::sigaction(signal, &action, nullptr);
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

void close_descriptors(int first, int last, int limit) {
#ifdef SYS_close_range
    if (first > last || ::syscall(SYS_close_range, first, last, 0) == 0) {
        return;
    }
#endif
    for (int fd = first; fd <= last && fd < limit; ++fd) {
        ::close(fd);
    }
}

[[noreturn]] void become(const Launch& launch) {
    const int report = launch.report_write.get();
    reset_signals();
    // A session of its own: Ctrl-C at the terminal must not end the program.
    ::setsid();
    // Close descriptors first: at the descriptor limit the open below would fail.
    close_descriptors(kFirstOther, report - 1, launch.descriptor_limit);
    close_descriptors(report + 1, INT_MAX, launch.descriptor_limit);
    const int null = ::open("/dev/null", O_RDWR);
    if (null < 0 || ::dup2(null, STDIN_FILENO) < 0 || ::dup2(null, STDOUT_FILENO) < 0 ||
        ::chdir("/") != 0) {
        give_up(report);
    }
    if (null >= kFirstOther) {
        ::close(null);
    }
    ::umask(kUmask);
    ::execve(launch.words[0], launch.words.data(), launch.environment.data());
    give_up(report);
}

[[noreturn]] void run_child(const Launch& launch) {
    if (launch.detach) {
        // Fork twice: init adopts the program and reaps it.
        const pid_t pid = ::fork();
        if (pid < 0) {
            give_up(launch.report_write.get());
        }
        if (pid > 0) {
            ::_exit(0);
        }
    }
    become(launch);
}

bool open_report(Launch& launch) {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    launch.report_read.reset(ends[0]);
    launch.report_write.reset(ends[1]);
    if (ends[1] < kFirstOther) {
        // Keep the write end clear of the standard streams, which the child replaces.
        launch.report_write.reset(::fcntl(ends[1], F_DUPFD_CLOEXEC, kFirstOther));
    }
    return static_cast<bool>(launch.report_write);
}

void prepare_environment(Launch& launch) {
    constexpr std::size_t name_length = sizeof "PATH=" - 1;
    for (char** variable = ::environ; variable != nullptr && *variable != nullptr; ++variable) {
        if (std::strncmp(*variable, kPath, name_length) != 0) {
            launch.environment.push_back(*variable);
        }
    }
    launch.environment.push_back(const_cast<char*>(kPath));
    launch.environment.push_back(nullptr);
}

bool prepare(Launch& launch, const std::vector<std::string>& argv) {
    if (argv.empty()) {
        errno = EINVAL;
        return false;
    }
    launch.words.reserve(argv.size() + 1);
    for (const std::string& word : argv) {
        launch.words.push_back(const_cast<char*>(word.c_str()));
    }
    launch.words.push_back(nullptr);
    prepare_environment(launch);
    constexpr int most_to_close = 65536;
    rlimit limit{};
    launch.descriptor_limit = most_to_close;
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < most_to_close) {
        launch.descriptor_limit = static_cast<int>(limit.rlim_cur);
    }
    return open_report(launch);
}

pid_t start(const Launch& launch) {
    // Block signals: a handler of the caller must not run in the child.
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t pid = ::fork();
    if (pid == 0) {
        run_child(launch);
    }
    const int reason = errno;
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = reason;
    return pid;
}

// Sets the default action of SIGCHLD for a scope. This process may have inherited an ignored
// SIGCHLD; waitpid would then return no status.
class waitable_children {
public:
    waitable_children() {
        struct sigaction action {};
        action.sa_handler = SIG_DFL;
        ::sigaction(SIGCHLD, &action, &before_);
    }
    waitable_children(const waitable_children&) = delete;
    waitable_children& operator=(const waitable_children&) = delete;
    ~waitable_children() { ::sigaction(SIGCHLD, &before_, nullptr); }

private:
    struct sigaction before_ {};
};

// Returns the errno that the child reported, or 0 at EOF: a successful exec closes the write end.
int read_report(int fd) {
    int reason = 0;
    const ssize_t got = io::uninterrupted([&] { return ::read(fd, &reason, sizeof reason); });
    return got < 0 ? errno : reason;
}

// Blocks SIGCHLD for a scope, so that sigtimedwait can receive it.
class held_sigchld {
public:
    held_sigchld() {
        ::sigemptyset(&set_);
        ::sigaddset(&set_, SIGCHLD);
        ::pthread_sigmask(SIG_BLOCK, &set_, &before_);
    }
    held_sigchld(const held_sigchld&) = delete;
    held_sigchld& operator=(const held_sigchld&) = delete;
    ~held_sigchld() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

    void wait(std::chrono::nanoseconds time) const {
        timespec left{};
        left.tv_nsec = static_cast<long>(time.count());
        ::sigtimedwait(&set_, nullptr, &left);
    }

private:
    sigset_t set_{};
    sigset_t before_{};
};

bool is_told_to_stop() {
    sigset_t pending;
    ::sigpending(&pending);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        if (::sigismember(&pending, signal) == 1) {
            return true;
        }
    }
    return false;
}

// Kills every process of the session of `leader`. Returns false if no process of the leader's
// process group could be signalled.
bool kill_session(pid_t leader) {
    const bool is_killed = ::kill(-leader, SIGKILL) == 0;
    const std::unique_ptr<DIR, int (*)(DIR*)> processes(::opendir("/proc"), ::closedir);
    while (const dirent* const entry = processes ? ::readdir(processes.get()) : nullptr) {
        const auto pid = static_cast<pid_t>(std::strtol(entry->d_name, nullptr, 10));
        if (pid > 0 && ::getsid(pid) == leader) {
            ::kill(pid, SIGKILL);
        }
    }
    return is_killed;
}

// Like waitpid, but after a termination signal waits at most `grace` longer, and then kills the
// child's session.
pid_t wait_with_grace(pid_t pid, int& how, std::chrono::milliseconds grace, bool& is_killed) {
    constexpr std::chrono::milliseconds turn(100);
    const held_sigchld child_ends;
    std::optional<Clock::time_point> deadline;
    for (;;) {
        const pid_t ended = io::uninterrupted([&] { return ::waitpid(pid, &how, WNOHANG); });
        if (ended != 0) {
            return ended;
        }
        if (!deadline && is_told_to_stop()) {
            deadline = Clock::now() + grace;
        }
        if (deadline && Clock::now() >= *deadline) {
            is_killed = kill_session(pid);
            return io::uninterrupted([&] { return ::waitpid(pid, &how, 0); });
        }
        child_ends.wait(turn);
    }
}

program_end run(const std::vector<std::string>& argv, bool detach,
                std::optional<std::chrono::milliseconds> grace) {
    program_end end;
    Launch launch;
    launch.detach = detach;
    const waitable_children guard;
    const pid_t pid = prepare(launch, argv) ? start(launch) : -1;
    if (pid < 0) {
        end.error = errno;
        return end;
    }
    launch.report_write.reset();
    const int reason = read_report(launch.report_read.get());
    int how = 0;
    const pid_t ended = grace && reason == 0
                            ? wait_with_grace(pid, how, *grace, end.is_killed)
                            : io::uninterrupted([&] { return ::waitpid(pid, &how, 0); });
    if (reason != 0 || ended < 0) {
        end.error = reason != 0 ? reason : errno;
        return end;
    }
    end.status = WIFEXITED(how) ? WEXITSTATUS(how) : 128 + WTERMSIG(how);
    return end;
}

} // namespace

program_end run_program(const std::vector<std::string>& argv, std::chrono::milliseconds grace) {
    return run(argv, false, grace);
}

int exec_command(const std::vector<std::string>& argv, int detach) {
    const program_end end = run(argv, detach != 0, std::nullopt);
    if (end.status < 0) {
        set_io_error("cannot run '" + (argv.empty() ? "" : argv[0]) + "'", end.error);
    }
    return end.status;
}

} // namespace qx
