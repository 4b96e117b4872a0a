#include "dispatch.h"

#include "agent_features.h"
#include "answer.h"
#include "deployment.h"
#include "devices.h"
#include "exit_status.h"
#include "listen.h"
#include "printers.h"
#include "qx/json.h"
#include "qx_plix.h"
#include "registration.h"
#include "router.h"
#include "scans.h"

#include <optional>
#include <variant>

namespace qx::manage {
namespace {

/// One call without arguments; its result is the operation's.
using Action = int (*)();
/// One call that answers with a JSON text, which is printed.
using Query = int (*)(char** out);
/// One call that answers yes or no, which is printed under a name.
struct StatusQuery {
    int (*call)(int* status);
    const char* field;
};
/// Work that needs the command line.
using Handler = int (*)(const CommandLine& options);

struct Row {
    Operation operation;
    std::variant<Action, Query, StatusQuery, Handler> work;
};

template <class T>
std::optional<T> given(const qx::cl::opt<T>& option) {
    return option.given() ? std::optional<T>(option.value()) : std::nullopt;
}

int listen(const CommandLine& options) {
    return run_listen(options.events);
}

int register_router(const CommandLine& options) {
    return run_register(options.register_params);
}

int register_to_cloud(const CommandLine& options) {
    return run_register_to_cloud(options.register_to_cloud_params);
}

int set_registration_cloud(const CommandLine& options) {
    return run_set_registration_cloud(deployment_name(options.cloud.value()));
}

int set_router_info(const CommandLine& options) {
    return run_set_router_info(options.router_name, options.model, options.serial_number,
                               options.firmware_version, options.feature_set_level,
                               options.interfaces, given(options.use_va_cloud_trigger));
}

int set_device_info(const CommandLine& options) {
    return run_set_device_info(options.device_id, options.device_name,
                               given(options.traffic_blocked));
}

int set_device_online_status(const CommandLine& options) {
    return run_set_device_online_status(options.mac, options.interface, options.is_online.value(),
                                        options.ip, options.hostname);
}

int get_devices(const CommandLine& options) {
    return run_get_devices(options.ids);
}

int va_set_schedule(const CommandLine& options) {
    return run_va_set_schedule({options.at, options.every_num.value(), options.every_unit,
                                options.on_prefix, options.on_day});
}

int va_set_exclusions(const CommandLine& options) {
    return run_va_set_exclusions(options.addresses);
}

int feature(const CommandLine& options) {
    if (!options.get_features.empty()) {
        return run_get_feature(options.get_features);
    }
    if (!options.set_features.empty()) {
        return run_set_feature(options.set_features);
    }
    return options.list_features.value() ? run_list_features() : kFailure;
}

int set_quillet_location(const CommandLine& options) {
    return run_set_quillet_location(deployment_name(options.update_deployment.value()));
}

constexpr Row kRows[] = {
    {Operation::listen, listen},
    {Operation::register_router, register_router},
    {Operation::register_to_cloud, register_to_cloud},
    {Operation::set_registration_cloud, set_registration_cloud},
    {Operation::set_router_info, set_router_info},
    {Operation::get_router_info, qx_plix_get_router_info},
    {Operation::get_version_info, qx_plix_get_version_info},
    {Operation::enable, qx_plix_enable},
    {Operation::disable, qx_plix_disable},
    {Operation::is_enabled, StatusQuery{qx_plix_is_enabled, "services_status"}},
    {Operation::enable_routerprotection, qx_plix_enable_routerprotection},
    {Operation::disable_routerprotection, qx_plix_disable_routerprotection},
    {Operation::is_routerprotection_enabled,
     StatusQuery{qx_plix_is_routerprotection_enabled, "routerprotection_status"}},
    {Operation::get_subscription_status, qx_plix_get_subscription_status},
    {Operation::update_subscription_status, qx_plix_update_subscription_status},
    {Operation::set_device_info, set_device_info},
    {Operation::set_device_online_status, set_device_online_status},
    {Operation::get_devices, get_devices},
    {Operation::va_start, qx_plix_va_start},
    {Operation::va_stop, qx_plix_va_stop},
    {Operation::va_status, StatusQuery{qx_plix_va_status, "VA_scan_running"}},
    {Operation::va_self_scan_start, qx_plix_va_self_scan_start},
    {Operation::va_set_schedule, va_set_schedule},
    {Operation::va_set_exclusions, va_set_exclusions},
    {Operation::va_get_exclusions, run_va_get_exclusions},
    {Operation::pro_features_enable, qx_plix_pro_features_enable},
    {Operation::pro_features_disable, qx_plix_pro_features_disable},
    {Operation::reapply_firewall_rules, qx_plix_reapply_firewall_rules},
    {Operation::feature, feature},
    {Operation::get_diagnosis_report, qx_plix_get_diagnosis_report},
    {Operation::get_status_report, qx_plix_get_status_report},
    {Operation::set_quillet_location, set_quillet_location},
};

int run_query(Query query) {
    qx::text_ptr answer;
    const int result = query(OutText(answer));
    if (result == 0) {
        print_output(answer.get());
    }
    return result;
}

int run_status_query(const StatusQuery& query) {
    int status = 0;
    const int result = query.call(&status);
    if (result == 0) {
        print_bool_output(status != 0, query.field);
    }
    return result;
}

int run_row(const Row& row, const CommandLine& options) {
    if (const auto* action = std::get_if<Action>(&row.work)) {
        return (*action)();
    }
    if (const auto* query = std::get_if<Query>(&row.work)) {
        return run_query(*query);
    }
    if (const auto* query = std::get_if<StatusQuery>(&row.work)) {
        return run_status_query(*query);
    }
    return std::get<Handler>(row.work)(options);
}

} // namespace

int run_operation(const CommandLine& options) {
    for (const Row& row : kRows) {
        if (row.operation == options.operation.value()) {
            const int result = run_row(row, options);
            if (result == kSuccess) {
                // Otherwise what was sent, or understood, may not be what was meant.
                qx::require_json_memory();
            }
            return result;
        }
    }
    return kFailure;
}

} // namespace qx::manage
