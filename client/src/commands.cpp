#include "base/json.h"
#include "exchange.h"
#include "failure.h"
#include "notices.h"
#include "qx_plix.h"
#include "state.h"
#include "wire.h"

#include <cstdio>
#include <cstring>
#include <limits>

namespace qxplix {
namespace {

constexpr std::int32_t kInvalidParams = 1;
constexpr std::int32_t kInternalError = 3;

struct router_field {
    const char* key;
    const char* setter;
    const char* getter;
};

// The commands are sent in this order.
constexpr router_field kRouterFields[] = {
    {"name", "set_router_name", "get_router_name"},
    {"model", "set_router_model", "get_router_model"},
    {"serial_number", "set_router_serial_number", "get_router_serial_number"},
    {"firmware_version", "set_router_firmware_version", "get_router_firmware_version"},
    {"feature_set_level", "set_router_feature_set_level", "get_router_feature_set_level"},
    {"interfaces", "set_router_interfaces", "get_router_interfaces"},
    {"use_va_cloud_trigger", "set_va_cloud_trigger", "get_va_cloud_trigger"},
};

qx::json_ptr parse(const char* text) {
    return qx::json_ptr(json_loads(text, 0, nullptr));
}

int reject(const char* sentence, const char* detail = nullptr) {
    return fail(QX_PLIX_STAGE_ARGUMENT, sentence, detail);
}

int reject_null_out() {
    return reject("the output pointer is null");
}

int fail_to_parse(const json_error_t& error) {
    return json_error_code(&error) == json_error_out_of_memory
               ? fail_for_memory()
               : reject("the document is not JSON", error.text);
}

// Parses a JSON argument. Returns null and records the failure if the text is not JSON.
qx::json_ptr parse_argument(const char* text, std::size_t flags = 0) {
    json_error_t error;
    qx::json_ptr document(json_loads(text, flags, &error));
    if (!document) {
        fail_to_parse(error);
    }
    return document;
}

int fail_with(qx_plix_error_t* err, std::int32_t code, const char* description) {
    set_error(err, code, description);
    return fail(code == kInvalidParams ? QX_PLIX_STAGE_ARGUMENT : QX_PLIX_STAGE_BAD_REPLY,
                description);
}

int send_plain(const char* name) {
    clear_failure();
    return send_command(name, json_null(), nullptr);
}

int fetch(const char* name, json_t* data, char** out) {
    return out == nullptr ? reject_null_out() : send_command(name, data, out);
}

int fetch_plain(const char* name, json_t* data, char** out) {
    clear_failure();
    return fetch(name, data, out);
}

int fetch_for_document(const char* name, const char* text, char** out) {
    clear_failure();
    const qx::json_ptr document = parse_argument(text);
    return document ? fetch(name, document.get(), out) : -1;
}

int retrieve_services_status(const char* text, int* status) {
    const qx::json_ptr data(parse(text));
    const json_t* const value = json_object_get(data.get(), "status");
    const auto number = static_cast<std::int32_t>(json_integer_value(value));
    if (value == nullptr || number == -1) {
        return fail(QX_PLIX_STAGE_BAD_REPLY, "the broker's reply holds no status");
    }
    *status = number;
    return 0;
}

int query_status(const char* name, int* status) {
    clear_failure();
    if (status == nullptr) {
        return reject_null_out();
    }
    qx::text_ptr data;
    int value = 0;
    if (send_command(name, json_null(), data.out()) != 0 ||
        retrieve_services_status(data.get(), &value) != 0) {
        return -1;
    }
    *status = value;
    return 0;
}

qx::json_ptr build_registration_data(const char* token, const char* mac, const char* redeem_code) {
    qx::json_ptr data(json_object());
    if (!data || json_set_string(data.get(), "token", token) != 0 ||
        json_set_string(data.get(), "token_type", "partner") != 0 ||
        json_set_string(data.get(), "register_mac_address", mac) != 0 ||
        json_set_string(data.get(), "redeem_code", redeem_code) != 0) {
        return nullptr;
    }
    return data;
}

// Fills `err` from the broker's details of a refused registration. Returns -1.
int report_refusal(const char* data, qx_plix_error_t* err) {
    if (data == nullptr) {
        return fail_with(err, kInternalError, "no response from daemon");
    }
    const qx::json_ptr details(parse(data));
    if (!details) {
        return fail_with(err, kInternalError, "failed to parse error");
    }
    const json_t* const number = json_object_get(details.get(), "code");
    const json_t* const description = json_object_get(details.get(), "description");
    const json_int_t code = json_integer_value(number);
    using int32_limits = std::numeric_limits<std::int32_t>;
    if (!json_is_integer(number) || !json_is_string(description) || code < int32_limits::min() ||
        code > int32_limits::max()) {
        return fail_with(err, kInternalError, "failed to process error");
    }
    return fail_with(err, static_cast<std::int32_t>(code), json_string_value(description));
}

int fetch_router_field(json_t* result, const router_field& field) {
    qx::text_ptr text;
    if (send_command(field.getter, json_null(), text.out()) != 0) {
        return -1;
    }
    json_t* const value = json_loads(text.get(), JSON_DECODE_ANY, nullptr);
    if (value == nullptr || json_object_set_new(result, field.key, value) != 0) {
        return fail(QX_PLIX_STAGE_BAD_REPLY, "the broker's reply holds no data");
    }
    return 0;
}

/// Collects the members of the router information that the broker did not supply, and the first
/// failure.
class missing_fields {
public:
    void add(const router_field& field) {
        if (*names_ == '\0') {
            qx_plix_last_failure(&first_);
        }
        append_text(names_, sizeof names_, *names_ == '\0' ? "" : ", ");
        append_text(names_, sizeof names_, field.key);
        clear_failure();
    }

