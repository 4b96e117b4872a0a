// The handlers of the command table in commands.cpp.
#pragma once

#include "commands.h"

namespace qx::sim {

/// The arguments of a handler. `data` is borrowed and never a null pointer; it is JSON's null if
/// the request has no data. `key` is from the command's row in the table.
struct Call {
    State& state;
    json_t* data;
    const char* key;
};

Reply enable_services(const Call& call);
Reply switch_on(const Call& call);
Reply switch_off(const Call& call);
Reply enable_pro_features(const Call& call);
Reply get_part(const Call& call);
Reply update_subscription(const Call& call);
Reply start_registration(const Call& call);
Reply start_cloud_registration(const Call& call);
Reply reapply_firewall_rules(const Call& call);
Reply get_diagnosis_report(const Call& call);
Reply get_status_report(const Call& call);
Reply list_all_features(const Call& call);
Reply get_feature(const Call& call);
Reply set_feature(const Call& call);

Reply get_router_field(const Call& call);
Reply set_router_text(const Call& call);
Reply set_router_interfaces(const Call& call);
Reply set_va_cloud_trigger(const Call& call);
Reply get_devices(const Call& call);
Reply set_device_name(const Call& call);
Reply set_device_traffic_blocked(const Call& call);
Reply set_device_online_status(const Call& call);
Reply remove_satellite(const Call& call);

Reply start_scan(const Call& call);
Reply stop_scan(const Call& call);
Reply get_scan_status(const Call& call);
Reply set_schedule(const Call& call);
Reply set_exclusions(const Call& call);
Reply get_exclusions(const Call& call);

} // namespace qx::sim
