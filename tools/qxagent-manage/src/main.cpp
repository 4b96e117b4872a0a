#include "command_line.h"
#include "exit_status.h"
#include "printers.h"
#include "qx/json_memory.h"
#include "standard_streams.h"

namespace {

using namespace qx::manage;

int run_chosen(const CommandLine& options, bool accepted) try {
    const OperationRow& row = row_of(options.operation.value());
    if (accepted || row.needs == Needs::nothing) {
        return run(row, options);
    }
    print_usage();
    return kFailure;
} catch (...) {
    // An uncaught exception may end the program without unwinding; then no destructor would stop
    // the log, the settings store and the client library. This handler makes the stack unwind.
    throw;
}

} // namespace

int main(int argc, char** argv) {
    prepare_standard_streams();
    qx::manage_json_memory();
    const CommandLine options;
    const bool accepted = qx::cl::parse(argc, argv);
    const int status = check_standard_output(run_chosen(options, accepted));
    print_reason(status);
    return status;
}
