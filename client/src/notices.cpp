#include "notices.h"

#include "mutex.h"
#include "qx_plix.h"

namespace qxplix {
namespace {

struct warning_listener {
    qx_plix_warning_cb callback;
    void* user_data;
};

struct connection_listener {
    qx_plix_connection_cb callback;
    void* user_data;
};

struct installed_listeners {
    mutex guard;
    warning_listener warning QX_GUARDED_BY(guard) = {};
    connection_listener connection QX_GUARDED_BY(guard) = {};
};

constinit installed_listeners installed;

} // namespace

void warn(const char* text) {
    warning_listener current = {};
    {
        const mutex_guard lock(installed.guard);
        current = installed.warning;
    }
    if (current.callback != nullptr) {
        current.callback(text, current.user_data);
    }
}

void tell_connection(bool connected, std::int64_t missed_ms) {
    connection_listener current = {};
    {
        const mutex_guard lock(installed.guard);
        current = installed.connection;
    }
    if (current.callback != nullptr) {
        current.callback(connected ? 1 : 0, missed_ms, current.user_data);
    }
}

void notices_renew_lock() {
    installed.guard.renew();
}

} // namespace qxplix

using namespace qxplix;

void qx_plix_set_warning_cb(qx_plix_warning_cb callback, void* user_data) {
    const mutex_guard lock(installed.guard);
    installed.warning = {callback, user_data};
}

void qx_plix_set_connection_cb(qx_plix_connection_cb callback, void* user_data) {
    const mutex_guard lock(installed.guard);
    installed.connection = {callback, user_data};
}
