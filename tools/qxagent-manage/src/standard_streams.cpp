#include "standard_streams.h"

#include "exit_status.h"
#include "printers.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <unistd.h>

namespace qx::manage {
namespace {

constexpr std::size_t kLineBuffer = 1024;

// Opens the root directory with O_PATH: reads and writes fail as on a closed descriptor, and the
// directory always exists. Each open() takes the lowest free number.
void occupy_closed_descriptors() {
    pollfd standard[] = {{STDIN_FILENO, 0, 0}, {STDOUT_FILENO, 0, 0}, {STDERR_FILENO, 0, 0}};
    if (::poll(standard, std::size(standard), 0) <= 0) {
        return;
    }
    for (const pollfd& stream : standard) {
        if ((stream.revents & POLLNVAL) != 0) {
            ::open("/", O_PATH);
        }
    }
}

} // namespace

void prepare_standard_streams() {
    ::signal(SIGXFSZ, SIG_IGN);
    occupy_closed_descriptors();
    std::setvbuf(stdout, nullptr, _IOLBF, kLineBuffer);
    std::setvbuf(stderr, nullptr, _IOLBF, kLineBuffer);
}

int check_standard_output(int result) {
    std::fflush(stdout);
    if (std::ferror(stdout) == 0) {
        return result;
    }
    print_failure({message::output_is_incomplete});
    return result == kSuccess ? kFailure : result;
}

} // namespace qx::manage
