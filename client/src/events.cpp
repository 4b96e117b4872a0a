#include "events.h"

#include "event_pipe.h"
#include "failure.h"
#include "qx_plix.h"
#include "registrar.h"
#include "state.h"
#include "subscription.h"

#include <cstdint>
#include <cstring>

namespace qxplix {
namespace {

constexpr char kPrefix[] = "QX_PLIX_";
constexpr std::size_t kPrefixLength = sizeof kPrefix - 1;

constexpr const char* kEventNames[] = {
    "QX_PLIX_DEVICE_DISCOVERY",
    "QX_PLIX_SUBSCRIPTION_CHANGED",
    "QX_PLIX_CLOUD_REGISTRATION_STATUS",
    "QX_PLIX_DEVICES_LIST_UPDATED",
    "QX_PLIX_QXAGENT_STARTED",
    "QX_PLIX_VA_STATUS_CHANGED",
    "QX_PLIX_SET_DEVICE_ONLINE_STATUS_RESULT",
};
static_assert(sizeof kEventNames / sizeof *kEventNames == QX_PLIX_EVENT_UNKNOWN);

// Event names are ASCII, but the functions of <cctype> depend on the application's locale.
bool is_white_space(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

std::size_t to_size(std::uint64_t bytes) {
    return bytes < SIZE_MAX ? static_cast<std::size_t>(bytes) : SIZE_MAX;
}

char lower_case(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

int check_usable() {
    if (!is_initialised()) {
        return fail_not_started();
    }
    return is_in_callback() ? fail_in_callback() : 0;
}

} // namespace

int to_broker_event_name(const char* name, char (&broker_name)[kBrokerNameSize]) {
    if (name == nullptr || std::strlen(name) >= kBrokerNameSize ||
        std::strncmp(name, kPrefix, kPrefixLength) != 0) {
        return -1;
    }
    std::size_t length = 0;
    for (const char* at = name + kPrefixLength; *at != '\0' && !is_white_space(*at); ++at) {
        broker_name[length++] = lower_case(*at);
    }
    broker_name[length] = '\0';
    return length > 0 ? 0 : -1;
}

} // namespace qxplix

using namespace qxplix;

qx_plix_event_type qx_plix_event_type_from_str(const char* name) {
    int type = 0;
    while (type < QX_PLIX_EVENT_UNKNOWN &&
           (name == nullptr || std::strcmp(name, kEventNames[type]) != 0)) {
        ++type;
    }
    return static_cast<qx_plix_event_type>(type);
}

const char* qx_plix_event_type_to_str(qx_plix_event_type type) {
    const auto index = static_cast<unsigned>(type);
    return index < QX_PLIX_EVENT_UNKNOWN ? kEventNames[index] : nullptr;
}

int qx_plix_subscribe(qx_plix_event_type type, qx_plix_event_cb callback, void* user_data,
                      int* event_fd) {
    clear_failure();
    if (check_usable() != 0) {
        return -1;
    }
    char name[kBrokerNameSize];
    if (callback == nullptr || to_broker_event_name(qx_plix_event_type_to_str(type), name) != 0) {
        return fail(QX_PLIX_STAGE_ARGUMENT, "the callback is null or the event type is unknown");
    }
    event_pipe* pipe = nullptr;
    if (event_fd != nullptr) {
        pipe = event_pipe_create();
        if (pipe == nullptr) {
            return fail_with_errno(QX_PLIX_STAGE_LIMIT, "cannot create a pipe");
        }
        *event_fd = pipe->read_fd;
    }
    const int result = registrar_subscribe_to_event(name, callback, user_data, pipe);
    if (result != 0 && pipe != nullptr) {
        event_pipe_release(pipe);
    }
    return result;
}

void qx_plix_unsubscribe(qx_plix_event_type type) {
    char name[kBrokerNameSize];
    if (is_initialised() && to_broker_event_name(qx_plix_event_type_to_str(type), name) == 0) {
        registrar_unsubscribe_from_event(name);
    }
}

int qx_plix_read_event_fd(int event_fd, int drain) {
    clear_failure();
    return check_usable() == 0 ? registrar_process_events_on_pipe(event_fd, drain) : -1;
}

int qx_plix_set_backlog_limit(uint64_t bytes) {
    clear_failure();
    if (bytes == 0) {
        return fail(QX_PLIX_STAGE_ARGUMENT, "the backlog limit is 0");
    }
    registrar_set_backlog_limit(to_size(bytes));
    return 0;
}

int qx_plix_read_events(int event_fd, uint64_t most) {
    clear_failure();
    const bool usable = check_usable() == 0;
    return usable ? registrar_process_some_events_on_pipe(event_fd, to_size(most)) : -1;
}