    void report() const {
        if (*names_ != '\0') {
            char text[sizeof names_ + sizeof first_.message + 64];
            std::snprintf(text, sizeof text, "the router information lacks %s: %s", names_,
                          first_.message);
            warn(text);
        }
    }

private:
    char names_[256] = ""; ///< has room for the names of all members
    qx_plix_failure_t first_{};
};

// Sends one property of a device. Returns 0 without sending if the document lacks the property.
int send_device_property(const char* name, const json_t* document, const char* key) {
    json_t* const value = json_object_get(document, key);
    if (value == nullptr) {
        return 0;
    }
    json_t* const id = json_object_get(document, "device_id");
    const qx::json_ptr data(json_object());
    if (json_object_set(data.get(), "device_id", id) != 0 ||
        json_object_set(data.get(), key, value) != 0) {
        return fail_for_memory();
    }
    return send_command(name, data.get(), nullptr);
}

bool validate_online_status_entry(const json_t* entry) {
    const json_t* const online = json_object_get(entry, "is_online");
    if (!json_is_string(json_object_get(entry, "mac")) ||
        !json_is_string(json_object_get(entry, "interface")) || !json_is_boolean(online)) {
        reject(
            "a report needs the strings \"mac\" and \"interface\" and the boolean \"is_online\"");
        return false;
    }
    const json_t* const ip = json_object_get(entry, "ip");
    if (json_is_true(online) && !json_is_string(ip) && !json_is_array(ip)) {
        reject("the report of an online device needs \"ip\", a string or an array");
        return false;
    }
    return true;
}

bool validate_online_status(const json_t* document) {
    if (!json_is_array(document)) {
        return validate_online_status_entry(document);
    }
    for (std::size_t i = 0; i < json_array_size(document); ++i) {
        if (!validate_online_status_entry(json_array_get(document, i))) {
            return false;
        }
    }
    return true;
}

int removal_result(const char* data) {
    const qx::json_ptr details(parse(data));
    const json_t* const code = json_object_get(details.get(), "code");
    if (json_object_get(details.get(), "error") == nullptr || !json_is_integer(code)) {
        return -1;
    }
    return static_cast<std::int32_t>(json_integer_value(code));
}

int fail_schedule(char** err_text, const char* reason) {
    if (err_text != nullptr) {
        *err_text = ::strdup(reason);
    }
    return -1;
}

} // namespace

} // namespace qxplix

using namespace qxplix;

// --- commands of a single request ----------------------------------------------------------------

int qx_plix_enable(void) {
    return send_plain("enable_services");
}

int qx_plix_disable(void) {
    return send_plain("disable_services");
}

