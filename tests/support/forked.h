// Work that a test does in a child process.
#pragma once

#include <functional>
#include <sys/types.h>

namespace qx::test {

/// A forked child of the test. Killed, if still there, when the object goes.
class Forked {
public:
    /// Forks; the child calls `work` and exits with its result.
    explicit Forked(const std::function<int()>& work);
    Forked(const Forked&) = delete;
    Forked& operator=(const Forked&) = delete;
    ~Forked();

    void kill(int signal) const;

    /// Waits for the child's end: its exit status, or -1 when a signal ended it.
    int wait();

private:
    pid_t pid_;
};

} // namespace qx::test
