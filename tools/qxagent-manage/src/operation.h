// The operations of the tool: one row of one table each.
#pragma once

#include "qx/cl.h"

#include <span>
#include <variant>

namespace qx::manage {

/// The operations in the order of their rows.
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

/// A library call without arguments. Its result is the operation's.
using Action = int (*)();
/// A library call that answers with a JSON text, which is printed.
using Query = int (*)(char** out);
/// A library call that answers yes or no, which is printed under a name.
struct StatusQuery {
    int (*call)(int* status);
    const char* field;
};
/// Work that reads the command line. Returns the exit status.
using Handler = int (*)(const CommandLine& options);

/// What must be set up before an operation does its work.
enum class Needs {
    nothing,
    services,
    stoppable_services, ///< and a stop signal ends the program with 0 from the start
};

// The members stand in the order in which a row is read.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct OperationRow {
    Operation operation;
    const char* word; ///< on the command line
    const char* help;
    Needs needs;
    std::variant<Action, Query, StatusQuery, Handler> work;
};

/// Every operation, in the order of the enumeration.
std::span<const OperationRow> operations();

/// The word and the help text of every operation, in the order of the enumeration.
cl::value_table operation_words();

const OperationRow& row_of(Operation operation);

/// Does the row's work; the services that it needs must be running. Returns the exit status, which
/// includes a library result of -1. Throws std::bad_alloc when memory was short.
int do_work(const OperationRow& row, const CommandLine& options);

/// Starts what the row needs, does the row's work and stops the services again.
int run(const OperationRow& row, const CommandLine& options);

} // namespace qx::manage
