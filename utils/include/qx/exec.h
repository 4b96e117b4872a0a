// Running other programs.
#pragma once

#include <cerrno>
#include <chrono>
#include <string>
#include <vector>

namespace qx {

/// Runs the program at the path argv[0], without a shell, with the rest of `argv` as its arguments.
/// Its standard input and output are /dev/null, its standard error is the caller's; it gets no
/// other descriptor, no blocked and no ignored signal. It has a session of its own, the working
/// directory "/", the umask 022 and a fixed PATH; the rest of the environment is the caller's. With
/// `detach` 0 waits for its end and returns its exit status, 128 plus the signal that ended it;
/// otherwise returns 0 as soon as it runs. Negative, with the last-error record, when it could not
/// be run. Meanwhile SIGCHLD has its default action. May be called while other threads run, by one
/// at a time.
int exec_command(const std::vector<std::string>& argv, int detach);

/// How a program ended.
struct program_end {
    int status = -1;        ///< as exec_command returns it
    int error = ENOMEM;     ///< why it could not be run, when `status` is negative
    bool is_killed = false; ///< `grace` had passed
};

/// Like exec_command with `detach` 0, but limits the wait once the caller is told to stop: when
/// SIGINT, SIGTERM, SIGHUP or SIGQUIT, which the caller blocks, becomes pending, the program has
/// `grace` left before its session is killed. Leaves the last-error record alone. Other
/// threads must block SIGCHLD.
program_end run_program(const std::vector<std::string>& argv, std::chrono::milliseconds grace);

} // namespace qx
