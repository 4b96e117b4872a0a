// Handlers for services, subscription, registration, features and reports.

#include "handlers.h"

#include "text.h"
#include "validation.h"

namespace qx::sim {
namespace {

Json status_value(bool on) {
    return Json(json_integer(on ? 1 : 0));
}

bool is_active(const json_t* subscription) {
    return text_of(json_object_get(subscription, "status")) == "active";
}

Json member_names(json_t* object) {
    Json names(json_array());
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(object, key, value) {
        json_array_append_new(names.get(), json_string(key));
    }
    return names;
}

Reply unknown_feature(std::string_view name) {
    return Reply::failure(code::invalid_params, concat({"unknown feature '", name, "'"}));
}

/// Returns an object with the named parts of the state.
Json report(const State& state, std::initializer_list<const char*> parts) {
    Json object(json_object());
    for (const char* const key : parts) {
        json_object_set(object.get(), key, state.part(key));
    }
    return object;
}

} // namespace

Reply enable_services(const Call& call) {
    const bool started = json_integer_value(call.state.field(call.key, "status")) == 0;
    Reply reply = switch_on(call);
    if (started) {
        reply.add_event(EventType::qxagent_started, call.state.part("version"));
    }
    return reply;
}

Reply switch_on(const Call& call) {
    call.state.set_field(call.key, "status", status_value(true));
    return {};
}

Reply switch_off(const Call& call) {
    call.state.set_field(call.key, "status", status_value(false));
    return {};
}

Reply enable_pro_features(const Call& call) {
    if (!is_active(call.state.part("subscription"))) {
        return Reply::failure(code::invalid_params, "the subscription is not active");
    }
    return switch_on(call);
}

Reply get_part(const Call& call) {
    return Reply::with(share(call.state.part(call.key)));
}

Reply update_subscription(const Call& call) {
    json_t* const current = call.state.part("subscription");
    json_t* const next = call.state.part("next_subscription");
    Reply reply = Reply::with(share(current));
    if (json_object_size(next) == 0) {
        return reply;
    }
    const Json before(json_deep_copy(current));
    json_object_update(current, next);
    json_object_clear(next);
    if (json_equal(before.get(), current) == 0) {
        reply.add_event(EventType::subscription_changed, current);
    }
    return reply;
}

Reply start_registration(const Call& call) {
    if (!json_is_object(call.data) || json_object_size(call.data) == 0) {
        return Reply::failure(code::invalid_schema, "a registration needs an object with members");
    }
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(call.data, key, value) {
        if (text_of(value).empty()) {
            return Reply::failure(code::invalid_schema,
                                  concat({"'", key, "' must be a non-empty string"}));
        }
    }
    if (text_of(json_object_get(call.data, "router_id")) == "manual") {
        return Reply::failure(code::invalid_params, "'manual' is no router_id");
    }
    json_object_clear(call.state.part("registration"));
    json_object_update(call.state.part("registration"), call.data);
    return {};
}

Reply start_cloud_registration(const Call& call) {
    const json_t* const mac = json_object_get(call.data, "register_mac_address");
    for (const char* const key : {"token", "token_type", "redeem_code"}) {
        if (text_of(json_object_get(call.data, key)).empty()) {
            return Reply::failure(code::invalid_params, concat({"'", key, "' is missing"}));
        }
    }
    if (!is_mac(text_of(mac))) {
        return Reply::failure(code::invalid_params, "'register_mac_address' is not a MAC address");
    }
    Reply reply;
    const Json outcome(
        json_pack("{s:s,s:s}", "status", "registered", "mac", json_string_value(mac)));
    json_object_update(call.state.part("registration"), outcome.get());
    reply.add_event(EventType::cloud_registration_status, outcome.get());
    return reply;
}

Reply reapply_firewall_rules(const Call& call) {
    const json_int_t count = json_integer_value(call.state.field("firewall", "reapplied"));
    call.state.set_field("firewall", "reapplied", Json(json_integer(count + 1)));
    return {};
}

Reply get_diagnosis_report(const Call& call) {
    return Reply::with(
        report(call.state, {"version", "registration", "firewall", "satellites", "devices"}));
}

Reply get_status_report(const Call& call) {
    return Reply::with(report(call.state, {"services", "routerprotection", "pro_features", "va",
                                           "subscription", "features"}));
}

Reply list_all_features(const Call& call) {
    return Reply::with(member_names(call.state.part("features")));
}

Reply get_feature(const Call& call) {
    if (!json_is_array(call.data)) {
        return Reply::failure(code::invalid_schema, "an array of feature names is needed");
    }
    Reply reply = Reply::with(Json(json_object()));
    std::size_t index = 0;
    json_t* name = nullptr;
    json_array_foreach(call.data, index, name) {
        json_t* const status =
            json_is_string(name) ? call.state.field("features", json_string_value(name)) : nullptr;
        if (status == nullptr) {
            return unknown_feature(json_is_string(name) ? std::string(text_of(name)) : dump(name));
        }
        json_object_set(reply.data.get(), json_string_value(name), status);
    }
    return reply;
}

Reply set_feature(const Call& call) {
    if (!json_is_object(call.data)) {
        return Reply::failure(code::invalid_schema,
                              "an object of features and their statuses is needed");
    }
    const char* name = nullptr;
    json_t* status = nullptr;
    json_object_foreach(call.data, name, status) {
        if (call.state.field("features", name) == nullptr) {
            return unknown_feature(name);
        }
        if (text_of(status) != "enabled" && text_of(status) != "disabled") {
            return Reply::failure(code::invalid_params, concat({"the status of '", name,
                                                                "' must be enabled or disabled"}));
        }
    }
    json_object_update(call.state.part("features"), call.data);
    return Reply::with(share(call.data));
}

} // namespace qx::sim
