#include "base/version.h"
#include "failure.h"
#include "options.h"
#include "scenario.h"
#include "server.h"
#include "text.h"

#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <unistd.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

using namespace qx::sim;

/// Opens /dev/null on each closed descriptor from 0 to 2. Otherwise a socket could become a
/// standard stream.
void hold_standard_streams() {
    int fd = 0;
    do {
        fd = ::open("/dev/null", O_RDWR);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd >= 0) {
        ::close(fd);
    }
}

/// Makes glibc return every large buffer to the system when the buffer is freed. By default, glibc
/// moves later buffers of that size to the heap, where a small block above them keeps them.
void map_large_buffers() {
#ifdef __GLIBC__
    ::mallopt(M_MMAP_THRESHOLD, 128 * 1024);
#endif
}

int serve(int argc, char** argv) {
    const Options options = parse_options(argc, argv);
    if (options.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (options.version) {
        std::puts(qx::version_text);
        return 0;
    }
    Scenario scenario;
    State state;
    if (!options.scenario.empty()) {
        scenario = load_scenario(options.scenario);
        const std::string fault = state.override_with(scenario.state.get());
        if (!fault.empty()) {
            throw Failure(concat({options.scenario, ": state.", fault}));
        }
    }
    Server(options, std::move(scenario), std::move(state)).run();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    hold_standard_streams();
    map_large_buffers();
    try {
        return serve(argc, argv);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "qxbrokerd-sim: %s\n", failure.what());
        return 1;
    }
}
