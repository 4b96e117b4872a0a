#include "warning.h"

#include "mutex.h"
#include "qx_plix.h"

namespace qxplix {
namespace {

struct listener {
    qx_plix_warning_cb callback;
    void* user_data;
};

struct installed_listener {
    mutex guard;
    listener current QX_GUARDED_BY(guard) = {};
};

constinit installed_listener installed;

} // namespace

void warn(const char* text) {
    listener current = {};
    {
        const mutex_guard lock(installed.guard);
        current = installed.current;
    }
    if (current.callback != nullptr) {
        current.callback(text, current.user_data);
    }
}

void warning_renew_lock() {
    installed.guard.renew();
}

} // namespace qxplix

using namespace qxplix;

void qx_plix_set_warning_cb(qx_plix_warning_cb callback, void* user_data) {
    const mutex_guard lock(installed.guard);
    installed.current = {callback, user_data};
}
