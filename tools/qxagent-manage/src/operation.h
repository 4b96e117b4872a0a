// The table of operations.
#pragma once

#include "qx/cl.h"

#include <span>
#include <variant>

namespace qx::manage {

/// The operations, in the order of the table's rows.
enum class Operation : int {
    listen,
    register_router,
    register_to_cloud,
    set_registration_cloud,
    set_router_info,
    get_router_info,
    get_version_info,
    enable,
    disable,
    is_enabled,
    enable_routerprotection,
    disable_routerprotection,
    is_routerprotection_enabled,
    get_subscription_status,
    update_subscription_status,
    set_device_info,
    set_device_online_status,
    get_devices,
    va_start,
    va_stop,
    va_status,
    va_self_scan_start,
    va_set_schedule,
    va_set_exclusions,
    va_get_exclusions,
    pro_features_enable,
    pro_features_disable,
    reapply_firewall_rules,
    feature,
    get_diagnosis_report,
    get_status_report,
    set_quillet_location,
    help,
};

struct CommandLine;

/// A library call without arguments. Its result becomes the operation's result.
using Action = int (*)();
/// A library call that returns JSON text, which the tool prints.
using Query = int (*)(char** out);
/// A library call that returns yes or no, which the tool prints under the name `field`.
struct StatusQuery {
    int (*call)(int* status);
    const char* field;
};
/// A function that uses the options. Returns the exit status.
using Handler = int (*)(const CommandLine& options);

/// Whether the operation needs the services of services.h.
enum class Needs {
    nothing,
    services,
    /// Like `services`, but a termination signal during start-up ends the program with status 0.
    stoppable_services,
};

// The order of the members makes the rows readable, at the cost of padding.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct OperationRow {
    Operation operation;
    const char* word; ///< the operation's name on the command line
    const char* help;
    Needs needs;
    std::variant<Action, Query, StatusQuery, Handler> work;
};

/// Returns the rows of all operations, in the order of the enumeration.
std::span<const OperationRow> operations();

/// Returns the word and the help text of every operation, in the order of the enumeration.
cl::value_table operation_words();

const OperationRow& row_of(Operation operation);

/// Runs the operation. The services that it needs must be running. Returns the exit status, or -1
/// if the library call failed. Throws std::bad_alloc if memory was short.
int do_work(const OperationRow& row, const CommandLine& options);

/// Starts the services that the operation needs, runs the operation and stops the services. On
/// failure, logs the reason. Returns the exit status, or -1 if the library call failed. Main thread
/// only.
int run(const OperationRow& row, const CommandLine& options);

} // namespace qx::manage
