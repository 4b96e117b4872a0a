#include "services.h"

#include "exit_status.h"
#include "printers.h"
#include "qx/log.h"
#include "qx/settings.h"
#include "qx_plix.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace qx::manage {
namespace {

void log_warning(const char* text, void* /*unused*/) {
    QX_LOG(qx::log::level::warning, "{:s}", text);
}

// Applies QX_BROKER_UID. Returns false when the value is invalid.
bool require_broker_user(const char* value) {
    if (value == nullptr) {
        return true;
    }
    if (std::strcmp(value, "any") == 0) {
        return qx_plix_require_broker_uid(QX_PLIX_BROKER_UID_ANY) == 0;
    }
    std::uint32_t uid = 0;
    const char* const end = value + std::strlen(value);
    const auto [rest, failure] = std::from_chars(value, end, uid);
    return failure == std::errc() && rest == end && qx_plix_require_broker_uid(uid) == 0;
}

} // namespace

int Services::start() {
    const char* const broker_uid = std::getenv("QX_BROKER_UID");
    if (!require_broker_user(broker_uid)) {
        return print_failure({message::broker_uid_is_invalid, broker_uid});
    }
    log_ = qx::log::start("qxagent-manage", nullptr);
    if (!log_) {
        return print_failure({message::log_does_not_start});
    }
    settings_ = qx::setMgmt::init() >= 0;
    if (!settings_) {
        return print_unreadable_settings();
    }
    qx_plix_set_warning_cb(log_warning, nullptr);
    client_ = qx_plix_init() != -1;
    return client_ ? kSuccess : kFailure;
}

Services::~Services() {
    if (client_) {
        qx_plix_uninit();
    }
    if (settings_) {
        qx::setMgmt::uninit();
    }
    if (log_) {
        qx::log::stop();
    }
}

} // namespace qx::manage