int qx_plix_enable_routerprotection(void) {
    return send_plain("enable_routerprotection");
}

int qx_plix_disable_routerprotection(void) {
    return send_plain("disable_routerprotection");
}

int qx_plix_va_start(void) {
    return send_plain("va_start");
}

int qx_plix_va_stop(void) {
    return send_plain("va_stop");
}

int qx_plix_va_self_scan_start(void) {
    return send_plain("va_self_scan_start");
}

int qx_plix_pro_features_enable(void) {
    return send_plain("pro_features_enable");
}

int qx_plix_pro_features_disable(void) {
    return send_plain("pro_features_disable");
}

int qx_plix_reapply_firewall_rules(void) {
    return send_plain("reapply_firewall_rules");
}

int qx_plix_get_version_info(char** out) {
    return fetch_plain("get_version_info", json_null(), out);
}

int qx_plix_get_subscription_status(char** out) {
    return fetch_plain("get_subscription_status", json_null(), out);
}

int qx_plix_update_subscription_status(char** out) {
    return fetch_plain("update_subscription_status", json_null(), out);
}

int qx_plix_get_diagnosis_report(char** out) {
    return fetch_plain("get_diagnosis_report", json_null(), out);
}

int qx_plix_get_status_report(char** out) {
    return fetch_plain("get_status_report", json_null(), out);
}

int qx_plix_get_features_list(char** out) {
    return fetch_plain("list_all_features", nullptr, out);
}

int qx_plix_get_feature(const char* query_json, char** out) {
    return fetch_for_document("get_feature", query_json, out);
}

int qx_plix_set_feature(const char* settings_json, char** out) {
    return fetch_for_document("set_feature", settings_json, out);
}

int qx_plix_get_devices(const char* filter_json, char** out) {
    return filter_json == nullptr ? fetch_plain("get_devices", json_null(), out)
                                  : fetch_for_document("get_devices", filter_json, out);
}

int qx_plix_is_enabled(int* status) {
    return query_status("get_services_status", status);
}

int qx_plix_is_routerprotection_enabled(int* status) {
    return query_status("get_routerprotection_status", status);
}

int qx_plix_va_status(int* status) {
    return query_status("va_status", status);
}

int qx_plix_call(const char* name, const char* data_json, char** out) {
    clear_failure();
    if (name == nullptr || *name == '\0') {
        return reject("the command has no name");
    }
    if (const qx::json_ptr text(json_string(name)); !text) {
        return reject("the command's name is not UTF-8");
    }
    const qx::json_ptr data =
        parse_argument(data_json == nullptr ? "null" : data_json, JSON_DECODE_ANY);
    return data ? send_command(name, data.get(), out) : -1;
}

// --- commands of several steps -------------------------------------------------------------------

int qx_plix_register_to_cloud(const char* token, const char* mac, const char* redeem_code) {
    clear_failure();
    if (!is_initialised()) {
        return fail_not_started();
    }
    if (token == nullptr || mac == nullptr) {
        return reject("the token or the MAC address is null");
    }
    const qx::json_ptr data =
        build_registration_data(token, mac, redeem_code == nullptr ? mac : redeem_code);
    return data ? send_command("start_cloud_registration", data.get(), nullptr)
                : reject("the registration values are not UTF-8");
}

int qx_plix_register(const char* registration_info_json, qx_plix_error_t* err) {
    clear_failure();
    if (registration_info_json == nullptr) {
        return fail_with(err, kInvalidParams, "registration_info missing");
    }
    const qx::json_ptr info = parse_argument(registration_info_json);
    if (!info) {
        return fail_with(err, kInvalidParams, "invalid JSON format");
    }
    qx::text_ptr data;
    if (send_command("start_registration", info.get(), data.out()) == 0) {
        return 0;
    }
    return report_refusal(data.get(), err);
}

int qx_plix_set_router_info(const char* router_info_json) {
    clear_failure();
    const qx::json_ptr info = parse_argument(router_info_json);
    if (!info) {
        return -1;
    }
    const exchange all;
    int result = 0;
    for (const router_field& field : kRouterFields) {
        json_t* const value = json_object_get(info.get(), field.key);
        if (value != nullptr && send_command(field.setter, value, nullptr) != 0) {
            result = -1;
        }
    }
    return result;
}

