// Whatever a broker answers to whatever document, each call of the library comes to an end with a
// result of its own.

#include "fake_broker.h"
#include "input.h"
#include "qx_plix.h"
#include "state.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <jansson.h>

namespace {

using qx::fuzz::check;

using Document = const char*;

void check_result(int result) {
    check(result == 0 || result == -1, "the result is 0 or -1");
}

/// A text that a call handed out: JSON, if there is one.
void check_text(int result, char* text) {
    check_result(result);
    check(text == nullptr || qx::fuzz::is_json(text), "a text handed out is JSON");
    std::free(text);
}

template <int (*Call)()>
void act(Document /*unused*/) {
    check_result(Call());
}

template <int (*Call)(char**)>
void query(Document /*unused*/) {
    char* out = nullptr;
    const int result = Call(&out);
    check_text(result, out);
}

template <int (*Call)(Document, char**)>
void query_with(Document document) {
    char* out = nullptr;
    const int result = Call(document, &out);
    check_text(result, out);
}

template <int (*Call)(int*)>
void query_status(Document /*unused*/) {
    int status = -1;
    const int result = Call(&status);
    check_result(result);
    check((status == -1) == (result == -1), "a status is stored on success only");
}

template <int (*Call)(Document)>
void hand_over(Document document) {
    check_result(Call(document));
}

template <int (*Call)(Document, qx_plix_error_t*)>
void hand_over_with_error(Document document) {
    qx_plix_error_t error;
    std::memset(&error, 'x', sizeof error);
    if (Call(document, &error) == 0) {
        return;
    }
    check(std::memchr(error.message, '\0', sizeof error.message) != nullptr &&
              std::memchr(error.description, '\0', sizeof error.description) != nullptr,
          "the texts of an error end");
    json_t* const text = ::json_string(error.description);
    check(text != nullptr, "a description is UTF-8");
    ::json_decref(text);
}

int get_exclusions(Document /*unused*/, qx_plix_error_t* error) {
    char* out = nullptr;
    const int result = qx_plix_va_get_exclusions(&out, error);
    check_text(result, out);
    return result;
}

void set_schedule(Document document) {
    char* text = nullptr;
    const int result = qx_plix_va_set_schedule(document, &text);
    check_result(result);
    check(result == 0 || text != nullptr, "a refused schedule has a reason");
    std::free(text);
}

void register_to_cloud(Document document) {
    check_result(qx_plix_register_to_cloud(document, document, nullptr));
}

/// May hand on the broker's own code, whatever it is.
void remove_satellite(Document document) {
    qx_plix_remove_satellite(document);
}

constexpr void (*kCalls[])(Document) = {
    act<qx_plix_enable>,
    query<qx_plix_get_version_info>,
    query<qx_plix_get_router_info>,
    query_status<qx_plix_is_enabled>,
    query_with<qx_plix_get_devices>,
    query_with<qx_plix_get_feature>,
    query_with<qx_plix_set_feature>,
    query<qx_plix_get_features_list>,
    hand_over<qx_plix_set_router_info>,
    hand_over<qx_plix_set_device_info>,
    hand_over<qx_plix_set_device_online_status>,
    hand_over_with_error<qx_plix_register>,
    hand_over_with_error<qx_plix_va_set_exclusions>,
    hand_over_with_error<get_exclusions>,
    remove_satellite,
    set_schedule,
    register_to_cloud,
    act<qx_plix_disable>,
    act<qx_plix_enable_routerprotection>,
    act<qx_plix_disable_routerprotection>,
    act<qx_plix_pro_features_enable>,
    act<qx_plix_pro_features_disable>,
    act<qx_plix_reapply_firewall_rules>,
    act<qx_plix_va_start>,
    act<qx_plix_va_stop>,
    act<qx_plix_va_self_scan_start>,
    query<qx_plix_get_diagnosis_report>,
    query<qx_plix_get_status_report>,
    query<qx_plix_get_subscription_status>,
    query<qx_plix_update_subscription_status>,
    query_status<qx_plix_is_routerprotection_enabled>,
    query_status<qx_plix_va_status>,
};

} // namespace

/// The call, how large the pieces are, whether the answer gets its right length in front, the
/// document up to a line end, the answer.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const qx::fuzz::DescriptorCheck descriptors;
    qx::fuzz::Input input(data, size);
    const auto call = kCalls[input.byte() % std::size(kCalls)];
    qx::fuzz::FakeBroker broker(input.byte());
    const bool whole_frame = input.byte() % 4 != 0;
    const std::string document = input.until('\n');
    const std::string answer = input.rest();
    broker.answer(whole_frame ? qx::fuzz::framed(answer) : answer);
    qxplix::set_initialised(true);
    call(document.empty() ? nullptr : document.c_str());
    qxplix::set_initialised(false);
    return 0;
}
