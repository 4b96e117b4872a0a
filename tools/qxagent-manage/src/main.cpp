#include "command_line.h"
#include "dispatch.h"
#include "exit_status.h"
#include "qx/cl.h"
#include "qx/error.h"
#include "qx/format.h"
#include "qx/println.h"
#include "services.h"
#include "standard_streams.h"
#include "stop_signals.h"

#include <cstdio>

namespace {

using namespace qx::manage;

int print_usage(bool help) {
    qx::cl::print_help(stdout);
    std::fflush(stdout);
    qx::println(stderr, "{}", qx::_get_qxerrno());
    return help ? kSuccess : kFailure;
}

int run(const CommandLine& options) try {
    if (options.operation.value() == Operation::listen) {
        end_at_once_on_stop();
    }
    Services services;
    return services.start() ? run_operation(options) : kFailure;
} catch (...) {
    // An exception that nobody catches would end the program without stopping the services.
    throw;
}

} // namespace

int main(int argc, char** argv) {
    prepare_standard_streams();
    CommandLine options;
    const bool accepted = qx::cl::parse(argc, argv);
    const bool help = options.operation.value() == Operation::help;
    if (!accepted || help) {
        return check_standard_output(print_usage(help));
    }
    return check_standard_output(run(options));
}
