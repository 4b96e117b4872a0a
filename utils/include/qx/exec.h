// Running other programs.
#pragma once

#include <string>
#include <vector>

namespace qx {

/// Runs the program at the path argv[0], without a shell, with the rest of `argv` as its arguments.
/// Its standard input and output are /dev/null, its standard error is the caller's; it gets no
/// other descriptor, no blocked and no ignored signal, and is in a session of its own. With
/// `detach` 0 waits for its end and returns its exit status, 128 plus the signal that ended it;
/// otherwise returns 0 as soon as it runs. Negative, with the last-error record, when it could not
/// be run. Meanwhile SIGCHLD has its default action. May be called while other threads run, by one
/// at a time.
int exec_command(const std::vector<std::string>& argv, int detach);

} // namespace qx