int qx_plix_get_router_info(char** out) {
    clear_failure();
    if (out == nullptr) {
        return reject_null_out();
    }
    const qx::json_ptr info(json_object());
    if (!info) {
        return fail_for_memory();
    }
    const exchange all;
    missing_fields missing;
    for (const router_field& field : kRouterFields) {
        if (fetch_router_field(info.get(), field) != 0) {
            missing.add(field);
        }
    }
    missing.report();
    char* const text = json_dumps(info.get(), 0);
    if (text == nullptr) {
        return fail_for_memory();
    }
    *out = text;
    return 0;
}

int qx_plix_set_device_info(const char* device_info_json) {
    clear_failure();
    const qx::json_ptr info = parse_argument(device_info_json);
    if (json_object_get(info.get(), "device_id") == nullptr) {
        return reject("the document has no \"device_id\"");
    }
    const exchange both;
    const int name = send_device_property("set_device_name", info.get(), "name");
    const int blocked =
        send_device_property("set_device_traffic_blocked", info.get(), "traffic_blocked");
    return name == 0 && blocked == 0 ? 0 : -1;
}

int qx_plix_set_device_online_status(const char* online_status_json) {
    clear_failure();
    const qx::json_ptr document = parse_argument(online_status_json);
    if (!validate_online_status(document.get())) {
        return -1;
    }
    return send_command("set_device_online_status", document.get(), nullptr);
}

int qx_plix_remove_satellite(const char* satellite_json) {
    clear_failure();
    const qx::json_ptr satellite = parse_argument(satellite_json);
    if (!json_is_string(json_object_get(satellite.get(), "mac"))) {
        return reject("the document has no string \"mac\"");
    }
    qx::text_ptr data;
    if (send_command("remove_satellite", satellite.get(), data.out()) == 0) {
        return 0;
    }
    const int result = removal_result(data.get());
    if (result == 0) { // the broker's code 0 means success
        clear_failure();
    }
    return result;
}

int qx_plix_va_set_schedule(const char* schedule_json, char** err_text) {
    clear_failure();
    if (schedule_json == nullptr) {
        reject("the schedule is null");
        return fail_schedule(err_text, "wrong arguments");
    }
    json_error_t error;
    const qx::json_ptr schedule(json_loads(schedule_json, 0, &error));
    if (!schedule) {
        fail_to_parse(error);
        return fail_schedule(err_text, error.text);
    }
    qx::text_ptr data;
    if (send_command("va_set_schedule", schedule.get(), data.out()) == 0) {
        if (err_text != nullptr && data.get() != nullptr) {
            *err_text = data.release();
        }
        return 0;
    }
    const qx::json_ptr details = parse(data.get());
    const char* const reason = json_string_value(json_object_get(details.get(), "error"));
    return fail_schedule(err_text, reason == nullptr ? "internal error" : reason);
}

int qx_plix_va_set_exclusions(const char* exclusions_json, qx_plix_error_t* err) {
    clear_failure();
    json_error_t error;
    const qx::json_ptr exclusions(json_loads(exclusions_json, 0, &error));
    if (!exclusions) {
        fail_to_parse(error);
        return fail_with(err, kInvalidParams, error.text);
    }
    if (!json_is_array(exclusions.get())) {
        return fail_with(err, kInvalidParams, "input is not a JSON array");
    }
    qx::text_ptr data;
    if (send_command("va_set_exclusions", exclusions.get(), data.out()) == 0) {
        return 0;
    }
    return data.get() != nullptr ? fail_with(err, kInvalidParams, data.get())
                                 : fail_with(err, kInternalError, "failed to set the value");
}

int qx_plix_va_get_exclusions(char** out, qx_plix_error_t* err) {
    clear_failure();
    if (out == nullptr) {
        return fail_with(err, kInvalidParams, "output pointer is null");
    }
    qx::text_ptr data;
    if (send_command("va_get_exclusions", json_null(), data.out()) != 0 || data.get() == nullptr) {
        return fail_with(err, kInternalError, "failed to get the value");
    }
    *out = data.release();
    return 0;
}
