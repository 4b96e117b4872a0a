// Programs that a test starts, controls and waits for. Includes GoogleTest and GoogleMock, because
// most users of this header need both.
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

/// The time limit of every wait in a test.
inline constexpr std::chrono::seconds kPatience{30};

/// Returns the time that has passed since `start`.
std::chrono::milliseconds since(std::chrono::steady_clock::time_point start);

/// Waits until `holds()` is true. Adds a test failure after kPatience.
template <typename Condition>
void wait_until(const Condition& holds) {
    const auto start = std::chrono::steady_clock::now();
    while (!holds()) {
        ASSERT_LT(since(start), kPatience);
        ::sched_yield();
    }
}

/// Returns signals that a program can block and that end it by default. Omits those that report an
/// error of the program, such as SIGSEGV.
std::vector<int> ending_signals();

/// How a program ended and what it wrote.
struct Outcome {
    int status = 0; ///< exit status, or -1 if a signal ended the program
    int signal = 0; ///< the signal that ended the program, or 0
    std::string out = {};
    std::string err = {};

    bool operator==(const Outcome&) const = default;
};
void PrintTo(const Outcome& outcome, std::ostream* out);

/// A running program whose standard streams are pipes to the test. The destructor kills the program
/// if it still runs.
class Process {
public:
    /// Starts argv[0], which is a path or a name in PATH. Adds the variables in `environment` to
    /// the test's own environment.
    explicit Process(const std::vector<std::string>& argv,
                     const std::map<std::string, std::string>& environment = {});
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process();

    [[nodiscard]] pid_t pid() const { return pid_; }

    /// Writes to the program's standard input. Adds a test failure if the program has closed it.
    void write(std::string_view text);
    /// Closes the program's standard input.
    void close_input();
    /// Closes the read end of the program's standard output.
    void close_output();

    /// Reads standard output until the output so far contains `text` at least `times` times.
    /// Returns false and adds a test failure if both streams end or kPatience passes first.
    bool wait_for_output(std::string_view text, std::size_t times = 1);
    /// Like wait_for_output() with the time limit `time`, but adds no test failure.
    bool reads_output(std::string_view text, std::size_t times, std::chrono::milliseconds time);
    /// Like wait_for_output(), but reads standard error.
    bool wait_for_error(std::string_view text);

    void signal(int number) const;

    /// Waits up to `time` for the program to end, without reading its output. Returns whether the
    /// program has ended.
    [[nodiscard]] bool ends_within(std::chrono::milliseconds time) const;

    /// Reads the remaining output and waits for the program to end. After kPatience, kills the
    /// program and adds a test failure.
    Outcome finish();
    /// Sends the signal `number` to the program, then calls finish().
    Outcome stop(int number = SIGTERM);

    /// The standard output read so far.
    [[nodiscard]] const std::string& output() const { return out_.text; }

private:
    struct Stream {
        int fd = -1;
        std::string text;
    };

    /// Waits for output on either stream and reads it. Returns false if both streams are at EOF or
    /// if no output arrives before `deadline`.
    bool pump(std::chrono::steady_clock::time_point deadline);
    bool wait_for(const Stream& stream, std::string_view text, std::size_t times);
    bool reads(const Stream& stream, std::string_view text, std::size_t times,
               std::chrono::steady_clock::time_point deadline);

    pid_t pid_ = -1;
    int in_ = -1;
    Stream out_;
    Stream err_;
};

/// Runs a program to its end with an empty standard input.
Outcome run(const std::vector<std::string>& argv,
            const std::map<std::string, std::string>& environment = {});

/// Runs a program to its end and returns its standard output. Adds a test failure if its status is
/// not 0.
std::string output_of(const std::vector<std::string>& argv,
                      const std::map<std::string, std::string>& environment = {});

/// Runs the tool of this build with `words` after its name.
Outcome run_tool(std::vector<std::string> words,
                 const std::map<std::string, std::string>& environment = {});

} // namespace qx::test
