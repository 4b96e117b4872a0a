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

// Opens the root directory, which always exists, in place of each closed standard stream. With
// O_PATH, reads and writes fail as on a closed descriptor. open() returns the lowest free number,
// which is that of the closed stream.
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
