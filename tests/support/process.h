// Programs that tests start: run to their end, or left running while the test talks to them. Most
// tests do, so the test framework comes with it.
#pragma once

#include "world.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <map>
#include <ostream>
#include <sched.h>
#include <sys/types.h>

namespace qx::test {

/// How long a test waits for anything before it fails.
inline constexpr std::chrono::seconds kPatience{30};

std::chrono::milliseconds since(std::chrono::steady_clock::time_point start);

/// Waits until it is so; a failed expectation when it never is.
template <typename Condition>
void wait_until(const Condition& holds) {
    const auto start = std::chrono::steady_clock::now();
    while (!holds()) {
        ASSERT_LT(since(start), kPatience);
        ::sched_yield();
    }
}

/// The signals that end a program and can be held, in their order.
std::vector<int> ending_signals();

/// How a program ended and what it wrote.
struct Outcome {
    int status = 0; ///< exit status; -1 when a signal ended it
    int signal = 0; ///< the signal that ended it, or 0
    std::string out = {};
    std::string err = {};

    bool operator==(const Outcome&) const = default;
};
void PrintTo(const Outcome& outcome, std::ostream* out);

/// A running program whose standard streams are pipes to the test. Killed, if still there, when the
/// object goes.
class Process {
public:
    /// Starts argv[0] (a path, or a name looked up in PATH) with `environment` added to this
    /// process's own.
    explicit Process(const std::vector<std::string>& argv,
                     const std::map<std::string, std::string>& environment = {});
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process();

    [[nodiscard]] pid_t pid() const { return pid_; }

    /// Writes to the program's standard input.
    void write(std::string_view text);
    /// Ends the program's standard input.
    void close_input();
    /// Closes the test's end of the program's standard output, as a reader that goes away does.
    void close_output();

    /// Reads standard output until it contains `text` so many times; a failed expectation when it
    /// ends or takes too long first.
    bool wait_for_output(std::string_view text, std::size_t times = 1);
    /// The same, but no failure when it does not come within `time`.
    bool reads_output(std::string_view text, std::size_t times, std::chrono::milliseconds time);
    /// Like wait_for_output on standard error.
    bool wait_for_error(std::string_view text);

    void signal(int number) const;

    /// Waits for the program's end, but reads nothing of what it writes.
    [[nodiscard]] bool ends_within(std::chrono::milliseconds time) const;

    /// Collects what the program still writes and waits for its end; a failed expectation, and
    /// SIGKILL, after kPatience.
    Outcome finish();
    /// Sends a signal first.
    Outcome stop(int number = SIGTERM);

    /// What has been read so far.
    [[nodiscard]] const std::string& output() const { return out_.text; }

private:
    struct Stream {
        int fd = -1;
        std::string text;
    };

    /// One poll on both streams; false when both have ended or nothing came until `deadline`.
    bool pump(std::chrono::steady_clock::time_point deadline);
    bool wait_for(const Stream& stream, std::string_view text, std::size_t times);
    bool reads(const Stream& stream, std::string_view text, std::size_t times,
               std::chrono::steady_clock::time_point deadline);

    pid_t pid_ = -1;
    int in_ = -1;
    Stream out_;
    Stream err_;
};

/// Runs a program to its end with nothing on its standard input.
Outcome run(const std::vector<std::string>& argv,
            const std::map<std::string, std::string>& environment = {});

/// What a program writes to standard output that is run to its end; a failed expectation when its
/// status is not 0.
std::string output_of(const std::vector<std::string>& argv,
                      const std::map<std::string, std::string>& environment = {});

/// Runs the tool of this build with `words` after its name.
Outcome run_tool(std::vector<std::string> words,
                 const std::map<std::string, std::string>& environment = {});

} // namespace qx::test
