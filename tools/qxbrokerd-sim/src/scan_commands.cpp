// Handlers for vulnerability scans, their schedule and their exclusions.

#include "handlers.h"

#include "text.h"
#include "validation.h"

namespace qx::sim {
namespace {

bool is_running(const State& state) {
    return json_integer_value(state.field("va", "status")) != 0;
}

Event scan_event(const char* scan, const char* status) {
    const Json content(json_pack("{s:s,s:s}", "status", status, "scan", scan));
    return {EventType::va_status_changed, dump(content.get())};
}

Event end_scan(State& state, const char* status) {
    Event event = scan_event(json_string_value(state.field("va", "scan")), status);
    state.set_field("va", "status", Json(json_integer(0)));
    state.set_field("va", "scan", json_text("none"));
    return event;
}

} // namespace

Reply start_scan(const Call& call) {
    if (is_running(call.state)) {
        return Reply::failure(code::invalid_params, "a scan is already running");
    }
    call.state.set_field("va", "status", Json(json_integer(1)));
    call.state.set_field("va", "scan", json_text(call.key));
    Reply reply;
    reply.events.push_back(scan_event(call.key, "started"));
    reply.scan_time = std::chrono::milliseconds(json_integer_value(call.state.part("scan_ms")));
    return reply;
}

Reply stop_scan(const Call& call) {
    if (!is_running(call.state)) {
        return Reply::failure(code::invalid_params, "no scan is running");
    }
    Reply reply;
    reply.events.push_back(end_scan(call.state, "stopped"));
    return reply;
}

std::optional<Event> finish_scan(State& state) {
    if (!is_running(state)) {
        return std::nullopt;
    }
    return end_scan(state, "finished");
}

Reply get_scan_status(const Call& call) {
    return Reply::with(Json(json_pack("{s:i}", "status", is_running(call.state) ? 1 : 0)));
}

Reply set_schedule(const Call& call) {
    const std::string fault = check_schedule(call.data);
    if (fault.empty()) {
        call.state.set_field("va", "schedule", share(call.data));
        return {};
    }
    Reply reply = Reply::with(Json(json_pack("{s:s}", "error", fault.c_str())));
    reply.status = 1;
    return reply;
}

Reply set_exclusions(const Call& call) {
    const auto refusal = [](const std::string& reason) {
        Reply reply = Reply::with(json_text(reason));
        reply.status = 1;
        return reply;
    };
    if (!json_is_array(call.data)) {
        return refusal("an array of MAC address patterns is needed");
    }
    std::size_t index = 0;
    json_t* pattern = nullptr;
    json_array_foreach(call.data, index, pattern) {
        const std::string fault = check_mac_pattern(text_of(pattern));
        if (!fault.empty()) {
            return refusal(concat({dump(pattern), " is no MAC address pattern: ", fault}));
        }
    }
    call.state.set_field("va", "exclusions", share(call.data));
    return {};
}

Reply get_exclusions(const Call& call) {
    return Reply::with(share(call.state.field("va", "exclusions")));
}

} // namespace qx::sim
