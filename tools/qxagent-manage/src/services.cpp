#include "services.h"

#include "qx/log.h"
#include "qx/println.h"
#include "qx/settings.h"
#include "qx_plix.h"

#include <cstdio>

namespace qx::manage {
namespace {

void log_warning(const char* text, void* /*unused*/) {
    QX_LOG(qx::log::level::warning, "{:s}", text);
}

} // namespace

bool Services::start() {
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
