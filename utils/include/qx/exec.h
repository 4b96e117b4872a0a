// Execution of other programs.
#pragma once

#include <cerrno>
#include <chrono>
#include <string>
#include <vector>

namespace qx {

/// Runs the program at the path argv[0], without a shell, with the rest of `argv` as its arguments.
/// The program has /dev/null as standard input and output, the caller's standard error and no other
/// descriptor. It neither blocks nor ignores any signal, and has its own session, the working
/// directory "/", the umask 022, and the caller's environment with a fixed PATH.
///
/// If `detach` is 0, the call waits until the program ends and returns its exit status, or 128 plus
/// the number of the signal that ended it. Otherwise the call returns 0 as soon as the program
/// runs. If the program cannot be run, returns a negative number and sets the last error. Throws
/// std::bad_alloc if memory runs out; then no program has run.
///
/// Main thread only, and not while another thread is in run_program: SIGCHLD has its default action
/// during the call.
int exec_command(const std::vector<std::string>& argv, int detach);

/// How a program ended. The default means that it could not be run for lack of memory.
struct program_end {
    /// The exit status, or 128 plus the number of the signal that ended the program, or negative if
    /// the program could not be run or awaited.
    int status = -1;
    int error = ENOMEM;     ///< the errno value if `status` is negative
    bool is_killed = false; ///< whether it was killed at the end of the grace period
};

/// Runs a program like exec_command with `detach` 0, but limits the wait after a termination
/// signal. The caller blocks SIGINT, SIGTERM, SIGHUP and SIGQUIT beforehand. If the program still
/// runs when one of these signals has been pending for `grace`, the function kills every process of
/// the program's session. Returns how the program ended, and does not set the last error. Throws
/// std::bad_alloc if memory runs out.
///
/// Safe to call from any thread, but not while another thread runs a program. Other threads must
/// block SIGCHLD, which this function waits for.
program_end run_program(const std::vector<std::string>& argv, std::chrono::milliseconds grace);

} // namespace qx
