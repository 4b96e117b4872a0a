// Each function of the library returns a documented result, whatever text the caller passes and
// whatever reply the broker sends.

#include "fake_broker.h"
#include "input.h"
#include "qx_plix.h"
#include "state.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <jansson.h>
#include <variant>

namespace {

using qx::fuzz::check;

using Document = const char*;

/// Calls a function that stores a text. Checks and frees the text.
int with_text(const std::function<int(char**)>& call) {
    char* text = nullptr;
    const int result = call(&text);
    check(text == nullptr || qx::fuzz::is_json(text), "a text that a call returns is JSON");
    std::free(text);
    return result;
}

void check_error(const qx_plix_error_t& error) {
    check(std::memchr(error.message, '\0', sizeof error.message) != nullptr &&
              std::memchr(error.description, '\0', sizeof error.description) != nullptr,
          "the texts of an error are terminated");
    json_t* const text = ::json_string(error.description);
    check(text != nullptr, "the description of an error is UTF-8");
    ::json_decref(text);
}

/// Calls a function of any signature with a document and checks the outputs. Returns the result of
/// the function.
struct Caller {
    Document document;

    int operator()(int (*call)()) const { return call(); }

    int operator()(int (*call)(Document)) const { return call(document); }

    int operator()(int (*call)(char**)) const { return with_text(call); }

    int operator()(int (*call)(Document, char**)) const {
        return with_text([&](char** text) { return call(document, text); });
    }

    int operator()(int (*call)(int*)) const {
        int status = -1;
        const int result = call(&status);
        check((status == -1) == (result == -1), "a status is stored on success only");
        return result;
    }

    int operator()(int (*call)(Document, qx_plix_error_t*)) const {
        qx_plix_error_t error;
        std::memset(&error, 'x', sizeof error);
        const int result = call(document, &error);
        if (result != 0) {
            check_error(error);
        }
        return result;
    }
};

int get_exclusions(Document /*unused*/, qx_plix_error_t* error) {
    return with_text([&](char** text) { return qx_plix_va_get_exclusions(text, error); });
}

int set_schedule(Document document) {
    char* reason = nullptr;
    const int result = qx_plix_va_set_schedule(document, &reason);
    check(result == 0 || reason != nullptr, "a refused schedule has a reason");
    std::free(reason);
    return result;
}

int register_to_cloud(Document document) {
    return qx_plix_register_to_cloud(document, document, nullptr);
}

/// Maps every failure to -1. The library's function returns the broker's error code instead.
int remove_satellite(Document document) {
    return qx_plix_remove_satellite(document) == 0 ? 0 : -1;
}

int any_call(Document document, char** out) {
    return qx_plix_call("any", document, out);
}

/// Checks that the call has recorded a failure if and only if it failed, and that the texts of the
/// record are UTF-8.
void check_failure(bool failed) {
    qx_plix_failure_t failure;
    check(qx_plix_last_failure(&failure) == 0, "the last failure can be read");
    check((failure.stage != QX_PLIX_STAGE_NONE) == failed,
          "a call records a failure if and only if it fails");
    for (const char* const text : {failure.message, failure.description}) {
        json_t* const value = ::json_string(text);
        check(value != nullptr, "the texts of a failure are UTF-8");
        ::json_decref(value);
    }
    check(failed == (failure.message[0] != '\0'),
          "a call records a message if and only if it fails");
}

using Call = std::variant<int (*)(), int (*)(Document), int (*)(char**), int (*)(Document, char**),
                          int (*)(int*), int (*)(Document, qx_plix_error_t*)>;

const Call kCalls[] = {
    qx_plix_enable,
    qx_plix_get_version_info,
    qx_plix_get_router_info,
    qx_plix_is_enabled,
    qx_plix_get_devices,
    qx_plix_get_feature,
    qx_plix_set_feature,
    qx_plix_get_features_list,
    qx_plix_set_router_info,
    qx_plix_set_device_info,
    qx_plix_set_device_online_status,
    qx_plix_register,
    qx_plix_va_set_exclusions,
    get_exclusions,
    remove_satellite,
    set_schedule,
    register_to_cloud,
    qx_plix_disable,
    qx_plix_enable_routerprotection,
    qx_plix_disable_routerprotection,
    qx_plix_pro_features_enable,
    qx_plix_pro_features_disable,
    qx_plix_reapply_firewall_rules,
    qx_plix_va_start,
    qx_plix_va_stop,
    qx_plix_va_self_scan_start,
    qx_plix_get_diagnosis_report,
    qx_plix_get_status_report,
    qx_plix_get_subscription_status,
    qx_plix_update_subscription_status,
    qx_plix_is_routerprotection_enabled,
    qx_plix_va_status,
    any_call,
};

} // namespace

/// Input: the index of the call, the largest number of bytes per send or receive, a byte that
/// decides whether the answer gets a length prefix, the document up to a line feed, and the answer.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const qx::fuzz::DescriptorCheck descriptors;
    qx::fuzz::Input input(data, size);
    const Call& call = kCalls[input.byte() % std::size(kCalls)];
    qx::fuzz::FakeBroker broker;
    broker.piece = input.byte();
    const bool whole_frame = input.byte() % 4 != 0;
    const std::string document = input.until('\n');
    const std::string answer = input.rest();
    broker.answer = whole_frame ? qx::fuzz::framed(answer) : answer;
    qxplix::set_initialised(true);
    const int result = std::visit(Caller{document.empty() ? nullptr : document.c_str()}, call);
    check(result == 0 || result == -1, "the result is 0 or -1");
    check_failure(result != 0);
    qxplix::set_initialised(false);
    return 0;
}
