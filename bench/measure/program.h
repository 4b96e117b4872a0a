// Programs that are measured, and those that count for us.
#pragma once

#include "base/descriptor.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace qx::bench {

/// Ends the benchmark: a message on standard error and status 1.
[[noreturn]] void fail(const std::string& what);

/// The helper program `name`, which stands beside this one.
std::string helper(const std::string& name);

/// Now, in ns of CLOCK_MONOTONIC.
std::int64_t now();

/// One end for us and one for a child that is started.
struct Pipe {
    io::descriptor read;
    io::descriptor write;
};
Pipe make_pipe();

/// Reads up to and without the next line end; nothing at the end of the stream.
std::optional<std::string> read_line(int fd);

/// Starts argv[0] with the descriptors `standard[0]`, [1], ... as its 0, 1, ...; -1 leaves ours.
pid_t start(const std::vector<std::string>& argv, const std::vector<int>& standard);

/// Waits for a child that `start` gave; fails unless it ended with status 0.
void expect_success(pid_t pid, const std::string& name);

/// The text of a file.
std::string file_text(const std::string& name);

/// How many system calls `strace -c -U calls,name -o output` has counted. Waits for the sum: with
/// -D strace outlives the program.
double strace_sum(const std::string& output);

/// What one run of a program cost.
struct Cost {
    std::int64_t start_ns;
    std::int64_t end_ns;
    std::int64_t processor_us; ///< user and system time
    std::int64_t peak_kib;     ///< memory
    int wait_status;
};

/// A program under the launcher, with a pipe from its standard output to us.
class Launched {
public:
    explicit Launched(const std::vector<std::string>& argv);
    Launched(const Launched&) = delete;
    Launched& operator=(const Launched&) = delete;
    ~Launched();

    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] int output() const { return output_.get(); }

    /// Waits for the program's end.
    Cost finish();

private:
    std::string name_;
    io::descriptor output_;
    io::descriptor record_;
    pid_t launcher_ = -1;
    pid_t pid_ = -1;
};

} // namespace qx::bench
