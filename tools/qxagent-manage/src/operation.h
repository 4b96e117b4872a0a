// What the command line chooses from.
#pragma once

namespace qx::manage {

/// The operations, in the order of their declaration on the command line.
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

/// The clouds, and update locations, that the agent can be pointed at.
enum class CloudDeployment : int {
    production,
    staging,
    development,
};

/// The name under which a deployment is handed on; "production" for a value that is none.
constexpr const char* deployment_name(CloudDeployment deployment) {
    switch (deployment) {
    case CloudDeployment::staging:
        return "staging";
    case CloudDeployment::development:
        return "development";
    case CloudDeployment::production:
        break;
    }
    return "production";
}

} // namespace qx::manage
