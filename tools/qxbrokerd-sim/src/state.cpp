#include "state.h"

#include "text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <strings.h>

namespace qx::sim {
namespace {

constexpr std::size_t kMostDevices = 1000;

constexpr const char* kDefaults = R"({
"router": {"name": "Home Router", "model": "NV-AX3000", "serial_number": "NV2407A00173",
    "firmware_version": "2.8.1", "feature_set_level": "standard",
    "interfaces": [{"name": "br-wan", "type": "wan"}, {"name": "br-lan1", "type": "lan"}],
    "use_va_cloud_trigger": true},
"devices": [
    {"device_id": "device-1", "mac": "02:11:22:33:44:01", "name": "Laptop", "interface": "br-lan1",
        "ip": ["192.168.1.20", "fd00::20"], "hostname": "laptop", "online": true, "traffic_blocked": 0},
    {"device_id": "device-2", "mac": "02:11:22:33:44:02", "name": "Television", "interface": "br-lan1",
        "ip": ["192.168.1.21"], "hostname": "tv", "online": true, "traffic_blocked": 0},
    {"device_id": "device-3", "mac": "02:11:22:33:44:03", "name": "Printer", "interface": "br-lan1",
        "ip": [], "hostname": "printer", "online": false, "traffic_blocked": 1}],
"satellites": [{"mac": "02:11:22:33:55:01", "name": "Attic"}],
"features": {"anomaly_detection": "enabled", "parental_control": "disabled",
    "vulnerability_assessment": "enabled", "web_filter": "enabled"},
"services": {"status": 1},
"routerprotection": {"status": 1},
"pro_features": {"status": 0},
"va": {"status": 0, "scan": "none", "exclusions": [],
    "schedule": {"at": "03:00", "every": {"num": 1, "unit": "week"}, "on": {"prefix": "", "day": "sunday"}}},
"subscription": {"status": "active", "plan": "home", "expires": "2027-12-31"},
"next_subscription": {},
"registration": {},
"version": {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"},
"firewall": {"reapplied": 0},
"scan_ms": 10000
})";

constexpr const char* kNewDevice =
    R"({"device_id": "", "mac": "", "name": "", "interface": "", "ip": [],
    "hostname": "", "online": false, "traffic_blocked": 0})";

/// Returns whether a scenario may add new members to the object at `place`.
bool is_open(std::string_view place) {
    constexpr std::array<std::string_view, 6> open = {
        "features", "subscription", "next_subscription", "registration", "version", "va.schedule"};
    return std::find(open.begin(), open.end(), place) != open.end();
}

Json parse(const char* text) {
    json_error_t error;
    Json value(json_loads(text, 0, &error));
    if (!value) {
        std::fprintf(stderr, "qxbrokerd-sim: built-in state, line %d: %s\n", error.line,
                     error.text);
        std::abort();
    }
    return value;
}

bool same_type(const json_t* left, const json_t* right) {
    return json_typeof(left) == json_typeof(right) ||
           (json_is_boolean(left) && json_is_boolean(right));
}

std::string merge(json_t* target, json_t* changes, const std::string& place) {
    const char* key = nullptr;
    json_t* change = nullptr;
    json_object_foreach(changes, key, change) {
        const std::string inner = concat({place, place.empty() ? "" : ".", key});
        json_t* const current = json_object_get(target, key);
        if (current == nullptr && !is_open(place)) {
            return concat({inner, ": the state has no such member"});
        }
        if (current != nullptr && !same_type(current, change)) {
            return concat({inner, ": ", type_name(current), " is needed, not ", type_name(change)});
        }
        if (!json_is_object(change) || is_open(inner)) {
            json_object_set(target, key, change);
            continue;
        }
        std::string fault = merge(current, change, inner);
        if (!fault.empty()) {
            return fault;
        }
    }
    return "";
}

/// Adds default values for the members that a device lacks. Returns "" or "PLACE: reason".
std::string complete_devices(json_t* devices) {
    std::size_t index = 0;
    json_t* entry = nullptr;
    json_array_foreach(devices, index, entry) {
        const std::string place = concat({"devices[", std::to_string(index), "]"});
        if (!json_is_object(entry)) {
            return concat({place, ": an object is needed, not ", type_name(entry)});
        }
        Json device = parse(kNewDevice);
        std::string fault = merge(device.get(), entry, place);
        if (!fault.empty()) {
            return fault;
        }
        json_array_set(devices, index, device.get());
    }
    return "";
}

} // namespace

State::State()
    : root_(parse(kDefaults)) {}

std::string State::override_with(json_t* changes) {
    std::string fault = merge(root_.get(), changes, "");
    return fault.empty() ? complete_devices(part("devices")) : fault;
}

json_t* State::part(const char* key) const {
    return json_object_get(root_.get(), key);
}

json_t* State::field(const char* part_key, const char* key) const {
    return json_object_get(part(part_key), key);
}

void State::set_field(const char* part_key, const char* key, Json value) {
    json_object_set_new(part(part_key), key, value.release());
}

json_t* State::device_with_id(std::string_view id) const {
    std::size_t index = 0;
    json_t* device = nullptr;
    json_array_foreach(part("devices"), index, device) {
        if (text_of(json_object_get(device, "device_id")) == id) {
            return device;
        }
    }
    return nullptr;
}

json_t* State::device_with_mac(const char* mac) const {
    std::size_t index = 0;
    json_t* device = nullptr;
    json_array_foreach(part("devices"), index, device) {
        if (::strcasecmp(json_string_value(json_object_get(device, "mac")), mac) == 0) {
            return device;
        }
    }
    return nullptr;
}

json_t* State::add_device(const char* mac) {
    if (json_array_size(part("devices")) >= kMostDevices) {
        return nullptr;
    }
    std::string id;
    do {
        id = concat({"device-", std::to_string(next_device_++)});
    } while (device_with_id(id) != nullptr);
    json_t* const device = parse(kNewDevice).release();
    json_object_set_new(device, "device_id", json_text(id).release());
    json_object_set_new(device, "mac", json_string(mac));
    json_array_append_new(part("devices"), device);
    return device;
}

} // namespace qx::sim
