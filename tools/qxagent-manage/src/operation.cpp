#include "operation.h"

#include "base/json.h"
#include "command_line.h"
#include "exit_status.h"
#include "printers.h"
#include "qx/json_memory.h"
#include "qx/log.h"
#include "qx_plix.h"
#include "readiness.h"
#include "reason.h"
#include "services.h"
#include "termination_signals.h"

#include <array>
#include <iterator>

namespace qx::manage {
namespace {

int run_help() {
    print_usage();
    return kSuccess;
}

constexpr OperationRow kOperations[] = {
    {Operation::listen, "listen",
     "start the tool in listen mode, waiting for events and printing them to standard output",
     Needs::stoppable_services,
     [](const CommandLine& line) { return run_listen(line.listen.events); }},
    {Operation::register_router, "register", "register router to Norvane Cloud", Needs::services,
     [](const CommandLine& line) { return run_register(line.register_router.params); }},
    {Operation::register_to_cloud, "register_to_cloud",
     "authenticate and register to Norvane Cloud", Needs::services,
     [](const CommandLine& line) { return run_register_to_cloud(line.register_to_cloud.params); }},
    {Operation::set_registration_cloud, "set_registration_cloud",
     "set registration cloud (to be used on the next registration)", Needs::services,
     [](const CommandLine& line) {
         return run_set_registration_cloud(deployment_name(line.registration_cloud.cloud.value()));
     }},
    {Operation::set_router_info, "set_router_info", "set up router information", Needs::services,
     [](const CommandLine& line) { return run_set_router_info(line.router); }},
    {Operation::get_router_info, "get_router_info", "get router information", Needs::services,
     qx_plix_get_router_info},
    {Operation::get_version_info, "get_version_info", "get version information", Needs::services,
     qx_plix_get_version_info},
    {Operation::enable, "enable", "enable Norvane agent services", Needs::services, qx_plix_enable},
    {Operation::disable, "disable", "disable Norvane agent services", Needs::services,
     qx_plix_disable},
    {Operation::is_enabled, "is_enabled", "retrieve Norvane agent status", Needs::services,
     StatusQuery{qx_plix_is_enabled, "services_status"}},
    {Operation::enable_routerprotection, "enable_routerprotection",
     "enable routerprotection service", Needs::services, qx_plix_enable_routerprotection},
    {Operation::disable_routerprotection, "disable_routerprotection",
     "disable routerprotection service", Needs::services, qx_plix_disable_routerprotection},
    {Operation::is_routerprotection_enabled, "is_routerprotection_enabled",
     "retrieve routerprotection status", Needs::services,
     StatusQuery{qx_plix_is_routerprotection_enabled, "routerprotection_status"}},
    {Operation::get_subscription_status, "get_subscription_status", "get the subscription status",
     Needs::services, qx_plix_get_subscription_status},
    {Operation::update_subscription_status, "update_subscription_status",
     "attempt to refresh subscription status", Needs::services, qx_plix_update_subscription_status},
    {Operation::set_device_info, "set_device_info", "set up device information", Needs::services,
     [](const CommandLine& line) { return run_set_device_info(line.device); }},
    {Operation::set_device_online_status, "set_device_online_status", "set device online status",
     Needs::services,
     [](const CommandLine& line) { return run_set_device_online_status(line.online_status); }},
    {Operation::get_devices, "get_devices", "get list of devices discovered", Needs::services,
     [](const CommandLine& line) { return run_get_devices(line.devices); }},
    {Operation::va_start, "va_start", "trigger local VA network scan", Needs::services,
     qx_plix_va_start},
    {Operation::va_stop, "va_stop", "cancel currently running VA network scan", Needs::services,
     qx_plix_va_stop},
    {Operation::va_status, "va_status", "check if VA is currently running a scan", Needs::services,
     StatusQuery{qx_plix_va_status, "VA_scan_running"}},
    {Operation::va_self_scan_start, "va_self_scan_start", "start a VA scan of the router itself",
     Needs::services, qx_plix_va_self_scan_start},
    {Operation::va_set_schedule, "va_set_schedule", "set VA schedule", Needs::services,
     [](const CommandLine& line) { return run_va_set_schedule(line.schedule); }},
    {Operation::va_set_exclusions, "va_set_exclusions",
     "set a list of MAC addresses to be excluded from the VA scans", Needs::services,
     [](const CommandLine& line) { return run_va_set_exclusions(line.exclusions); }},
    {Operation::va_get_exclusions, "va_get_exclusions",
     "get the list of MAC addresses that are excluded from the VA scans", Needs::services,
     run_va_get_exclusions},
    {Operation::pro_features_enable, "pro_features_enable", "enable pro features", Needs::services,
     qx_plix_pro_features_enable},
    {Operation::pro_features_disable, "pro_features_disable", "disable pro features",
     Needs::services, qx_plix_pro_features_disable},
    {Operation::reapply_firewall_rules, "reapply_firewall_rules", "reapply firewall rules",
     Needs::services, qx_plix_reapply_firewall_rules},
    {Operation::feature, "feature", "manage agent features", Needs::services,
     [](const CommandLine& line) { return run_feature(line.feature); }},
    {Operation::get_diagnosis_report, "get_diagnosis_report",
     "get the diagnosis report for the Norvane agent", Needs::services,
     qx_plix_get_diagnosis_report},
    {Operation::get_status_report, "get_status_report",
     "get the status report for the Norvane agent", Needs::services, qx_plix_get_status_report},
    {Operation::set_quillet_location, "set_quillet_location",
     "switches between the staging and production update locations for Quillet", Needs::services,
     [](const CommandLine& line) {
         return run_set_quillet_location(deployment_name(line.quillet_location.deployment.value()));
     }},
    {Operation::help, "help", "print usage information and exit", Needs::nothing, run_help},
};

constexpr bool is_in_order() {
    for (std::size_t i = 0; i < std::size(kOperations); ++i) {
        if (kOperations[i].operation != static_cast<Operation>(i)) {
            return false;
        }
    }
    return kOperations[std::size(kOperations) - 1].operation == Operation::help;
}
static_assert(is_in_order(), "the rows follow the order of the enumeration");

constexpr std::array kWords = [] {
    std::array<cl::detail::value_entry, std::size(kOperations)> words{};
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = {static_cast<int>(kOperations[i].operation), kOperations[i].word,
                    kOperations[i].help};
    }
    return words;
}();

int run_query(Query query) {
    qx::text_ptr answer;
    const int result = query(answer.out());
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

int result_of(const OperationRow& row, const CommandLine& options) {
    if (const auto* action = std::get_if<Action>(&row.work)) {
        return (*action)();
    }
    if (const auto* query = std::get_if<Query>(&row.work)) {
        return run_query(*query);
    }
    if (const auto* query = std::get_if<StatusQuery>(&row.work)) {
        return run_status_query(*query);
    }
    return (*std::get_if<Handler>(&row.work))(options);
}

// The broker's reply to a registration may quote secrets, which must not appear in the log.
bool may_quote_secrets(Operation operation, const Reason& why) {
    return (operation == Operation::register_router || operation == Operation::register_to_cloud) &&
           (why.failure.stage == QX_PLIX_STAGE_REFUSED ||
            why.failure.stage == QX_PLIX_STAGE_BAD_REPLY);
}

// The log must be open.
void log_reason(const OperationRow& row) {
    const Reason& why = reason();
    QX_LOG(qx::log::level::info, "{}: {}", row.word,
           may_quote_secrets(row.operation, why) ? why.stage : why.failure.message);
}

} // namespace

std::span<const OperationRow> operations() {
    return kOperations;
}

Owner owner(Operation operation) {
    return cl::subcommandname(row_of(operation).word);
}

cl::value_table operation_words() {
    return {kWords};
}

const OperationRow& row_of(Operation operation) {
    return kOperations[static_cast<std::size_t>(operation)];
}

int do_work(const OperationRow& row, const CommandLine& options) {
    const int result = result_of(row, options);
    if (result == kSuccess) {
        // If memory was short, the request or the result may lack characters.
        qx::require_json_memory();
    }
    return result;
}

int run(const OperationRow& row, const CommandLine& options) {
    speak_for(row.word);
    if (row.needs == Needs::stoppable_services) {
        end_at_once_on_stop();
        if (const auto failure = check_ready_fd()) {
            return print_failure(*failure);
        }
    }
    Services services;
    const int started = row.needs == Needs::nothing ? kSuccess : services.start();
    const int status = started == kSuccess ? do_work(row, options) : started;
    if (status != kSuccess) {
        note_library_reason(false);
        log_reason(row);
    }
    return status;
}

} // namespace qx::manage
