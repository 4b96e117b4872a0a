#include "commands.h"

#include "handlers.h"
#include "text.h"

namespace qx::sim {
namespace {

enum class Takes { nothing, data };

struct Command {
    std::string_view name;
    Takes takes;
    Reply (*handler)(const Call&);
    const char* key; ///< a part or field of the state, or a kind of scan; null if unused
};

constexpr Command kCommands[] = {
    {"enable_services", Takes::nothing, enable_services, "services"},
    {"disable_services", Takes::nothing, switch_off, "services"},
    {"get_services_status", Takes::nothing, get_part, "services"},
    {"enable_routerprotection", Takes::nothing, switch_on, "routerprotection"},
    {"disable_routerprotection", Takes::nothing, switch_off, "routerprotection"},
    {"get_routerprotection_status", Takes::nothing, get_part, "routerprotection"},
    {"pro_features_enable", Takes::nothing, enable_pro_features, "pro_features"},
    {"pro_features_disable", Takes::nothing, switch_off, "pro_features"},
    {"reapply_firewall_rules", Takes::nothing, reapply_firewall_rules, nullptr},
    {"get_version_info", Takes::nothing, get_part, "version"},
    {"get_subscription_status", Takes::nothing, get_part, "subscription"},
    {"update_subscription_status", Takes::nothing, update_subscription, nullptr},
    {"get_diagnosis_report", Takes::nothing, get_diagnosis_report, nullptr},
    {"get_status_report", Takes::nothing, get_status_report, nullptr},
    {"start_registration", Takes::data, start_registration, nullptr},
    {"start_cloud_registration", Takes::data, start_cloud_registration, nullptr},
    {"list_all_features", Takes::nothing, list_all_features, nullptr},
    {"get_feature", Takes::data, get_feature, nullptr},
    {"set_feature", Takes::data, set_feature, nullptr},

    {"get_router_name", Takes::nothing, get_router_field, "name"},
    {"get_router_model", Takes::nothing, get_router_field, "model"},
    {"get_router_serial_number", Takes::nothing, get_router_field, "serial_number"},
    {"get_router_firmware_version", Takes::nothing, get_router_field, "firmware_version"},
    {"get_router_feature_set_level", Takes::nothing, get_router_field, "feature_set_level"},
    {"get_router_interfaces", Takes::nothing, get_router_field, "interfaces"},
    {"get_va_cloud_trigger", Takes::nothing, get_router_field, "use_va_cloud_trigger"},
    {"set_router_name", Takes::data, set_router_text, "name"},
    {"set_router_model", Takes::data, set_router_text, "model"},
    {"set_router_serial_number", Takes::data, set_router_text, "serial_number"},
    {"set_router_firmware_version", Takes::data, set_router_text, "firmware_version"},
    {"set_router_feature_set_level", Takes::data, set_router_text, "feature_set_level"},
    {"set_router_interfaces", Takes::data, set_router_interfaces, "interfaces"},
    {"set_va_cloud_trigger", Takes::data, set_va_cloud_trigger, "use_va_cloud_trigger"},

    {"get_devices", Takes::data, get_devices, nullptr},
    {"set_device_name", Takes::data, set_device_name, "name"},
    {"set_device_traffic_blocked", Takes::data, set_device_traffic_blocked, "traffic_blocked"},
    {"set_device_online_status", Takes::data, set_device_online_status, nullptr},
    {"remove_satellite", Takes::data, remove_satellite, nullptr},

    {"va_start", Takes::nothing, start_scan, "network"},
    {"va_self_scan_start", Takes::nothing, start_scan, "router"},
    {"va_stop", Takes::nothing, stop_scan, nullptr},
    {"va_status", Takes::nothing, get_scan_status, nullptr},
    {"va_set_schedule", Takes::data, set_schedule, nullptr},
    {"va_set_exclusions", Takes::data, set_exclusions, nullptr},
    {"va_get_exclusions", Takes::nothing, get_exclusions, nullptr},
};

const Command* find_command(std::string_view name) {
    for (const Command& command : kCommands) {
        if (command.name == name) {
            return &command;
        }
    }
    return nullptr;
}

} // namespace

Reply Reply::failure(json_int_t code, std::string_view description) {
    Reply reply;
    reply.status = 1;
    reply.data.reset(json_object());
    json_object_set_new(reply.data.get(), "code", json_integer(code));
    json_object_set_new(reply.data.get(), "description", json_text(description).release());
    return reply;
}

std::string Reply::text() const {
    const Json answer(json_object());
    json_object_set_new(answer.get(), "status", json_integer(status));
    if (data) {
        json_object_set(answer.get(), "data", data.get());
    }
    return dump(answer.get());
}

bool is_command(std::string_view name) {
    return find_command(name) != nullptr;
}

Reply execute(State& state, std::string_view name, json_t* data) {
    const Command* const command = find_command(name);
    if (command == nullptr) {
        return Reply::failure(code::invalid_params, concat({"unknown command '", name, "'"}));
    }
    json_t* const given = data != nullptr ? data : json_null();
    if (command->takes == Takes::nothing && !json_is_null(given)) {
        return Reply::failure(code::invalid_params, concat({name, " takes no data"}));
    }
    return command->handler({state, given, command->key});
}

} // namespace qx::sim
