// Handlers for the router's own fields, its devices and its satellites.

#include "handlers.h"

#include "text.h"
#include "validation.h"

#include <strings.h>

namespace qx::sim {
namespace {

Reply invalid(std::string_view reason) {
    return Reply::failure(code::invalid_params, reason);
}

Reply set_router_field(const Call& call) {
    call.state.set_field("router", call.key, share(call.data));
    return {};
}

/// Returns the device that the request names, or null.
json_t* addressed_device(const Call& call) {
    return call.state.device_with_id(text_of(json_object_get(call.data, "device_id")));
}

void add_list_event(Reply& reply, const json_t* device_ids) {
    if (json_array_size(device_ids) == 0) {
        return;
    }
    const Json content(json_pack("{s:O}", "device_ids", device_ids));
    reply.add_event(EventType::devices_list_updated, content.get());
}

Reply change_device(json_t* device, const char* key, Json value) {
    Reply reply;
    if (json_equal(json_object_get(device, key), value.get()) == 0) {
        json_object_set_new(device, key, value.release());
        const Json ids(json_pack("[O]", json_object_get(device, "device_id")));
        add_list_event(reply, ids.get());
    }
    return reply;
}

/// Copies a report into `device`. Returns whether `device` has changed.
bool apply_report(json_t* device, json_t* report) {
    const Json before(json_deep_copy(device));
    const bool online = json_is_true(json_object_get(report, "is_online"));
    json_t* const ip = json_object_get(report, "ip");
    json_object_set(device, "interface", json_object_get(report, "interface"));
    json_object_set_new(device, "online", json_boolean(online));
    if (online) {
        json_object_set_new(device, "ip",
                            json_is_array(ip) ? json_incref(ip) : json_pack("[O]", ip));
    }
    if (json_t* const hostname = json_object_get(report, "hostname")) {
        json_object_set(device, "hostname", hostname);
    }
    return json_equal(before.get(), device) == 0;
}

struct Report {
    Json changed{json_array()};
    Json results{json_array()};
};

void take_report(State& state, json_t* entry, Report& report, Reply& reply) {
    const bool online = json_is_true(json_object_get(entry, "is_online"));
    json_t* const mac = json_object_get(entry, "mac");
    json_t* device = state.device_with_mac(json_string_value(mac));
    if (device == nullptr && online) {
        device = state.add_device(json_string_value(mac));
    }
    const char* const refusal = online ? "too many devices" : "unknown device";
    const char* const result = device != nullptr ? "ok" : refusal;
    json_array_append_new(report.results.get(), json_pack("{s:O,s:b,s:s}", "mac", mac, "is_online",
                                                          online ? 1 : 0, "result", result));
    if (device == nullptr) {
        return;
    }
    if (apply_report(device, entry)) {
        json_array_append(report.changed.get(), json_object_get(device, "device_id"));
    }
    if (online) {
        reply.add_event(EventType::device_discovery, device);
    }
}

} // namespace

Reply get_router_field(const Call& call) {
    return Reply::with(share(call.state.field("router", call.key)));
}

Reply set_router_text(const Call& call) {
    if (text_of(call.data).empty()) {
        return invalid(concat({call.key, " must be a non-empty string"}));
    }
    return set_router_field(call);
}

Reply set_router_interfaces(const Call& call) {
    const std::string fault = check_interfaces(call.data);
    return fault.empty() ? set_router_field(call) : invalid(fault);
}

Reply set_va_cloud_trigger(const Call& call) {
    return json_is_boolean(call.data) ? set_router_field(call) : invalid("a boolean is needed");
}

Reply get_devices(const Call& call) {
    json_t* const devices = call.state.part("devices");
    if (json_is_null(call.data) || (json_is_array(call.data) && json_array_size(call.data) == 0)) {
        return Reply::with(share(devices));
    }
    if (!json_is_array(call.data)) {
        return Reply::failure(code::invalid_schema, "an array of device ids is needed");
    }
    Reply reply = Reply::with(Json(json_array()));
    std::size_t index = 0;
    json_t* id = nullptr;
    json_array_foreach(call.data, index, id) {
        if (!json_is_string(id)) {
            return Reply::failure(code::invalid_schema, "a device id must be a string");
        }
        if (json_t* const device = call.state.device_with_id(text_of(id))) {
            json_array_append(reply.data.get(), device);
        }
    }
    return reply;
}

Reply set_device_name(const Call& call) {
    json_t* const device = addressed_device(call);
    json_t* const name = json_object_get(call.data, "name");
    if (device == nullptr) {
        return invalid("no device has this device_id");
    }
    return is_name(name) ? change_device(device, call.key, share(name))
                         : invalid("'name' must be a string of 1 to 255 bytes");
}

Reply set_device_traffic_blocked(const Call& call) {
    json_t* const device = addressed_device(call);
    const json_t* const given = json_object_get(call.data, "traffic_blocked");
    if (device == nullptr) {
        return invalid("no device has this device_id");
    }
    const json_int_t value = json_is_true(given) ? 1 : json_integer_value(given);
    if (!(json_is_boolean(given) || json_is_integer(given)) || value < 0 || value > 1) {
        return invalid("'traffic_blocked' must be 0 or 1");
    }
    return change_device(device, call.key, Json(json_integer(value)));
}

Reply set_device_online_status(const Call& call) {
    const Json single(json_is_array(call.data) ? nullptr : json_pack("[O]", call.data));
    json_t* const entries = single ? single.get() : call.data;
    std::size_t index = 0;
    json_t* entry = nullptr;
    json_array_foreach(entries, index, entry) {
        const std::string fault = check_online_status(entry);
        if (!fault.empty()) {
            return invalid(fault);
        }
    }
    Reply reply;
    Report report;
    json_array_foreach(entries, index, entry) {
        take_report(call.state, entry, report, reply);
    }
    add_list_event(reply, report.changed.get());
    reply.add_event(EventType::set_device_online_status_result, report.results.get());
    return reply;
}

Reply remove_satellite(const Call& call) {
    const auto refusal = [](const char* error, json_int_t number) {
        Reply reply = Reply::with(Json(json_pack("{s:s,s:I}", "error", error, "code", number)));
        reply.status = 1;
        return reply;
    };
    const json_t* const mac = json_object_get(call.data, "mac");
    if (!is_mac(text_of(mac))) {
        return refusal("'mac' is not a MAC address", 1);
    }
    json_t* const satellites = call.state.part("satellites");
    std::size_t index = 0;
    json_t* satellite = nullptr;
    json_array_foreach(satellites, index, satellite) {
        const json_t* const own = json_object_get(satellite, "mac");
        if (json_is_string(own) &&
            ::strcasecmp(json_string_value(own), json_string_value(mac)) == 0) {
            json_array_remove(satellites, index);
            return {};
        }
    }
    return refusal("no satellite has this MAC address", 2);
}

} // namespace qx::sim
