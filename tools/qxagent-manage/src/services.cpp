#include "services.h"

#include "qx/log.h"
#include "qx/println.h"
#include "qx/settings.h"
#include "qx_plix.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace qx::manage {
namespace {

void log_warning(const char* text, void* /*unused*/) {
    QX_LOG(qx::log::level::warning, "{:s}", text);
}

// Applies QX_BROKER_UID. Returns false, with a line on standard error, when the value is invalid.
bool require_broker_user() {
    const char* const value = std::getenv("QX_BROKER_UID");
    if (value == nullptr) {
        return true;
    }
    if (std::strcmp(value, "any") == 0) {
        return qx_plix_require_broker_uid(QX_PLIX_BROKER_UID_ANY) == 0;
    }
    std::uint32_t uid = 0;
    const char* const end = value + std::strlen(value);
    const auto [rest, failure] = std::from_chars(value, end, uid);
    if (failure != std::errc() || rest != end || qx_plix_require_broker_uid(uid) != 0) {
        qx::println(stderr, "QX_BROKER_UID: '{}' is neither a user id nor \"any\"", value);
        return false;
    }
    return true;
}

} // namespace

bool Services::start() {
    if (!require_broker_user()) {
        return false;
    }
    log_ = qx::log::start("qxagent-manage", nullptr);
    if (!log_) {
        qx::println(stderr, "Cannot start qxlog");
        return false;
    }
    settings_ = qx::setMgmt::init() >= 0;
    if (!settings_) {
        return false;
    }
    qx_plix_set_warning_cb(log_warning, nullptr);
    client_ = qx_plix_init() != -1;
    return client_;
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
