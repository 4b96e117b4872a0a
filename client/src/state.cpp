#include "state.h"

#include "failure.h"

#include <cstring>

int stopped = 1;

namespace qxplix {
namespace {

int initialised = 0;

constexpr const char* kErrorNames[] = {"none", "invalid params", "invalid JSON schema",
                                       "internal error"};
constexpr std::int32_t kErrorCount = sizeof kErrorNames / sizeof *kErrorNames;

} // namespace

bool is_initialised() {
    return __atomic_load_n(&initialised, __ATOMIC_ACQUIRE) != 0;
}

void set_initialised(bool now) {
    __atomic_store_n(&initialised, now ? 1 : 0, __ATOMIC_RELEASE);
}

bool is_stopped() {
    return __atomic_load_n(&stopped, __ATOMIC_ACQUIRE) != 0;
}

void set_stopped(bool now) {
    __atomic_store_n(&stopped, now ? 1 : 0, __ATOMIC_RELEASE);
}

void set_error(qx_plix_error_t* err, std::int32_t code, const char* description) {
    if (err == nullptr) {
        return;
    }
    std::memset(err, 0, sizeof *err);
    err->code = code;
    if (code >= 0 && code < kErrorCount) {
        std::memcpy(err->message, kErrorNames[code], std::strlen(kErrorNames[code]));
    }
    copy_text(err->description, sizeof err->description, description);
}

} // namespace qxplix
