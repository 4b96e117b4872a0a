// Functions that a test runs in a forked child.
#pragma once

#include "world.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

// Writes the line counts, which _exit(2) would discard. Null except in coverage builds.
extern "C" void __gcov_dump() __attribute__((weak)); // NOLINT(bugprone-reserved-identifier)

namespace qx::test {

/// Ends a forked child without running the exit handlers that it inherited.
[[noreturn]] inline void end_child(int status) {
    if (__gcov_dump != nullptr) {
        __gcov_dump();
    }
    ::_exit(status);
}

/// A forked child of the test. The destructor kills the child if it still runs.
class Forked {
public:
    /// Forks; the child calls `work` and exits with its result.
    explicit Forked(const std::function<int()>& work)
        : pid_(::fork()) {
        if (pid_ == 0) {
            end_child(work());
        }
        require(pid_ > 0, "fork"); // kill(2) with -1 would end every process of the user
    }
    Forked(const Forked&) = delete;
    Forked& operator=(const Forked&) = delete;
    ~Forked() {
        if (pid_ > 0) {
            kill(SIGKILL);
            wait();
        }
    }

    void kill(int signal) const { ::kill(pid_, signal); }

    /// Waits for the child to end. Returns its exit status, or -1 if a signal ended it.
    int wait() {
        int how = 0;
        ::waitpid(pid_, &how, 0);
        pid_ = -1;
        return WIFEXITED(how) ? WEXITSTATUS(how) : -1;
    }

private:
    pid_t pid_;
};

/// Runs `work` in a forked child. Returns whether all its expectations were met.
inline bool succeeds_in_child(const std::function<void()>& work) {
    Forked child([&work] {
        work();
        std::fflush(stdout);
        return ::testing::Test::HasFailure() ? 1 : 0;
    });
    return child.wait() == 0;
}

} // namespace qx::test
