#include "services.h"

#include "base/version.h"
#include "deployment.h"
#include "environment.h"
#include "exit_status.h"
#include "printers.h"
#include "qx/last_error.h"
#include "qx/log.h"
#include "qx/settings.h"
#include "qx_plix.h"
#include "qx_plix_trace.h"
#include "qxpath.h"
#include "reason.h"

#include <cstdint>
#include <new>

namespace qx::manage {
namespace {

// Callbacks of the client library must not throw. If memory is short, they drop the log line.

void log_warning(const char* text, void* /*unused*/) noexcept try {
    QX_LOG(qx::log::level::warning, "{:s}", text);
    print_notice(text);
} catch (const std::bad_alloc&) {
}

void log_connection(int connected, std::int64_t missed_ms, void* /*unused*/) noexcept try {
    if (connected == 0) {
        QX_LOG(qx::log::level::warning, "lost the broker; its events are missed until it is back");
    } else {
        QX_LOG(qx::log::level::warning,
               "the broker is back; the events of {}.{:03} seconds were missed", missed_ms / 1000,
               missed_ms % 1000);
    }
} catch (const std::bad_alloc&) {
}

void log_request(const qxplix::traced_request& request) noexcept try {
    QX_LOG(qx::log::level::debug, "{}: {} bytes sent, {} received, {} us, result {}", request.name,
           request.sent, request.received, request.microseconds, request.result);
} catch (const std::bad_alloc&) {
}

// Records why the client library did not start. The library prints a line if the broker is not
// running or has the wrong version. If no agent is installed, the stage is also NOT_RUNNING, but
// the library prints nothing.
int report_start() {
    qx_plix_failure_t failure;
    qx_plix_last_failure(&failure);
    note_library_reason(
        failure.stage == QX_PLIX_STAGE_WRONG_VERSION ||
        (failure.stage == QX_PLIX_STAGE_NOT_RUNNING && qxpath_default_install_path() != nullptr));
    return kFailure;
}

} // namespace

int Services::start() {
    if (const auto failure = apply_environment()) {
        return print_failure(*failure);
    }
    log_ = qx::log::start("qxagent-manage", nullptr);
    if (!log_) {
        note_failure({message::log_is_not_opened, qx::last_error().reason});
        return print_failure({message::log_does_not_start});
    }
    if (qx::log::can_log(0, qx::log::level::debug)) {
        QX_LOG(qx::log::level::debug, "{:s}", qx::version_text);
        qxplix::trace_requests(log_request);
    }
    settings_ = qx::setMgmt::init() >= 0;
    if (!settings_) {
        return print_unreadable_settings();
    }
    if (const int status = repair_interrupted_switch(); status != kSuccess) {
        return status;
    }
    qx_plix_set_warning_cb(log_warning, nullptr);
    qx_plix_set_connection_cb(log_connection, nullptr);
    client_ = qx_plix_init() != -1;
    return client_ ? kSuccess : report_start();
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
