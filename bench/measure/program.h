// Starts the measured programs and the helper programs. Functions end the benchmark on failure
// unless their comments say otherwise.
#pragma once

#include "base/descriptor.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace qx::bench {

/// Prints a message on standard error and ends the benchmark with status 1.
[[noreturn]] void fail(const std::string& what);

/// Returns the path of the program `name` in the directory of this program.
std::string helper(const std::string& name);

/// Returns the time of CLOCK_MONOTONIC in ns.
std::int64_t now();

/// A pipe between this process and a child.
struct Pipe {
    io::descriptor read;
    io::descriptor write;
};
Pipe make_pipe();

/// Reads a line and returns it without its line feed. Returns nullopt at EOF.
std::optional<std::string> read_line(int fd);

/// Starts argv[0] and returns its process id. The program gets `standard[i]` as descriptor i. It
/// inherits descriptor i of this process if `standard[i]` is -1 or absent.
pid_t start(const std::vector<std::string>& argv, const std::vector<int>& standard);

/// Waits for the child `pid` to end. Ends the benchmark unless the exit status is 0. The error
/// message contains `name`.
void expect_success(pid_t pid, const std::string& name);

/// Returns the content of a file, or "" if the file cannot be read.
std::string file_text(const std::string& name);

/// Returns the total number of calls from the file that `strace -c -U calls,name -o output` writes.
/// Waits up to 10 s for the total: with its option -D, strace outlives the traced program.
double strace_sum(const std::string& output);

/// The cost of one run of a program.
struct Cost {
    std::int64_t start_ns;
    std::int64_t end_ns;
    std::int64_t processor_us; ///< user and system time
    std::int64_t peak_kib;     ///< peak resident memory
    int wait_status;
};

/// A program that the helper `launch` runs. This process reads the program's standard output from a
/// pipe. The destructor kills the program if it still runs.
class Launched {
public:
    explicit Launched(const std::vector<std::string>& argv);
    Launched(const Launched&) = delete;
    Launched& operator=(const Launched&) = delete;
    ~Launched();

    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] int output() const { return output_.get(); }

    /// Waits for the program to end and returns the cost of the run.
    Cost finish();

private:
    std::string name_;
    io::descriptor output_;
    io::descriptor record_;
    pid_t launcher_ = -1;
    pid_t pid_ = -1;
};

} // namespace qx::bench
